#include "tools/push/push_payload.hpp"

#include <algorithm>
#include <cstdint>
#include <optional>

#include "support/json_text.hpp"

namespace orvanta {
namespace {

// The code point encoded by exactly `bytes`, when they are one well-formed UTF-8 sequence.
std::optional<std::uint32_t> decodeOne(std::string_view bytes) {
  if (bytes.empty()) return std::nullopt;
  const auto lead = static_cast<unsigned char>(bytes[0]);
  std::size_t length = 0;
  std::uint32_t value = 0;
  if (lead < 0x80) {
    length = 1;
    value = lead;
  } else if ((lead & 0xE0) == 0xC0) {
    length = 2;
    value = lead & 0x1Fu;
  } else if ((lead & 0xF0) == 0xE0) {
    length = 3;
    value = lead & 0x0Fu;
  } else if ((lead & 0xF8) == 0xF0) {
    length = 4;
    value = lead & 0x07u;
  } else {
    return std::nullopt;
  }
  if (bytes.size() != length) return std::nullopt;
  for (std::size_t i = 1; i < length; ++i) {
    const auto next = static_cast<unsigned char>(bytes[i]);
    if ((next & 0xC0) != 0x80) return std::nullopt;
    value = (value << 6) | (next & 0x3Fu);
  }
  return value;
}

bool isWhiteSpaceOrNewline(std::uint32_t c) {
  return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 || c == 0x1680 ||
         (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F || c == 0x3000;
}

// The length of the UTF-8 sequence that a lead byte announces (1 for anything that is not a lead byte).
std::size_t sequenceLength(unsigned char lead) {
  if ((lead & 0xE0) == 0xC0) return 2;
  if ((lead & 0xF0) == 0xE0) return 3;
  if ((lead & 0xF8) == 0xF0) return 4;
  return 1;
}

}  // namespace

std::string_view trimmedPayloadText(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = std::min(sequenceLength(static_cast<unsigned char>(text.front())), text.size());
    const auto c = decodeOne(text.substr(0, length));
    if (!c || !isWhiteSpaceOrNewline(*c)) break;
    text.remove_prefix(length);
  }
  while (!text.empty()) {
    // Step back over at most three continuation bytes to the start of the last sequence.
    std::size_t start = text.size() - 1;
    while (start > 0 && text.size() - start < 4 && (static_cast<unsigned char>(text[start]) & 0xC0) == 0x80) --start;
    const auto c = decodeOne(text.substr(start));
    if (!c || !isWhiteSpaceOrNewline(*c)) break;
    text.remove_suffix(text.size() - start);
  }
  return text;
}

expected<std::string, PushError> validatePushPayload(std::string_view text) {
  const std::string_view payload = trimmedPayloadText(text);
  if (payload.empty()) return unexpected(PushError::invalidPayload("Enter a JSON payload."));
  if (payload.size() > maximumPushPayloadBytes) {
    return unexpected(PushError::invalidPayload("Payload exceeds the 4,096-byte limit (" +
                                                std::to_string(payload.size()) + " bytes)."));
  }
  auto value = parseJsonText(payload);
  if (!value) return unexpected(PushError::invalidPayload("Invalid JSON: " + value.error()));
  const auto notAnApsObject = [] {
    return unexpected(PushError::invalidPayload("Payload must be a JSON object containing an aps object."));
  };
  if (!value->is_object()) return notAnApsObject();
  const auto aps = value->find("aps");
  if (aps == value->end() || !aps->is_object()) return notAnApsObject();
  return std::string(payload);
}

}  // namespace orvanta
