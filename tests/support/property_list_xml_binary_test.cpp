#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/property_list.hpp"
#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using namespace std::string_literals;
using Dictionary = PropertyListDictionary;
using Array = PropertyListValue::Array;
using Data = PropertyListValue::Data;

// ---------------------------------------------------------------------------------------------------
// A small "bplist00" writer: each object is its marker and contents plus the object numbers it refers to.

struct BinaryObject {
  std::string head;
  std::vector<std::uint64_t> refs;
};

void appendBigEndian(std::string& out, std::uint64_t value, unsigned width) {
  for (unsigned i = width; i-- > 0;) out += static_cast<char>((value >> (8 * i)) & 0xFF);
}

// Lengths up to 14 fit in the marker, which is all these tests need.
std::string marker(unsigned type, std::size_t count) {
  return std::string(1, static_cast<char>((type << 4) | count));
}

BinaryObject string(const std::string& text) {
  return {marker(0x5, text.size()) + text, {}};
}
BinaryObject utf16(const std::u16string& text) {
  std::string head = marker(0x6, text.size());
  for (char16_t unit : text) appendBigEndian(head, unit, 2);
  return {head, {}};
}
BinaryObject array(std::vector<std::uint64_t> items) {
  return {marker(0xA, items.size()), std::move(items)};
}
BinaryObject dictionary(std::vector<std::uint64_t> keys, const std::vector<std::uint64_t>& values) {
  std::string head = marker(0xD, keys.size());
  keys.insert(keys.end(), values.begin(), values.end());
  return {head, std::move(keys)};
}

// Four-byte offsets and references; the first object is the top one.
std::string binaryPlist(const std::vector<BinaryObject>& objects) {
  std::string out = "bplist00";
  std::vector<std::uint64_t> offsets;
  for (const auto& object : objects) {
    offsets.push_back(out.size());
    out += object.head;
    for (std::uint64_t ref : object.refs) appendBigEndian(out, ref, 4);
  }
  const std::uint64_t tableOffset = out.size();
  for (std::uint64_t offset : offsets) appendBigEndian(out, offset, 4);
  out += std::string(6, '\0') + "\x04\x04";
  appendBigEndian(out, objects.size(), 8);
  appendBigEndian(out, 0, 8);
  appendBigEndian(out, tableOffset, 8);
  return out;
}

TEST(XmlBinaryPropertyListTest, ReadsBothFormatsIntoTheSameValue) {
  const PropertyListValue expected = Dictionary{
      {"CFBundleIdentifier", "com.example.cafe"},
      {"CFBundleURLTypes", Array{Dictionary{{"CFBundleURLName", "com.example.cafe.links"},
                                            {"CFBundleURLSchemes", Array{"cafe", "caf\u00e9-beta"}}}}},
      {"LSRequiresIPhoneOS", true},
      {"UIFileSharingEnabled", false},
      {"Build", 42},
      {"Offset", -3},
      {"Ratio", 2.5},
      {"Released", PropertyListDate{725857445.0}},  // 2024-01-02T03:04:05Z
      {"Token", Data{0xDE, 0xAD, 0xBE, 0xEF}},
  };
  const std::string xml = testing::readFixture("plist/info-plist.xml");
  struct Case {
    const char* name;
    std::string bytes;
  } cases[] = {
      {"XML", xml},
      {"XML after a byte-order mark and blank lines", "\xEF\xBB\xBF\n\n" + xml},
      {"binary", testing::readFixture("plist/info-plist.bplist")},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto result = parsePropertyList(c.bytes);
    ASSERT_TRUE(result.has_value()) << result.error().description();
    EXPECT_EQ(*result, expected);
    EXPECT_EQ(result->asDictionary()->entries().front().first, "CFBundleIdentifier");
    EXPECT_EQ(result->asDictionary()->entries().back().first, "Token");
  }
}

TEST(XmlBinaryPropertyListTest, RefusesDamagedOrHostileXml) {
  const std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n";
  std::string arrays;
  for (std::size_t i = 0; i <= propertyListMaxDepth; ++i) arrays += "<array>";
  struct Case {
    const char* name;
    std::string xml;
    std::string description;
  } cases[] = {
      {"mismatched tag", head + "<dict>\n  <key>a</key>\n  <string>b</array>\n</dict>\n</plist>\n",
       "Malformed XML (mismatched tag) at line 5, column 14."},
      {"truncated", head + "<dict>\n", "Malformed XML (no element found) at line 4, column 1."},
      {"positions count the blank lines before the declaration", "\r\n\n  " + head + "<dict>\n",
       "Malformed XML (no element found) at line 6, column 1."},
      {"positions count the blanks before the first element", " \t<plist><dict></plist>",
       "Malformed XML (mismatched tag) at line 1, column 18."},
      {"text after the document", head + "<true/>\n</plist>\nmore",
       "Malformed XML (junk after document element) at line 5, column 1."},
      {"NUL byte", head + "<string>a\0b</string></plist>"s,
       "Malformed XML (not well-formed (invalid token)) at line 3, column 10."},
      {"entity declaration",
       "<?xml version=\"1.0\"?>\n<!DOCTYPE plist [\n<!ENTITY a \"aaaaaaaa\">\n]>\n<plist><string>&a;</string></plist>",
       "Entity declarations are not allowed at line 3, column 12."},
      {"nested one level too deep", head + arrays,
       "The property list nests more than 256 levels deep at line 3, column 1793."},
      {"well-formed but not a property list", head + "<color>red</color></plist>",
       "The XML property list could not be read."},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto result = parseXmlOrBinaryPropertyList(c.xml);
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().description(), c.description);
  }
  std::string deepest = head + arrays.substr(7) + "<string>x</string>";
  for (std::size_t i = 0; i < propertyListMaxDepth; ++i) deepest += "</array>";
  auto accepted = parseXmlOrBinaryPropertyList(deepest + "</plist>");
  EXPECT_TRUE(accepted.has_value()) << accepted.error().description();
}

TEST(XmlBinaryPropertyListTest, RefusesDamagedOrHostileBinary) {
  // A chain of arrays, each holding the next.
  auto chain = [](std::size_t length) {
    std::vector<BinaryObject> objects;
    for (std::size_t i = 0; i + 1 < length; ++i) objects.push_back(array({i + 1}));
    objects.push_back(string("end"));
    return binaryPlist(objects);
  };
  // Each array holds the next one twice: 60 objects expand to 2^60 values.
  std::vector<BinaryObject> doubling;
  for (std::uint64_t i = 0; i < 60; ++i) doubling.push_back(array({i + 1, i + 1}));
  doubling.push_back(string("leaf"));

  std::string goodTrailer = binaryPlist({string("x")});
  std::string badTopObject = goodTrailer;
  badTopObject[badTopObject.size() - 9] = 5;

  struct Case {
    const char* name;
    std::string bytes;
    PropertyListError error;
  } cases[] = {
      {"magic only", "bplist00", PropertyListError::malformed("The binary property list is damaged")},
      {"top object out of range", badTopObject, PropertyListError::malformed("The binary property list is damaged")},
      {"reference out of range", binaryPlist({array({7})}),
       PropertyListError::malformed("The binary property list is damaged")},
      {"string longer than the file", binaryPlist({{"\x5F\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF", {}}}),
       PropertyListError::malformed("The binary property list is damaged")},
      {"ASCII key holding NUL", binaryPlist({dictionary({1}, {2}), string("a\0b"s), string("v")}),
       PropertyListError::malformed("The binary property list has a key containing a NUL character")},
      {"UTF-16 key holding NUL, also used as a value",
       binaryPlist({array({1, 2}), utf16(u"x"s + u'\0'), dictionary({1}, {1})}),
       PropertyListError::malformed("The binary property list has a key containing a NUL character")},
      {"reference cycle", binaryPlist({array({1}), array({0})}),
       PropertyListError::malformed("The binary property list contains a reference cycle")},
      {"nested one level too deep", chain(propertyListMaxDepth + 2), PropertyListError::tooDeep()},
      {"nested 100000 levels", chain(100'000), PropertyListError::tooDeep()},
      {"shared arrays expanding to 2^60 values", binaryPlist(doubling), PropertyListError::tooLarge()},
      {"another version", "bplist15" + goodTrailer.substr(8),
       PropertyListError::unsupportedFormat("Binary property lists of version \"15\" are not supported")},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto result = parsePropertyList(c.bytes);
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error(), c.error) << result.error().description();
  }
  EXPECT_TRUE(parsePropertyList(chain(propertyListMaxDepth + 1)).has_value());
  // In a value, unlike a key, a NUL character is not refused: libplist ends the string there.
  auto withNul = parsePropertyList(binaryPlist({array({1}), string("a\0b"s)}));
  ASSERT_TRUE(withNul.has_value());
  EXPECT_EQ(*withNul, PropertyListValue(Array{"a"}));
}

TEST(PropertyListFormatTest, DetectsTheFormatFromTheFirstBytes) {
  struct Case {
    std::string bytes;
    PropertyListFormat format;
  } cases[] = {
      {"bplist00", PropertyListFormat::binary},       {"  \n\t<plist version=\"1.0\">", PropertyListFormat::xml},
      {"\xEF\xBB\xBF<?xml", PropertyListFormat::xml}, {"<!DOCTYPE plist>", PropertyListFormat::xml},
      {"<0fbd>", PropertyListFormat::openStep},       {" bplist00", PropertyListFormat::openStep},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.bytes);
    EXPECT_EQ(detectPropertyListFormat(c.bytes), c.format);
  }
}

}  // namespace
}  // namespace orvanta
