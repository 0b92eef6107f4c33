// XML and binary property lists, read by libplist and converted into PropertyListValue.
#include <plist/plist.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "support/property_list.hpp"
#include "support/property_list_checks.hpp"

namespace orvanta {
namespace {

using ValueResult = expected<PropertyListValue, PropertyListError>;

struct PlistDeleter {
  void operator()(void* node) const { plist_free(static_cast<plist_t>(node)); }
};
using PlistPointer = std::unique_ptr<void, PlistDeleter>;

// libplist hands out keys and iterators allocated with malloc.
struct FreeDeleter {
  void operator()(void* memory) const { std::free(memory); }
};
using MallocPointer = std::unique_ptr<void, FreeDeleter>;

// libplist's checks come first, so `depth` never passes the limit on real input; the test stays as a
// guard against a tree the checks did not foresee.
ValueResult convert(plist_t node, std::size_t depth) {
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      std::uint8_t value = 0;
      plist_get_bool_val(node, &value);
      return PropertyListValue(value != 0);
    }
    case PLIST_UINT:
    case PLIST_UID: {
      std::uint64_t value = 0;
      if (plist_get_node_type(node) == PLIST_UINT) {
        plist_get_uint_val(node, &value);
      } else {
        plist_get_uid_val(node, &value);
      }
      // Negative integers arrive as their two's-complement bit pattern.
      return PropertyListValue(static_cast<std::int64_t>(value));
    }
    case PLIST_REAL: {
      double value = 0;
      plist_get_real_val(node, &value);
      return PropertyListValue(value);
    }
    case PLIST_STRING: {
      std::uint64_t length = 0;
      const char* text = plist_get_string_ptr(node, &length);
      return PropertyListValue(text != nullptr ? std::string(text, static_cast<std::size_t>(length)) : std::string());
    }
    case PLIST_KEY: {
      char* key = nullptr;
      plist_get_key_val(node, &key);
      MallocPointer owner(key);
      return PropertyListValue(key != nullptr ? std::string(key) : std::string());
    }
    case PLIST_DATA: {
      std::uint64_t length = 0;
      const char* bytes = plist_get_data_ptr(node, &length);
      PropertyListValue::Data data;
      if (bytes != nullptr) data.assign(bytes, bytes + length);
      return PropertyListValue(std::move(data));
    }
    case PLIST_DATE: {
      std::int32_t seconds = 0;
      std::int32_t microseconds = 0;
      plist_get_date_val(node, &seconds, &microseconds);
      return PropertyListValue(PropertyListDate{seconds + microseconds / 1e6});
    }
    case PLIST_ARRAY: {
      if (depth == propertyListMaxDepth) return unexpected(PropertyListError::tooDeep());
      PropertyListValue::Array items;
      items.reserve(plist_array_get_size(node));
      plist_array_iter iterator = nullptr;
      plist_array_new_iter(node, &iterator);
      MallocPointer iteratorOwner(iterator);
      for (;;) {
        plist_t item = nullptr;
        plist_array_next_item(node, iterator, &item);
        if (item == nullptr) break;
        ValueResult value = convert(item, depth + 1);
        if (!value) return value;
        items.push_back(std::move(*value));
      }
      return PropertyListValue(std::move(items));
    }
    case PLIST_DICT: {
      if (depth == propertyListMaxDepth) return unexpected(PropertyListError::tooDeep());
      std::vector<PropertyListDictionary::Entry> entries;
      entries.reserve(plist_dict_get_size(node));
      plist_dict_iter iterator = nullptr;
      plist_dict_new_iter(node, &iterator);
      MallocPointer iteratorOwner(iterator);
      for (;;) {
        char* key = nullptr;
        plist_t item = nullptr;
        plist_dict_next_item(node, iterator, &key, &item);
        MallocPointer keyOwner(key);
        if (item == nullptr) break;
        ValueResult value = convert(item, depth + 1);
        if (!value) return value;
        entries.emplace_back(key != nullptr ? std::string(key) : std::string(), std::move(*value));
      }
      return PropertyListValue(PropertyListDictionary(std::move(entries)));
    }
    case PLIST_NONE:
      break;
  }
  return unexpected(PropertyListError::malformed("The property list contains a value of unknown type"));
}

bool isPrintableAscii(char c) {
  return c > 0x20 && c < 0x7F;
}

// Moves an error's position from text that started after `leading` (blanks only) to the whole text.
PropertyListError shiftedPosition(PropertyListError error, std::string_view leading) {
  if (error.line == 0) return error;
  std::size_t lines = 0;
  std::size_t column = 0;
  for (std::size_t i = 0; i < leading.size(); ++i) {
    if (leading[i] == '\n' || (leading[i] == '\r' && (i + 1 == leading.size() || leading[i + 1] != '\n'))) {
      ++lines;
      column = 0;
    } else if (leading[i] != '\r') {
      ++column;
    }
  }
  if (error.line == 1) error.column += column;
  error.line += lines;
  return error;
}

}  // namespace

expected<PropertyListValue, PropertyListError> parseXmlOrBinaryPropertyList(std::string_view bytes) {
  // libplist takes a 32-bit length.
  if (bytes.size() >= (std::uint64_t{1} << 32)) return unexpected(PropertyListError::tooLarge());

  plist_t root = nullptr;
  if (bytes.starts_with("bplist")) {
    std::string_view version = bytes.substr(6, 2);
    if (version != "00") {
      if (version.size() == 2 && isPrintableAscii(version[0]) && isPrintableAscii(version[1])) {
        return unexpected(PropertyListError::unsupportedFormat(
            fmt::format("Binary property lists of version \"{}\" are not supported", version)));
      }
      return unexpected(PropertyListError::malformed("The binary property list is damaged"));
    }
    if (auto checked = detail::checkBinaryPropertyList(bytes); !checked) return unexpected(std::move(checked).error());
    plist_from_bin(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &root);
    if (root == nullptr) return unexpected(PropertyListError::malformed("The binary property list could not be read"));
  } else {
    if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);  // libplist refuses a byte-order mark
    // XML wants its declaration at the very start; files with blank lines before it are read all the same.
    const std::string_view leading = bytes.substr(0, std::min(bytes.find_first_not_of(" \t\r\n"), bytes.size()));
    bytes.remove_prefix(leading.size());
    if (auto checked = detail::checkXmlPropertyList(bytes); !checked) {
      return unexpected(shiftedPosition(std::move(checked).error(), leading));
    }
    // A terminated copy: the XML reader is not trusted to stop exactly at the given length.
    const std::string text(bytes);
    plist_from_xml(text.c_str(), static_cast<std::uint32_t>(text.size()), &root);
    if (root == nullptr) return unexpected(PropertyListError::malformed("The XML property list could not be read"));
  }
  PlistPointer owner(root);
  return convert(root, 0);
}

}  // namespace orvanta
