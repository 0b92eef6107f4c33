// Feeds arbitrary bytes to the property-list readers: parsePropertyList picks the text, XML or binary
// reader from the first bytes, and the text reader also gets every input on its own.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "support/property_list.hpp"

namespace {

using orvanta::PropertyListError;
using orvanta::PropertyListValue;

// What must hold for any value a reader returns: containers nest at most propertyListMaxDepth deep, and
// every dictionary entry is found under its own key (keys are unique and the index is complete).
void checkValue(const PropertyListValue& value, std::size_t level) {
  if (const auto* dictionary = value.asDictionary()) {
    if (level > orvanta::propertyListMaxDepth) __builtin_trap();
    for (const auto& entry : *dictionary) {
      if (dictionary->find(entry.first) != &entry.second) __builtin_trap();
      checkValue(entry.second, level + 1);
    }
  } else if (const auto* array = value.asArray()) {
    if (level > orvanta::propertyListMaxDepth) __builtin_trap();
    for (const auto& item : *array) checkValue(item, level + 1);
  } else {
    (void)orvanta::propertyListBool(value);
  }
}

void checkResult(const orvanta::expected<PropertyListValue, PropertyListError>& result) {
  if (result) {
    checkValue(*result, 1);
    return;
  }
  std::string description = result.error().description();
  if (description.size() < 2 || description.back() != '.') __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  checkResult(orvanta::parsePropertyList(bytes));
  if (orvanta::detectPropertyListFormat(bytes) != orvanta::PropertyListFormat::openStep) {
    checkResult(orvanta::parseOpenStepPropertyList(bytes));
  }
  return 0;
}
