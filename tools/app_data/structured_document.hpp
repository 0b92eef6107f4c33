// Reading the property lists and JSON files found in an app's container into one typed tree, the form
// in which the data inspector and the user-defaults editor show values.
//
// A typed node is a JSON object {"type": T, "value": V}:
//   property lists: T is "string", "data" (V: base64), "boolean", "integer", "real", "date" (V: RFC 3339
//   text in UTC with milliseconds), "array" (V: an array of nodes) or "dictionary" (V: an object of nodes);
//   JSON: T is "null", "boolean", "integer", "real", "string", "array" or "object".
// Members of dictionaries and objects come out sorted by key. Text that is not valid UTF-8 has each ill-formed sequence replaced by U+FFFD, so the tree can always be
// written as JSON. A real that is not finite becomes the text "nan", "inf" or "-inf".
//
// Everything here is a pure function of its input, never crashes on hostile bytes, keeps nesting within
// structuredDocumentMaxDepth, and is thread-safe.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/expected.hpp"
#include "support/json_text.hpp"
#include "support/property_list.hpp"

namespace orvanta {

// Containers may nest this deep; deeper documents are refused (the property-list reader's own limit).
inline constexpr std::size_t structuredDocumentMaxDepth = propertyListMaxDepth;
// Files the inspector reads whole are refused above this size.
inline constexpr std::size_t structuredDocumentMaxBytes = 64u << 20;

struct StructuredDocument {
  enum class Kind { propertyList, json };
  Kind kind = Kind::propertyList;
  std::string format;    // property lists: "xml", "binary" or "openStep"; empty for JSON
  nlohmann::json value;  // the typed tree
};

// "propertyList", "json".
[[nodiscard]] std::string_view rawValue(StructuredDocument::Kind kind);
// "xml", "binary", "openStep".
[[nodiscard]] std::string_view rawValue(PropertyListFormat format);

// Reads `bytes` as a property list (`asJson` false) or as JSON. Fails with the reader's sentence
// ("Unexpected character ...", "parse error at line 1, column 2: ...", "The document nests deeper than
// 256 levels.").
[[nodiscard]] expected<StructuredDocument, std::string> readStructuredDocument(std::string_view bytes, bool asJson);

// The typed tree of a property-list value.
[[nodiscard]] nlohmann::json typedValue(const PropertyListValue& value);
// The typed tree of a JSON value.
[[nodiscard]] nlohmann::json typedJsonValue(const nlohmann::json& value);

// A typed tree as indented lines for people: "name (type): value" for scalars, "name (type, N items)"
// for containers followed by their members two spaces deeper; text values quoted. Control characters
// are escaped, so that the lines may reach a terminal.
[[nodiscard]] std::vector<std::string> describeTypedValue(const nlohmann::json& node, const std::string& name);

// Standard base64 (RFC 4648, with padding).
[[nodiscard]] std::string base64Text(std::string_view bytes);

// `text` with control characters shown as \n, \t, \u001b and the like, for a terminal.
[[nodiscard]] std::string escapedForTerminal(std::string_view text);

}  // namespace orvanta
