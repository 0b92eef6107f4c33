// The push payload check, fed any bytes: trimming and validation must never crash, and a payload that
// passes must be the trimmed text and within the size limit.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "tools/push/push_payload.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  auto valid = orvanta::validatePushPayload(text);
  if (valid && (valid->size() > orvanta::maximumPushPayloadBytes || *valid != orvanta::trimmedPayloadText(text))) {
    std::abort();
  }
  return 0;
}
