#include "tools/app_data/structured_document.hpp"

#include <cmath>

#include <fmt/format.h>

#include "support/json_text.hpp"
#include "support/reference_date.hpp"
#include "support/utf8.hpp"

namespace orvanta {
namespace {

using Json = nlohmann::json;

Json node(const char* type, Json value) { return Json{{"type", type}, {"value", std::move(value)}}; }

Json realValue(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
  return value;
}

std::string dateText(double secondsSinceReferenceDate) {
  auto date = fromReferenceSeconds(secondsSinceReferenceDate);
  if (!date) return fmt::format("{} s after 2001-01-01", secondsSinceReferenceDate);
  return formatUtc(*date, UtcFormat::rfc3339);
}

std::string scalarText(const Json& type, const Json& value) {
  if (value.is_string() && (type == "string")) return "\"" + escapedForTerminal(value.get<std::string>()) + "\"";
  if (value.is_string()) return escapedForTerminal(value.get<std::string>());
  return value.dump();
}

void describe(const Json& typed, const std::string& label, std::size_t indent, std::vector<std::string>& lines) {
  const std::string pad(indent * 2, ' ');
  const Json& type = typed["type"];
  const Json& value = typed["value"];
  const std::string typeName = type.is_string() ? type.get<std::string>() : "?";
  if (value.is_array() && (typeName == "array")) {
    lines.push_back(fmt::format("{}{} (array, {} items)", pad, label, value.size()));
    std::size_t index = 0;
    for (const auto& item : value) describe(item, fmt::format("[{}]", index++), indent + 1, lines);
    return;
  }
  if (value.is_object()) {
    lines.push_back(fmt::format("{}{} ({}, {} items)", pad, label, typeName, value.size()));
    for (const auto& [key, item] : value.items()) describe(item, escapedForTerminal(key), indent + 1, lines);
    return;
  }
  lines.push_back(fmt::format("{}{} ({}): {}", pad, label, typeName, scalarText(type, value)));
}

}  // namespace

std::string_view rawValue(StructuredDocument::Kind kind) {
  return kind == StructuredDocument::Kind::json ? "json" : "propertyList";
}

std::string_view rawValue(PropertyListFormat format) {
  switch (format) {
    case PropertyListFormat::openStep: return "openStep";
    case PropertyListFormat::xml: return "xml";
    case PropertyListFormat::binary: return "binary";
  }
  return {};
}

std::string base64Text(std::string_view bytes) {
  static constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  auto byte = [&](std::size_t at) { return at < bytes.size() ? static_cast<unsigned>(static_cast<unsigned char>(bytes[at])) : 0u; };
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const unsigned n = byte(i) << 16 | byte(i + 1) << 8 | byte(i + 2);
    text += alphabet[n >> 18 & 63];
    text += alphabet[n >> 12 & 63];
    text += i + 1 < bytes.size() ? alphabet[n >> 6 & 63] : '=';
    text += i + 2 < bytes.size() ? alphabet[n & 63] : '=';
  }
  return text;
}

std::string escapedForTerminal(std::string_view text) {
  std::string shown;
  shown.reserve(text.size());
  for (char c : toValidUtf8(text)) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\n') {
      shown += "\\n";
    } else if (c == '\t') {
      shown += "\\t";
    } else if (c == '\r') {
      shown += "\\r";
    } else if (byte < 0x20 || byte == 0x7f) {
      shown += fmt::format("\\u{:04x}", byte);
    } else {
      shown += c;
    }
  }
  return shown;
}

Json typedValue(const PropertyListValue& value) {
  switch (value.kind()) {
    case PropertyListValue::Kind::string: return node("string", toValidUtf8(*value.asString()));
    case PropertyListValue::Kind::data: {
      const auto& data = *value.asData();
      return node("data", base64Text(std::string_view(reinterpret_cast<const char*>(data.data()), data.size())));
    }
    case PropertyListValue::Kind::boolean: return node("boolean", *value.asBool());
    case PropertyListValue::Kind::integer: return node("integer", *value.asInteger());
    case PropertyListValue::Kind::real: return node("real", realValue(*value.asReal()));
    case PropertyListValue::Kind::date: return node("date", dateText(value.asDate()->secondsSinceReferenceDate));
    case PropertyListValue::Kind::array: {
      Json items = Json::array();
      for (const auto& item : *value.asArray()) items.push_back(typedValue(item));
      return node("array", std::move(items));
    }
    case PropertyListValue::Kind::dictionary: {
      Json members = Json::object();
      for (const auto& [key, item] : value.asDictionary()->entries()) members[toValidUtf8(key)] = typedValue(item);
      return node("dictionary", std::move(members));
    }
  }
  return node("string", "");
}

Json typedJsonValue(const Json& value) {
  switch (value.type()) {
    case Json::value_t::null: return node("null", nullptr);
    case Json::value_t::boolean: return node("boolean", value);
    case Json::value_t::number_integer:
    case Json::value_t::number_unsigned: return node("integer", value);
    case Json::value_t::number_float: return node("real", realValue(value.get<double>()));
    case Json::value_t::string: return node("string", value);
    case Json::value_t::array: {
      Json items = Json::array();
      for (const auto& item : value) items.push_back(typedJsonValue(item));
      return node("array", std::move(items));
    }
    case Json::value_t::object: {
      Json members = Json::object();
      for (const auto& [key, item] : value.items()) members[key] = typedJsonValue(item);
      return node("object", std::move(members));
    }
    default: return node("null", nullptr);
  }
}

expected<StructuredDocument, std::string> readStructuredDocument(std::string_view bytes, bool asJson) {
  if (bytes.size() > structuredDocumentMaxBytes) {
    return unexpected(fmt::format("The document is larger than {} bytes.", structuredDocumentMaxBytes));
  }
  if (asJson) {
    if (jsonNestingDepth(bytes, structuredDocumentMaxDepth) > structuredDocumentMaxDepth) {
      return unexpected(fmt::format("The document nests deeper than {} levels.", structuredDocumentMaxDepth));
    }
    // JSON is UTF-8 text; anything else would make the tree unwritable.
    if (!isValidUtf8(bytes)) return unexpected(std::string("The document is not UTF-8 text."));
    auto parsed = parseJsonText<Json>(bytes);
    if (!parsed) return unexpected(parsed.error());
    return StructuredDocument{StructuredDocument::Kind::json, "", typedJsonValue(*parsed)};
  }
  auto parsed = parsePropertyList(bytes);
  if (!parsed) return unexpected(parsed.error().description());
  return StructuredDocument{StructuredDocument::Kind::propertyList,
                            std::string(rawValue(detectPropertyListFormat(bytes))), typedValue(*parsed)};
}

std::vector<std::string> describeTypedValue(const Json& node, const std::string& name) {
  std::vector<std::string> lines;
  describe(node, name, 0, lines);
  return lines;
}

}  // namespace orvanta
