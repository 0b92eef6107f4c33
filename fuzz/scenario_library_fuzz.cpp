// The scenario library's file decoder, fed any bytes: it must never crash, and whatever it reads must
// write back and read again to the same entries.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "automation/scenario_library.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  auto library = orvanta::ScenarioLibrary::decodeDocument(text);
  if (!library) return 0;
  auto document = library->document();
  if (!document) return 0;  // a number that JSON cannot write
  auto again = orvanta::ScenarioLibrary::decodeDocument(document->dump());
  if (!again || again->entries != library->entries) std::abort();
  return 0;
}
