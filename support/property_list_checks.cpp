#include "support/property_list_checks.hpp"

#include <expat.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include <fmt/format.h>

namespace orvanta::detail {

// ---------------------------------------------------------------------------------------------------
// XML

namespace {

struct XmlCheck {
  XML_Parser parser = nullptr;
  std::size_t depth = 0;           // elements
  std::size_t containerDepth = 0;  // <array> and <dict> elements
  std::optional<PropertyListError> error;

  [[nodiscard]] std::size_t line() const { return static_cast<std::size_t>(XML_GetCurrentLineNumber(parser)); }
  [[nodiscard]] std::size_t column() const { return static_cast<std::size_t>(XML_GetCurrentColumnNumber(parser)) + 1; }

  void fail(PropertyListError reason) {
    if (error) return;
    error = std::move(reason);
    XML_StopParser(parser, XML_FALSE);
  }
};

bool isContainer(const XML_Char* name) {
  return std::strcmp(name, "array") == 0 || std::strcmp(name, "dict") == 0;
}

void XMLCALL onStartElement(void* userData, const XML_Char* name, const XML_Char**) {
  auto* check = static_cast<XmlCheck*>(userData);
  // Below the root (<plist>), at most propertyListMaxDepth containers and then one scalar element.
  if (isContainer(name)) ++check->containerDepth;
  if (++check->depth > propertyListMaxDepth + 2 || check->containerDepth > propertyListMaxDepth) {
    check->fail(PropertyListError::tooDeep(check->line(), check->column()));
  }
}

void XMLCALL onEndElement(void* userData, const XML_Char* name) {
  auto* check = static_cast<XmlCheck*>(userData);
  --check->depth;
  if (isContainer(name)) --check->containerDepth;
}

void XMLCALL onEntityDeclaration(void* userData, const XML_Char*, int, const XML_Char*, int, const XML_Char*,
                                 const XML_Char*, const XML_Char*, const XML_Char*) {
  auto* check = static_cast<XmlCheck*>(userData);
  check->fail(PropertyListError::malformed("Entity declarations are not allowed", check->line(), check->column()));
}

struct XmlParserDeleter {
  void operator()(XML_ParserStruct* parser) const { XML_ParserFree(parser); }
};

}  // namespace

expected<void, PropertyListError> checkXmlPropertyList(std::string_view xml) {
  std::unique_ptr<XML_ParserStruct, XmlParserDeleter> parser(XML_ParserCreate(nullptr));
  if (!parser) return unexpected(PropertyListError::malformed("The XML parser could not be created"));
  XmlCheck check;
  check.parser = parser.get();
  XML_SetUserData(parser.get(), &check);
  XML_SetElementHandler(parser.get(), onStartElement, onEndElement);
  XML_SetEntityDeclHandler(parser.get(), onEntityDeclaration);

  constexpr std::size_t chunkSize = 1 << 30;  // XML_Parse takes an int length
  do {
    std::string_view chunk = xml.substr(0, chunkSize);
    xml.remove_prefix(chunk.size());
    if (XML_Parse(parser.get(), chunk.data(), static_cast<int>(chunk.size()), xml.empty() ? XML_TRUE : XML_FALSE) !=
        XML_STATUS_OK) {
      if (check.error) return unexpected(std::move(*check.error));
      return unexpected(PropertyListError::malformed(
          fmt::format("Malformed XML ({})", XML_ErrorString(XML_GetErrorCode(parser.get()))), check.line(),
          check.column()));
    }
  } while (!xml.empty());
  return {};
}

// ---------------------------------------------------------------------------------------------------
// Binary

namespace {

PropertyListError damaged() {
  return PropertyListError::malformed("The binary property list is damaged");
}

// Walks the object graph from the top object without building it: depth-first, each object's refs read
// once (results are memoised by object number), so the work is bounded by the input and the budgets.
class BinaryCheck {
 public:
  explicit BinaryCheck(std::string_view bytes) : bytes_(bytes) {}

  expected<void, PropertyListError> run() {
    constexpr std::uint64_t trailerSize = 32;
    if (bytes_.size() < 8 + trailerSize) return unexpected(damaged());
    const std::uint64_t trailerStart = bytes_.size() - trailerSize;
    offsetSize_ = byte(trailerStart + 6);
    refSize_ = byte(trailerStart + 7);
    objectCount_ = bigEndian(trailerStart + 8, 8);
    const std::uint64_t topObject = bigEndian(trailerStart + 16, 8);
    tableOffset_ = bigEndian(trailerStart + 24, 8);
    if (offsetSize_ < 1 || offsetSize_ > 8 || refSize_ < 1 || refSize_ > 8) return unexpected(damaged());
    if (tableOffset_ < 8 || tableOffset_ > trailerStart) return unexpected(damaged());
    if (objectCount_ == 0 || objectCount_ > (trailerStart - tableOffset_) / offsetSize_) return unexpected(damaged());
    if (topObject >= objectCount_) return unexpected(damaged());

    // Real files stay far below these: without shared containers, the tree is no larger than the file.
    costLimit_ = (std::uint64_t{32} << 20) + 8 * static_cast<std::uint64_t>(bytes_.size());
    workLimit_ = (std::uint64_t{1} << 19) + bytes_.size();

    auto top = describe(topObject);
    if (!top) return unexpected(std::move(top).error());
    if (!top->container) return {};
    memo_[topObject] = open;
    stack_.push_back(Frame{topObject, top->contentStart, top->refCount, top->keyCount, 0, nodeCost});
    while (!stack_.empty()) {
      Frame& frame = stack_.back();
      if (frame.nextRef == frame.refCount) {
        const std::uint64_t cost = frame.cost;
        memo_[frame.index] = cost;
        stack_.pop_back();
        if (!stack_.empty()) {
          if (auto added = addCost(stack_.back(), cost); !added) return added;
        }
        continue;
      }
      if (++work_ > workLimit_) return unexpected(PropertyListError::tooLarge());
      const std::uint64_t child = bigEndian(frame.refsStart + frame.nextRef * refSize_, refSize_);
      const bool isKey = frame.nextRef < frame.keyCount;
      ++frame.nextRef;
      if (child >= objectCount_) return unexpected(damaged());
      if (isKey) {
        if (auto checked = checkKey(child); !checked) return checked;
      }
      if (auto known = memo_.find(child); known != memo_.end()) {
        if (known->second == open) {
          return unexpected(PropertyListError::malformed("The binary property list contains a reference cycle"));
        }
        if (auto added = addCost(frame, known->second); !added) return added;
        continue;
      }
      auto object = describe(child);
      if (!object) return unexpected(std::move(object).error());
      if (!object->container) {
        if (auto added = addCost(frame, nodeCost + object->payload); !added) return added;
        continue;
      }
      if (stack_.size() == propertyListMaxDepth) return unexpected(PropertyListError::tooDeep());
      memo_[child] = open;
      // push_back may move the frames; `frame` is not used after this.
      stack_.push_back(Frame{child, object->contentStart, object->refCount, object->keyCount, 0, nodeCost});
    }
    return {};
  }

 private:
  struct Object {
    unsigned type = 0;  // the marker's high nibble
    bool container = false;
    std::uint64_t contentStart = 0;  // containers: the first ref; strings and data: the first unit
    std::uint64_t refCount = 0;
    std::uint64_t keyCount = 0;  // dictionaries: the first keyCount refs are the keys
    std::uint64_t count = 0;     // strings and data: length in units
    std::uint64_t payload = 0;   // bytes a leaf's contents take once read
  };
  struct Frame {
    std::uint64_t index;
    std::uint64_t refsStart;
    std::uint64_t refCount;
    std::uint64_t keyCount;
    std::uint64_t nextRef;
    std::uint64_t cost;
  };

  static constexpr std::uint64_t open = UINT64_MAX;  // memo_ mark of an object on the current path
  static constexpr std::uint64_t nodeCost = 64;      // a value's own bookkeeping, in bytes

  [[nodiscard]] unsigned byte(std::uint64_t offset) const {
    return static_cast<unsigned char>(bytes_[static_cast<std::size_t>(offset)]);
  }

  // Precondition: [offset, offset + width) lies inside the input.
  [[nodiscard]] std::uint64_t bigEndian(std::uint64_t offset, unsigned width) const {
    std::uint64_t value = 0;
    for (unsigned i = 0; i < width; ++i) value = (value << 8) | byte(offset + i);
    return value;
  }

  expected<void, PropertyListError> addCost(Frame& frame, std::uint64_t cost) const {
    frame.cost += cost;  // both terms are at most costLimit_, far from overflowing
    if (frame.cost > costLimit_) return unexpected(PropertyListError::tooLarge());
    return {};
  }

  // libplist 2.2 aborts on an assertion when it hands out a dictionary key that holds a NUL character.
  // Keys are checked at every use, since a string first met as a value may later serve as a key.
  expected<void, PropertyListError> checkKey(std::uint64_t index) {
    auto key = describe(index);
    if (!key) return unexpected(std::move(key).error());
    const unsigned unitSize = key->type == 0x5 ? 1 : key->type == 0x6 ? 2 : 0;
    if (unitSize == 0) return {};
    work_ += key->count;
    if (work_ > workLimit_) return unexpected(PropertyListError::tooLarge());
    for (std::uint64_t unit = 0; unit < key->count; ++unit) {
      if (bigEndian(key->contentStart + unit * unitSize, unitSize) == 0) {
        return unexpected(
            PropertyListError::malformed("The binary property list has a key containing a NUL character"));
      }
    }
    return {};
  }

  // Reads the marker (and length) of object `index`; every range it reports lies before the offset table.
  expected<Object, PropertyListError> describe(std::uint64_t index) const {
    const std::uint64_t offset = bigEndian(tableOffset_ + index * offsetSize_, offsetSize_);
    if (offset < 8 || offset >= tableOffset_) return unexpected(damaged());
    const unsigned marker = byte(offset);
    const unsigned type = marker >> 4;
    Object object;
    object.type = type;
    // Types without a length: null, booleans, fill, integers, reals, dates, UIDs, and unknown markers,
    // which libplist refuses on its own.
    if (type != 0x4 && type != 0x5 && type != 0x6 && type != 0xA && type != 0xB && type != 0xC && type != 0xD) {
      return object;
    }
    std::uint64_t position = offset + 1;
    std::uint64_t count = marker & 0xF;
    if (count == 0xF) {
      if (position >= tableOffset_) return unexpected(damaged());
      const unsigned lengthMarker = byte(position);
      if ((lengthMarker >> 4) != 0x1 || (lengthMarker & 0xF) > 3) return unexpected(damaged());
      const unsigned width = 1u << (lengthMarker & 0xF);
      if (tableOffset_ - position - 1 < width) return unexpected(damaged());
      count = bigEndian(position + 1, width);
      position += 1 + width;
    }
    const std::uint64_t available = tableOffset_ - position;
    object.contentStart = position;
    object.count = count;
    switch (type) {
      case 0x4:  // data
      case 0x5:  // ASCII string
        if (count > available) return unexpected(damaged());
        object.payload = count;
        return object;
      case 0x6:  // UTF-16 string: up to three UTF-8 bytes per unit
        if (count > available / 2) return unexpected(damaged());
        object.payload = 3 * count;
        return object;
      default:
        break;
    }
    const std::uint64_t refCount = type == 0xD ? 2 * count : count;  // a dictionary lists keys, then values
    if (count > available / refSize_ || refCount > available / refSize_) return unexpected(damaged());
    object.container = true;
    object.refCount = refCount;
    object.keyCount = type == 0xD ? count : 0;
    return object;
  }

  std::string_view bytes_;
  unsigned offsetSize_ = 0;
  unsigned refSize_ = 0;
  std::uint64_t objectCount_ = 0;
  std::uint64_t tableOffset_ = 0;
  std::uint64_t costLimit_ = 0;
  std::uint64_t workLimit_ = 0;
  std::uint64_t work_ = 0;
  std::unordered_map<std::uint64_t, std::uint64_t> memo_;
  std::vector<Frame> stack_;
};

}  // namespace

expected<void, PropertyListError> checkBinaryPropertyList(std::string_view bytes) {
  return BinaryCheck(bytes).run();
}

}  // namespace orvanta::detail
