#include "emulator/binary_plist.hpp"

#include <bit>
#include <cstdint>
#include <cstring>
#include <vector>

namespace orvanta::emulator {
namespace {

void appendBigEndian(std::string& out, std::uint64_t value, std::size_t bytes) {
  for (std::size_t i = bytes; i > 0; --i) out += static_cast<char>((value >> (8 * (i - 1))) & 0xFF);
}

std::size_t bytesFor(std::uint64_t value) {
  if (value <= 0xFF) return 1;
  if (value <= 0xFFFF) return 2;
  if (value <= 0xFFFFFFFF) return 4;
  return 8;
}

// The marker's low nibble is the exponent of the byte count: 1, 2, 4, 8.
void appendInteger(std::string& out, std::int64_t value) {
  const std::size_t bytes = value < 0 ? 8 : bytesFor(static_cast<std::uint64_t>(value));
  const int exponent = bytes == 1 ? 0 : bytes == 2 ? 1 : bytes == 4 ? 2 : 3;
  out += static_cast<char>(0x10 | exponent);
  appendBigEndian(out, static_cast<std::uint64_t>(value), bytes);
}

// A marker with a count: in the low nibble below 15, else 0xF and an integer object after it.
void appendMarker(std::string& out, unsigned type, std::size_t count) {
  if (count < 15) {
    out += static_cast<char>((type << 4) | count);
  } else {
    out += static_cast<char>((type << 4) | 0xF);
    appendInteger(out, static_cast<std::int64_t>(count));
  }
}

std::u16string utf16(const std::string& text) {
  std::u16string units;
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    std::size_t length = lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (i + length > text.size()) length = text.size() - i;
    char32_t code = length == 1 ? char32_t{lead} : char32_t{lead} & (char32_t{0x7F} >> length);
    for (std::size_t k = 1; k < length; ++k) code = (code << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3F);
    i += length;
    if (code >= 0x10000) {
      code -= 0x10000;
      units += static_cast<char16_t>(0xD800 + (code >> 10));
      units += static_cast<char16_t>(0xDC00 + (code & 0x3FF));
    } else {
      units += static_cast<char16_t>(code);
    }
  }
  return units;
}

struct Node {
  const Json* value = nullptr;
  std::string key;  // for key nodes (value == nullptr)
  std::vector<std::size_t> children;  // arrays: items; dictionaries: keys, then values
};

class Writer {
 public:
  std::size_t add(const Json& value) {
    const std::size_t index = nodes_.size();
    nodes_.push_back({&value, {}, {}});
    std::vector<std::size_t> children;
    if (value.is_object()) {
      std::vector<std::size_t> keys;
      std::vector<std::size_t> values;
      for (const auto& [key, item] : value.items()) {
        keys.push_back(nodes_.size());
        nodes_.push_back({nullptr, key, {}});
        values.push_back(add(item));
      }
      children = keys;
      children.insert(children.end(), values.begin(), values.end());
    } else if (value.is_array()) {
      for (const auto& item : value) children.push_back(add(item));
    }
    nodes_[index].children = std::move(children);
    return index;
  }

  std::string write() {
    const std::size_t referenceSize = nodes_.size() <= 0xFF ? 1 : nodes_.size() <= 0xFFFF ? 2 : 4;
    std::string out = "bplist00";
    std::vector<std::uint64_t> offsets;
    for (const auto& node : nodes_) {
      offsets.push_back(out.size());
      if (node.value == nullptr) {
        appendString(out, node.key);
        continue;
      }
      const Json& value = *node.value;
      if (value.is_object() || value.is_array()) {
        appendMarker(out, value.is_object() ? 0xD : 0xA, value.is_object() ? node.children.size() / 2 : node.children.size());
        for (std::size_t child : node.children) appendBigEndian(out, child, referenceSize);
      } else if (value.is_boolean()) {
        out += static_cast<char>(value.get<bool>() ? 0x09 : 0x08);
      } else if (value.is_number_integer()) {
        appendInteger(out, value.get<std::int64_t>());
      } else if (value.is_number()) {
        out += static_cast<char>(0x23);
        appendBigEndian(out, std::bit_cast<std::uint64_t>(value.get<double>()), 8);
      } else {
        appendString(out, value.is_string() ? value.get<std::string>() : std::string());
      }
    }
    const std::uint64_t tableOffset = out.size();
    const std::size_t offsetSize = bytesFor(tableOffset);
    for (auto offset : offsets) appendBigEndian(out, offset, offsetSize);
    out.append(6, '\0');  // five unused bytes and the sort version
    out += static_cast<char>(offsetSize);
    out += static_cast<char>(referenceSize);
    appendBigEndian(out, nodes_.size(), 8);
    appendBigEndian(out, 0, 8);  // the top object is the first one
    appendBigEndian(out, tableOffset, 8);
    return out;
  }

 private:
  static void appendString(std::string& out, const std::string& text) {
    bool ascii = true;
    for (char c : text) ascii = ascii && static_cast<unsigned char>(c) < 0x80;
    if (ascii) {
      appendMarker(out, 0x5, text.size());
      out += text;
      return;
    }
    const auto units = utf16(text);
    appendMarker(out, 0x6, units.size());
    for (char16_t unit : units) appendBigEndian(out, unit, 2);
  }

  std::vector<Node> nodes_;
};

}  // namespace

std::string binaryPropertyList(const Json& value) {
  Writer writer;
  writer.add(value);
  return writer.write();
}

}  // namespace orvanta::emulator
