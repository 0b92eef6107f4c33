#include "capture/recording/recording_handshake.hpp"

#include <algorithm>

namespace orvanta {
namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";

// The length of the well-formed sequence at the start of `bytes` (0: invalid), or -1 when `bytes` is a
// valid but unfinished beginning of one.
int sequenceLength(std::string_view bytes) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  const unsigned char lead = byte(0);
  if (lead < 0x80) return 1;
  int length = 0;
  unsigned char low = 0x80, high = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return 0;
  }
  for (int i = 1; i < length; ++i) {
    if (static_cast<std::size_t>(i) >= bytes.size()) return -1;
    const unsigned char c = byte(static_cast<std::size_t>(i));
    if (i == 1 ? (c < low || c > high) : (c < 0x80 || c > 0xBF)) return 0;
  }
  return length;
}

}  // namespace

std::string decodeUtf8Lossy(std::string_view bytes, std::string* incomplete) {
  std::string text;
  text.reserve(bytes.size());
  while (!bytes.empty()) {
    const int length = sequenceLength(bytes);
    if (length < 0 && incomplete) {
      *incomplete = std::string(bytes);
      return text;
    }
    if (length <= 0) {
      text += replacement;
      bytes.remove_prefix(1);
      continue;
    }
    text += bytes.substr(0, static_cast<std::size_t>(length));
    bytes.remove_prefix(static_cast<std::size_t>(length));
  }
  if (incomplete) incomplete->clear();
  return text;
}

std::optional<RecordingHandshakeScanner::Event> RecordingHandshakeScanner::feed(OutputStream stream,
                                                                               std::string_view bytes) {
  StreamState& state = stream == OutputStream::standardOutput ? out_ : err_;
  std::string pending = std::move(state.incomplete);
  pending += bytes;
  std::string window = state.tail + decodeUtf8Lossy(pending, &state.incomplete);

  const auto started = window.find(startedMessage);
  const auto busy = window.find(busyMessage);
  const std::size_t keep = std::max(startedMessage.size(), busyMessage.size()) - 1;
  state.tail = window.size() > keep ? window.substr(window.size() - keep) : window;
  if (started == std::string::npos && busy == std::string::npos) return std::nullopt;
  // Once found, a message must not be found again in the kept tail.
  state.tail.clear();
  return started < busy ? Event::started : Event::busy;
}

}  // namespace orvanta
