// Feeds arbitrary bytes, as a settings value, to the quick-input profiles reader: whatever it accepts must
// encode back to a document it reads the same way, and no secret field may carry a plain value.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include <nlohmann/json.hpp>

#include "tools/quickinput/quick_input_model.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const auto json = nlohmann::json::parse(bytes, nullptr, false);
  if (json.is_discarded()) return 0;
  auto document = orvanta::decodeQuickInputDocument(json);
  if (!document) return 0;
  for (const auto& profile : document->profiles) {
    for (const auto& field : profile.fields) {
      if (field.isSecret && field.plainValue) __builtin_trap();
    }
  }
  auto again = orvanta::decodeQuickInputDocument(orvanta::encodeQuickInputDocument(*document));
  if (!again || !(*again == *document)) __builtin_trap();
  return 0;
}
