#include "support/property_list_value.hpp"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace orvanta {
namespace {

using Dictionary = PropertyListDictionary;
using Array = PropertyListValue::Array;

TEST(PropertyListDictionaryTest, RepeatedKeysKeepTheFirstPositionAndTheLastValue) {
  struct Case {
    std::vector<Dictionary::Entry> entries;
    std::vector<Dictionary::Entry> expected;  // in order
  } cases[] = {
      {{{"a", "1"}, {"b", "2"}, {"a", "3"}}, {{"a", "3"}, {"b", "2"}}},
      {{{"b", "1"}, {"a", "2"}, {"b", "3"}, {"a", "4"}, {"c", "5"}}, {{"b", "3"}, {"a", "4"}, {"c", "5"}}},
      {{{"z", "1"}, {"a", "2"}, {"Z", "3"}}, {{"z", "1"}, {"a", "2"}, {"Z", "3"}}},
  };
  for (auto& c : cases) {
    SCOPED_TRACE(c.entries.front().first);
    Dictionary dictionary(std::move(c.entries));
    EXPECT_EQ(dictionary.entries(), c.expected);
    for (const auto& [key, value] : c.expected) EXPECT_EQ(*dictionary.find(key), value) << key;
    EXPECT_EQ(dictionary.find("A"), nullptr);
  }
}

TEST(PropertyListValueTest, EqualityIsDeepAndIgnoresDictionaryOrder) {
  PropertyListValue a = Dictionary{{"x", Array{"1", Dictionary{{"p", true}, {"q", 2}}}}, {"y", 2.5}};
  EXPECT_EQ(a, PropertyListValue(Dictionary{{"y", 2.5}, {"x", Array{"1", Dictionary{{"q", 2}, {"p", true}}}}}));
  EXPECT_NE(a, PropertyListValue(Dictionary{{"y", 2.5}, {"x", Array{"1", Dictionary{{"q", 2}, {"p", false}}}}}));
  EXPECT_NE(PropertyListValue("1"), PropertyListValue(1));
  EXPECT_NE(PropertyListValue(1), PropertyListValue(true));
  EXPECT_NE(PropertyListValue(1), PropertyListValue(1.0));
}

TEST(PropertyListBoolTest, ReadsBooleansAndTheirTextForms) {
  struct Case {
    PropertyListValue value;
    std::optional<bool> expected;
  } cases[] = {
      {true, true},       {false, false},          {"TRUE", true},          {"yEs", true},
      {"1", true},        {"False", false},        {"NO", false},           {"0", false},
      {"", std::nullopt}, {" true", std::nullopt}, {"truee", std::nullopt}, {1, std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.value.asString() != nullptr ? *c.value.asString() : "not text");
    EXPECT_EQ(propertyListBool(c.value), c.expected);
  }
}

}  // namespace
}  // namespace orvanta
