#include "support/property_list_value.hpp"

#include <algorithm>
#include <type_traits>

namespace orvanta {

static_assert(std::is_nothrow_move_constructible_v<PropertyListValue>);
static_assert(std::is_nothrow_move_assignable_v<PropertyListValue>);

// ---------------------------------------------------------------------------------------------------
// PropertyListDictionary

PropertyListDictionary::PropertyListDictionary(std::vector<Entry> entries) : entries_(std::move(entries)) {
  rebuildIndex();
  // Collapse repeated keys: the first position survives and takes the value of the last repetition.
  bool repeated = false;
  for (std::size_t i = 1; i < sortedIndex_.size() && !repeated; ++i) {
    repeated = entries_[sortedIndex_[i - 1]].first == entries_[sortedIndex_[i]].first;
  }
  if (!repeated) return;
  std::vector<bool> dropped(entries_.size(), false);
  for (std::size_t runStart = 0; runStart < sortedIndex_.size();) {
    std::size_t runEnd = runStart + 1;
    while (runEnd < sortedIndex_.size() &&
           entries_[sortedIndex_[runEnd]].first == entries_[sortedIndex_[runStart]].first)
      ++runEnd;
    if (runEnd - runStart > 1) {
      // The index is stably sorted, so within a run positions ascend: first written first.
      entries_[sortedIndex_[runStart]].second = std::move(entries_[sortedIndex_[runEnd - 1]].second);
      for (std::size_t i = runStart + 1; i < runEnd; ++i) dropped[sortedIndex_[i]] = true;
    }
    runStart = runEnd;
  }
  std::size_t kept = 0;
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    if (dropped[i]) continue;
    if (kept != i) entries_[kept] = std::move(entries_[i]);
    ++kept;
  }
  entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(kept), entries_.end());
  rebuildIndex();
}

PropertyListDictionary::PropertyListDictionary(std::initializer_list<Entry> entries)
    : PropertyListDictionary(std::vector<Entry>(entries)) {}

void PropertyListDictionary::rebuildIndex() {
  sortedIndex_.resize(entries_.size());
  for (std::size_t i = 0; i < sortedIndex_.size(); ++i) sortedIndex_[i] = i;
  std::stable_sort(sortedIndex_.begin(), sortedIndex_.end(),
                   [this](std::size_t a, std::size_t b) { return entries_[a].first < entries_[b].first; });
}

const PropertyListValue* PropertyListDictionary::find(std::string_view key) const noexcept {
  auto it = std::lower_bound(sortedIndex_.begin(), sortedIndex_.end(), key,
                             [this](std::size_t position, std::string_view wanted) {
                               return std::string_view(entries_[position].first) < wanted;
                             });
  if (it == sortedIndex_.end() || entries_[*it].first != key) return nullptr;
  return &entries_[*it].second;
}

void PropertyListDictionary::insertOrAssign(std::string key, PropertyListValue value) {
  auto it = std::lower_bound(
      sortedIndex_.begin(), sortedIndex_.end(), key,
      [this](std::size_t position, const std::string& wanted) { return entries_[position].first < wanted; });
  if (it != sortedIndex_.end() && entries_[*it].first == key) {
    entries_[*it].second = std::move(value);
    return;
  }
  entries_.emplace_back(std::move(key), std::move(value));
  sortedIndex_.insert(it, entries_.size() - 1);
}

bool operator==(const PropertyListDictionary& a, const PropertyListDictionary& b) {
  if (a.size() != b.size()) return false;
  return std::all_of(a.begin(), a.end(), [&b](const PropertyListDictionary::Entry& entry) {
    const PropertyListValue* other = b.find(entry.first);
    return other != nullptr && *other == entry.second;
  });
}

// ---------------------------------------------------------------------------------------------------
// PropertyListValue

const PropertyListValue* PropertyListValue::find(std::string_view key) const noexcept {
  const Dictionary* dictionary = asDictionary();
  return dictionary != nullptr ? dictionary->find(key) : nullptr;
}

const std::string* PropertyListValue::findString(std::string_view key) const noexcept {
  const PropertyListValue* value = find(key);
  return value != nullptr ? value->asString() : nullptr;
}

bool operator==(const PropertyListValue& a, const PropertyListValue& b) {
  return a.storage_ == b.storage_;
}

// ---------------------------------------------------------------------------------------------------

namespace {

bool equalsIgnoringCase(std::string_view text, std::string_view lowerCaseWord) {
  return std::equal(text.begin(), text.end(), lowerCaseWord.begin(), lowerCaseWord.end(), [](char c, char lower) {
    return (c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c) == lower;
  });
}

}  // namespace

std::optional<bool> propertyListBool(const PropertyListValue& value) {
  if (const bool* flag = value.asBool()) return *flag;
  const std::string* text = value.asString();
  if (text == nullptr) return std::nullopt;
  for (std::string_view word : {"true", "yes", "1"}) {
    if (equalsIgnoringCase(*text, word)) return true;
  }
  for (std::string_view word : {"false", "no", "0"}) {
    if (equalsIgnoringCase(*text, word)) return false;
  }
  return std::nullopt;
}

}  // namespace orvanta
