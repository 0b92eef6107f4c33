#include "support/json_text.hpp"

#include "support/atomic_file.hpp"

namespace orvanta {

std::string plainJsonMessage(std::string_view what) {
  if (what.starts_with("[json.exception.")) {
    auto close = what.find("] ");
    if (close != std::string_view::npos) what.remove_prefix(close + 2);
  }
  return std::string(what);
}

std::optional<std::string> jsonLimitProblem(std::string_view text, std::size_t maxDepth, std::size_t maxBytes) {
  if (text.size() > maxBytes) return "the document is larger than " + budgetText(maxBytes);
  std::size_t depth = 0;
  bool inString = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (inString) {
      if (c == '\\') {
        ++i;
      } else if (c == '"') {
        inString = false;
      }
      continue;
    }
    switch (c) {
      case '"': inString = true; break;
      case '[':
      case '{':
        if (++depth > maxDepth) return "the document nests deeper than " + std::to_string(maxDepth) + " levels";
        break;
      case ']':
      case '}':
        if (depth > 0) --depth;
        break;
      default: break;
    }
  }
  return std::nullopt;
}

void appendJsonString(std::string& out, std::string_view text) {
  static constexpr char hex[] = "0123456789abcdef";
  out.reserve(out.size() + text.size() + 2);
  out.push_back('"');
  std::size_t plainFrom = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c >= 0x20 && c != '"' && c != '\\') continue;
    out.append(text.substr(plainFrom, i - plainFrom));
    plainFrom = i + 1;
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      case '\b': out += "\\b"; break;
      case '\f': out += "\\f"; break;
      default:
        out += "\\u00";
        out.push_back(hex[c >> 4]);
        out.push_back(hex[c & 0xF]);
    }
  }
  out.append(text.substr(plainFrom));
  out.push_back('"');
}

}  // namespace orvanta
