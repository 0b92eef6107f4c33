#include "emulator/simctl_output.hpp"

#include <fmt/format.h>

namespace orvanta::emulator {
namespace {

void appendString(std::string& out, std::string_view text, bool escapeSlashes) {
  out += '"';
  for (char ch : text) {
    const auto c = static_cast<unsigned char>(ch);
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '/': out += escapeSlashes ? "\\/" : "/"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      case '\b': out += "\\b"; break;
      case '\f': out += "\\f"; break;
      default:
        if (c < 0x20) {
          out += fmt::format("\\u{:04x}", c);
        } else {
          out += ch;
        }
    }
  }
  out += '"';
}

void append(std::string& out, const Json& value, int depth, bool escapeSlashes) {
  const std::string indent(static_cast<std::size_t>(depth + 1) * 2, ' ');
  const std::string closing(static_cast<std::size_t>(depth) * 2, ' ');
  if (value.is_object()) {
    out += "{\n";
    if (value.empty()) out += "\n";
    bool first = true;
    for (const auto& [key, item] : value.items()) {
      if (!first) out += ",\n";
      first = false;
      out += indent;
      appendString(out, key, escapeSlashes);
      out += " : ";
      append(out, item, depth + 1, escapeSlashes);
    }
    if (!value.empty()) out += "\n";
    out += closing + "}";
  } else if (value.is_array()) {
    out += "[\n";
    if (value.empty()) out += "\n";
    bool first = true;
    for (const auto& item : value) {
      if (!first) out += ",\n";
      first = false;
      out += indent;
      append(out, item, depth + 1, escapeSlashes);
    }
    if (!value.empty()) out += "\n";
    out += closing + "]";
  } else if (value.is_string()) {
    appendString(out, value.get_ref<const std::string&>(), escapeSlashes);
  } else {
    out += value.dump();
  }
}

}  // namespace

std::string appleJson(const Json& value, bool escapeSlashes) {
  std::string out;
  append(out, value, 0, escapeSlashes);
  out += '\n';
  return out;
}

std::string SimctlFailure::envelope() const {
  std::string text = fmt::format("An error was encountered processing the command (domain={}, code={}):\n{}\n",
                                 domain, code, description);
  if (!underlying.empty()) text += underlying;
  return text;
}

}  // namespace orvanta::emulator
