#include "support/property_list.hpp"

#include <fmt/format.h>

namespace orvanta {

// ---------------------------------------------------------------------------------------------------
// PropertyListError

PropertyListError PropertyListError::malformed(std::string message, std::size_t line, std::size_t column) {
  PropertyListError error;
  error.kind = Case::malformed;
  error.message = std::move(message);
  error.line = line;
  error.column = column;
  return error;
}

PropertyListError PropertyListError::unsupportedFormat(std::string message) {
  PropertyListError error;
  error.kind = Case::unsupportedFormat;
  error.message = std::move(message);
  return error;
}

PropertyListError PropertyListError::tooDeep(std::size_t line, std::size_t column) {
  PropertyListError error;
  error.kind = Case::tooDeep;
  error.line = line;
  error.column = column;
  return error;
}

PropertyListError PropertyListError::tooLarge() {
  PropertyListError error;
  error.kind = Case::tooLarge;
  return error;
}

std::string PropertyListError::description() const {
  std::string text;
  switch (kind) {
    case Case::malformed:
    case Case::unsupportedFormat:
      text = message;
      break;
    case Case::tooDeep:
      text = fmt::format("The property list nests more than {} levels deep", propertyListMaxDepth);
      break;
    case Case::tooLarge:
      text = "The property list is too large";
      break;
  }
  if (line != 0) text += fmt::format(" at line {}, column {}", line, column);
  text += '.';
  return text;
}

std::string_view PropertyListError::caseName() const {
  switch (kind) {
    case Case::malformed:
      return "malformed";
    case Case::unsupportedFormat:
      return "unsupportedFormat";
    case Case::tooDeep:
      return "tooDeep";
    case Case::tooLarge:
      return "tooLarge";
  }
  return {};
}

// ---------------------------------------------------------------------------------------------------
// Format detection

PropertyListFormat detectPropertyListFormat(std::string_view bytes) noexcept {
  if (bytes.starts_with("bplist")) return PropertyListFormat::binary;
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
  std::size_t start = bytes.find_first_not_of(" \t\r\n");
  if (start == std::string_view::npos) return PropertyListFormat::openStep;
  bytes.remove_prefix(start);
  // None of these can open old-style text: there '<' starts hex data, and '?', 'p' and '!' are not hex.
  if (bytes.starts_with("<?xml") || bytes.starts_with("<plist") || bytes.starts_with("<!")) {
    return PropertyListFormat::xml;
  }
  return PropertyListFormat::openStep;
}

expected<PropertyListValue, PropertyListError> parsePropertyList(std::string_view bytes) {
  if (detectPropertyListFormat(bytes) == PropertyListFormat::openStep) return parseOpenStepPropertyList(bytes);
  return parseXmlOrBinaryPropertyList(bytes);
}

}  // namespace orvanta
