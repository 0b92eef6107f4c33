// The one in-memory form of a property list, whichever format it was read from.
//
// simctl prints old-style text property lists in which every scalar is text; an app's Info.plist is XML
// or binary and carries real booleans, numbers and dates. Both become a PropertyListValue, so callers
// look keys up the same way whatever the source was, and use propertyListBool() where a flag may arrive
// as text or as a boolean.
//
// Values are plain data: copying is deep, moving is cheap and never throws. Thread-safety: like a
// standard container, concurrent reads of one value are safe; a value being modified must not be read
// or written from another thread.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace orvanta {

class PropertyListValue;

namespace detail {
template <class T>
concept NonBoolIntegral = std::integral<T> && !std::same_as<T, bool>;
}  // namespace detail

// A point in time, as seconds since 2001-01-01 00:00:00 UTC (the reference date of the plist formats).
struct PropertyListDate {
  double secondsSinceReferenceDate = 0;
  bool operator==(const PropertyListDate&) const = default;
};

// A dictionary whose keys are unique strings. Entries keep the order in which the file wrote them;
// a sorted index beside them makes find() a binary search (O(log n), no allocation).
//
// Building from entries that repeat a key keeps one entry, at the key's first position, holding the
// last value written for it: a later line overrides an earlier one, and the order stays stable.
// Equality compares the key-value pairs and ignores order.
class PropertyListDictionary {
 public:
  using Entry = std::pair<std::string, PropertyListValue>;

  PropertyListDictionary() = default;
  explicit PropertyListDictionary(std::vector<Entry> entries);
  PropertyListDictionary(std::initializer_list<Entry> entries);

  // The value stored under `key`, or nullptr. The pointer stays valid until this dictionary changes.
  [[nodiscard]] const PropertyListValue* find(std::string_view key) const noexcept;
  [[nodiscard]] bool contains(std::string_view key) const noexcept { return find(key) != nullptr; }

  [[nodiscard]] std::size_t size() const noexcept;
  [[nodiscard]] bool empty() const noexcept;
  // The entries in file order.
  [[nodiscard]] const std::vector<Entry>& entries() const noexcept { return entries_; }
  [[nodiscard]] const Entry* begin() const noexcept;
  [[nodiscard]] const Entry* end() const noexcept;

  // Replaces the value of an existing key in place, or appends a new entry (O(n) for the index).
  void insertOrAssign(std::string key, PropertyListValue value);

  friend bool operator==(const PropertyListDictionary& a, const PropertyListDictionary& b);

 private:
  // Positions in entries_, ordered by key; rebuilt whenever an entry is added.
  void rebuildIndex();

  std::vector<Entry> entries_;
  std::vector<std::size_t> sortedIndex_;
};

// One node of a property list: string, data, boolean, integer, real, date, array or dictionary.
// Default-constructed, it is the empty string.
class PropertyListValue {
 public:
  enum class Kind { string, data, boolean, integer, real, date, array, dictionary };
  using Data = std::vector<std::uint8_t>;
  using Array = std::vector<PropertyListValue>;
  using Dictionary = PropertyListDictionary;
  using Date = PropertyListDate;

  PropertyListValue() noexcept = default;
  PropertyListValue(std::string value) noexcept : storage_(std::in_place_type<std::string>, std::move(value)) {}
  PropertyListValue(std::string_view value) : storage_(std::in_place_type<std::string>, value) {}
  PropertyListValue(const char* value) : storage_(std::in_place_type<std::string>, value) {}
  PropertyListValue(Data value) noexcept : storage_(std::in_place_type<Data>, std::move(value)) {}
  PropertyListValue(bool value) noexcept : storage_(std::in_place_type<bool>, value) {}
  // Any integer type other than bool is stored as a 64-bit signed integer.
  template <detail::NonBoolIntegral T>
  PropertyListValue(T value) noexcept : storage_(std::in_place_type<std::int64_t>, static_cast<std::int64_t>(value)) {}
  PropertyListValue(double value) noexcept : storage_(std::in_place_type<double>, value) {}
  PropertyListValue(Date value) noexcept : storage_(std::in_place_type<Date>, value) {}
  PropertyListValue(Array value) noexcept : storage_(std::in_place_type<Array>, std::move(value)) {}
  PropertyListValue(Dictionary value) noexcept : storage_(std::in_place_type<Dictionary>, std::move(value)) {}

  [[nodiscard]] Kind kind() const noexcept { return static_cast<Kind>(storage_.index()); }

  [[nodiscard]] bool isString() const noexcept { return kind() == Kind::string; }
  [[nodiscard]] bool isData() const noexcept { return kind() == Kind::data; }
  [[nodiscard]] bool isBool() const noexcept { return kind() == Kind::boolean; }
  [[nodiscard]] bool isInteger() const noexcept { return kind() == Kind::integer; }
  [[nodiscard]] bool isReal() const noexcept { return kind() == Kind::real; }
  [[nodiscard]] bool isDate() const noexcept { return kind() == Kind::date; }
  [[nodiscard]] bool isArray() const noexcept { return kind() == Kind::array; }
  [[nodiscard]] bool isDictionary() const noexcept { return kind() == Kind::dictionary; }

  // Each returns the stored value when the kind matches, else nullptr.
  [[nodiscard]] const std::string* asString() const noexcept { return std::get_if<std::string>(&storage_); }
  [[nodiscard]] const Data* asData() const noexcept { return std::get_if<Data>(&storage_); }
  [[nodiscard]] const bool* asBool() const noexcept { return std::get_if<bool>(&storage_); }
  [[nodiscard]] const std::int64_t* asInteger() const noexcept { return std::get_if<std::int64_t>(&storage_); }
  [[nodiscard]] const double* asReal() const noexcept { return std::get_if<double>(&storage_); }
  [[nodiscard]] const Date* asDate() const noexcept { return std::get_if<Date>(&storage_); }
  [[nodiscard]] const Array* asArray() const noexcept { return std::get_if<Array>(&storage_); }
  [[nodiscard]] const Dictionary* asDictionary() const noexcept { return std::get_if<Dictionary>(&storage_); }

  // In a dictionary, the value under `key`; nullptr when this is not a dictionary or has no such key.
  [[nodiscard]] const PropertyListValue* find(std::string_view key) const noexcept;
  // In a dictionary, the string under `key`; nullptr when absent or not a string.
  [[nodiscard]] const std::string* findString(std::string_view key) const noexcept;

  // Same kind and equal contents (dictionaries ignore order; reals compare as doubles, so NaN != NaN).
  friend bool operator==(const PropertyListValue& a, const PropertyListValue& b);

 private:
  // The alternatives are in the order of Kind.
  std::variant<std::string, Data, bool, std::int64_t, double, Date, Array, Dictionary> storage_;
};

// Defined here, where PropertyListValue is complete.
inline std::size_t PropertyListDictionary::size() const noexcept {
  return entries_.size();
}
inline bool PropertyListDictionary::empty() const noexcept {
  return entries_.empty();
}
inline const PropertyListDictionary::Entry* PropertyListDictionary::begin() const noexcept {
  return entries_.data();
}
inline const PropertyListDictionary::Entry* PropertyListDictionary::end() const noexcept {
  return entries_.data() + entries_.size();
}

// A flag as apps write it: a boolean, or the text "true", "yes" or "1" (true) and "false", "no" or "0"
// (false), in any letter case. nullopt for anything else, including other text and numbers.
[[nodiscard]] std::optional<bool> propertyListBool(const PropertyListValue& value);

}  // namespace orvanta
