#include "emulator/simctl_output.hpp"

#include <algorithm>
#include <vector>

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

// The code point of the UTF-8 sequence at text[at], advancing `at`; an invalid byte stands for itself.
std::uint32_t nextCodePoint(std::string_view text, std::size_t& at) {
  const auto lead = static_cast<unsigned char>(text[at]);
  std::size_t length = lead < 0x80 ? 1 : (lead >> 5) == 0x6 ? 2 : (lead >> 4) == 0xE ? 3 : (lead >> 3) == 0x1E ? 4 : 0;
  if (length == 0 || at + length > text.size()) {
    ++at;
    return lead;
  }
  std::uint32_t value = length == 1 ? lead : lead & (0x7Fu >> length);
  for (std::size_t i = 1; i < length; ++i) {
    const auto next = static_cast<unsigned char>(text[at + i]);
    if ((next & 0xC0) != 0x80) {
      ++at;
      return lead;
    }
    value = (value << 6) | (next & 0x3Fu);
  }
  at += length;
  return value;
}

std::string openStepString(std::string_view text) {
  const bool plain = !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
  });
  if (plain) return std::string(text);
  std::string out = "\"";
  for (std::size_t at = 0; at < text.size();) {
    const std::uint32_t c = nextCodePoint(text, at);
    if (c == '"') {
      out += "\\\"";
    } else if (c == '\\') {
      out += "\\\\";
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\r') {
      out += "\\r";
    } else if (c == '\t') {
      out += "\\t";
    } else if (c >= 0x20 && c < 0x7F) {
      out += static_cast<char>(c);
    } else if (c > 0xFFFF) {
      const std::uint32_t offset = c - 0x10000;
      out += fmt::format("\\U{:04x}\\U{:04x}", 0xD800 + (offset >> 10), 0xDC00 + (offset & 0x3FF));
    } else {
      out += fmt::format("\\U{:04x}", c);
    }
  }
  out += '"';
  return out;
}

void appendOpenStep(std::string& out, const Json& value, std::size_t level) {
  const std::string inner((level + 1) * 4, ' ');
  const std::string outer(level * 4, ' ');
  auto item = [&](const Json& element) {
    if (element.is_structured()) {
      out += inner;  // a nested container starts with its own level's indentation
      appendOpenStep(out, element, level + 1);
    } else if (element.is_string()) {
      out += openStepString(element.get_ref<const std::string&>());
    } else if (element.is_boolean()) {
      out += element.get<bool>() ? "1" : "0";
    } else {
      out += openStepString(element.dump());
    }
  };
  if (value.is_object()) {
    std::vector<std::string> keys;
    for (const auto& [key, element] : value.items()) keys.push_back(key);
    std::sort(keys.begin(), keys.end());
    out += "{\n";
    for (const auto& key : keys) {
      out += inner + openStepString(key) + " = ";
      item(value.at(key));
      out += ";\n";
    }
    out += outer + "}";
  } else if (value.is_array()) {
    out += "(\n";
    for (std::size_t i = 0; i < value.size(); ++i) {
      if (!value[i].is_structured()) out += inner;
      item(value[i]);
      out += i + 1 < value.size() ? ",\n" : "\n";
    }
    out += outer + ")";
  } else {
    item(value);
  }
}

}  // namespace

std::string openStepText(const Json& value) {
  std::string out;
  appendOpenStep(out, value, 0);
  out += '\n';
  return out;
}

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
