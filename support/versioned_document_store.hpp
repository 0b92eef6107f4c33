// A saved collection of records in one JSON document of the application-support folder, such as the
// scenario library ("Scenarios/scenarios.json") and the workspaces ("Workspaces/workspaces.json"):
//
//   {"formatVersion": 1, "items": [<record>, ...]}
//
// Every record carries "id" (an upper-case UUID) and "schemaVersion". Items are kept in the order the user
// sees. An item of a schema version other than the current one (written by a newer Orvanta, or an older
// experiment) is listed as an unsupported entry and its object is kept as it is, so that saving writes it
// back unchanged and in its place; so is a current-version item that does not decode. An item without a
// readable "schemaVersion" and "id" is left out. A file that is not such a document is moved aside as
// "<base>.unreadable-<yyyyMMdd-HHmmss><extension>" and the store starts empty. "formatVersion" is
// written as 1 and ignored on reading.
//
// Every change is a read-modify-write of the file under an advisory lock ("<file>.lock" beside it): the
// file is read again under the lock, the change applied to what it holds, and the result written
// atomically (pretty-printed, keys sorted, folder 0700), so that two orvanta processes changing the store
// at once both keep their change. The in-memory store takes the new state only when the write worked.
//
// What differs between documents comes from `Traits`:
//   using Record;   a value with `id`, `schemaVersion`, `name`, `createdAt`, `updatedAt`
//   using Error;    with `using Case = DocumentStoreFailure`, and of(Case, detail)
//   static constexpr std::int64_t currentSchemaVersion;
//   static constexpr std::string_view folderName, fileName;  where it lives in the application-support folder
//   static constexpr std::string_view documentName;          "scenario library", in the recovery notice
//   static expected<nlohmann::json, std::string> encode(const Record&);
//   static expected<Record, std::string> decode(const nlohmann::json&);
//   static std::string unsupportedText(std::int64_t version);   why an item of another version is not shown
//   static std::string unreadableText(const std::string& problem);  why a current-version item is not
//
// A value type; one thread uses one store at a time. Calls block on the file system.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/expected.hpp"
#include "support/file_error.hpp"
#include "support/uuid.hpp"

namespace orvanta {

// What a change to a saved document can fail with; each document's error type calls it `Case` and words
// its own sentences.
enum class DocumentStoreFailure { notFound, invalidReorder, encodingFailed, writeFailed, nameTaken };
// The case's name as scripts see it in --json output ("notFound", ...).
[[nodiscard]] std::string_view caseName(DocumentStoreFailure failure);

// The minimal view of a stored item that decides how to read it.
struct StoredEnvelope {
  std::int64_t schemaVersion = 0;
  std::string id;  // upper-case UUID

  // Both keys readable (an integer, a UUID in any letter case); nullopt otherwise.
  [[nodiscard]] static std::optional<StoredEnvelope> read(const nlohmann::json& item);
};

namespace detail {

// The document's items when `text` is a document of this kind (an object with "items", an array of
// objects); nullopt when the file should be moved aside.
[[nodiscard]] std::optional<std::vector<nlohmann::json>> documentItems(std::string_view text);

enum class DocumentRead { read, missing, unreadable, failed };
// Reads `file` (bounded by the library budget): `missing` when there is none, `failed` when the system is
// short of resources (the file is left alone), `unreadable` when it is not a document of this kind.
[[nodiscard]] DocumentRead readDocumentItems(const std::filesystem::path& file, std::vector<nlohmann::json>& items);

// {"formatVersion": 1, "items": items}, pretty-printed with sorted keys and a final newline.
[[nodiscard]] std::string documentText(nlohmann::json items);

// Writes the document's text atomically (0600); a sentence otherwise.
[[nodiscard]] expected<void, std::string> writeDocument(const std::filesystem::path& file, const std::string& text);

// Makes the folder chain (0700) and checks that the file's own folder is ours; a sentence otherwise.
[[nodiscard]] expected<void, std::string> prepareDocumentFolder(const std::filesystem::path& file);

// Runs `body` holding the advisory lock beside `file` (blocking until it is free); a sentence when the lock
// cannot be taken. Unless `required`, `body` runs whether or not the lock could be taken.
[[nodiscard]] expected<void, std::string> withDocumentLock(const std::filesystem::path& file, bool required,
                                                           const std::function<void()>& body);

// Moves an unreadable document aside and says so in a sentence naming the document.
[[nodiscard]] std::string recoverUnreadableDocument(const std::filesystem::path& file, std::string_view documentName,
                                                    std::chrono::system_clock::time_point now);

// applicationSupportDirectory()/folder/file.
[[nodiscard]] expected<std::filesystem::path, FileError> documentFile(std::string_view folder, std::string_view file);

}  // namespace detail

// What to do when a record is added under a name another record has.
enum class NameClash { number, refuse };

template <class Traits>
class VersionedDocumentStore {
 public:
  using Record = typename Traits::Record;
  using Error = typename Traits::Error;
  using Clock = std::function<std::chrono::system_clock::time_point()>;

  struct Entry {
    enum class Case { record, unsupportedFormat };
    Case kind = Case::record;
    Record record;                    // record
    std::string unsupportedID;        // unsupportedFormat
    std::int64_t schemaVersion = 0;   // unsupportedFormat
    // unsupportedFormat of the current version whose item does not decode: the decoder's reason.
    std::string readProblem;

    static Entry of(Record record) { return {Case::record, std::move(record), {}, 0, {}}; }
    static Entry unsupported(std::string id, std::int64_t version) {
      return {Case::unsupportedFormat, {}, std::move(id), version, {}};
    }
    static Entry unreadable(std::string id, std::int64_t version, std::string problem) {
      return {Case::unsupportedFormat, {}, std::move(id), version, std::move(problem)};
    }
    // For an unsupportedFormat entry, what to tell the user.
    [[nodiscard]] std::string message() const {
      return readProblem.empty() ? Traits::unsupportedText(schemaVersion) : Traits::unreadableText(readProblem);
    }
    [[nodiscard]] const std::string& id() const { return kind == Case::record ? record.id : unsupportedID; }
    [[nodiscard]] bool readable() const { return kind == Case::record; }
    bool operator==(const Entry&) const = default;
  };

  std::filesystem::path fileURL;
  std::vector<Entry> entries;
  // The stored objects of the unsupported entries, by id.
  std::map<std::string, nlohmann::json> preservedRawItems;

  // applicationSupportDirectory()/<folder>/<file>. Fails with homeNotFound.
  [[nodiscard]] static expected<std::filesystem::path, FileError> defaultFile() {
    return detail::documentFile(Traits::folderName, Traits::fileName);
  }

  // Reads the store at `file`. Never fails: a missing file is an empty store, an unreadable one is moved
  // aside (recoveryNotice() then says so).
  [[nodiscard]] static VersionedDocumentStore load(std::filesystem::path file,
                                                   Clock now = std::chrono::system_clock::now) {
    return read(file, now, /*locked=*/false);
  }

  // The store a document's text holds (entries and preserved items; no path), or nullopt when the text is
  // not such a document at all. Pure; never throws.
  [[nodiscard]] static std::optional<VersionedDocumentStore> decodeDocument(std::string_view text) {
    auto items = detail::documentItems(text);
    if (!items) return std::nullopt;
    VersionedDocumentStore store;
    store.build(std::move(*items));
    return store;
  }

  // Appends `record` with the current schema version. A name another record has is numbered (" 2", " 3")
  // or refused with nameTaken. Fails with encodingFailed or writeFailed. Returns the record as added.
  [[nodiscard]] expected<Record, Error> add(Record record, NameClash clash = NameClash::number) {
    record.schemaVersion = Traits::currentSchemaVersion;
    auto done = mutate([&](VersionedDocumentStore& store) -> expected<void, Error> {
      if (clash == NameClash::refuse && store.nameTaken(record.name)) {
        return unexpected(Error::of(Error::Case::nameTaken, record.name));
      }
      record.name = store.uniqueName(record.name);
      store.entries.push_back(Entry::of(record));
      return {};
    });
    if (!done) return unexpected(done.error());
    return record;
  }

  // Replaces the readable record with the same id, with the current schema version and `updatedAt` now.
  // notFound when there is none (or the entry is unsupported); nameTaken when another record has its name.
  [[nodiscard]] expected<Record, Error> update(Record record) {
    record.schemaVersion = Traits::currentSchemaVersion;
    record.updatedAt = now_();
    const std::string wanted = upper(record.id);
    auto done = mutate([&](VersionedDocumentStore& store) -> expected<void, Error> {
      if (store.nameTaken(record.name, wanted)) return unexpected(Error::of(Error::Case::nameTaken, record.name));
      for (auto& entry : store.entries) {
        if (entry.kind == Entry::Case::record && entry.record.id == wanted) {
          record.id = entry.record.id;
          entry.record = record;
          return {};
        }
      }
      return unexpected(Error::of(Error::Case::notFound));
    });
    if (!done) return unexpected(done.error());
    return record;
  }

  // A copy with a new id, the name followed by " Copy" (numbered when taken) and both dates now, placed
  // right after the original. `adjust` may change the copy further (new ids inside it). notFound when no
  // readable record has that id.
  [[nodiscard]] expected<Record, Error> duplicate(std::string_view id,
                                                  const std::function<void(Record&)>& adjust = {}) {
    const std::string wanted = upper(id);
    Record copy;
    auto done = mutate([&](VersionedDocumentStore& store) -> expected<void, Error> {
      auto found = std::find_if(store.entries.begin(), store.entries.end(), [&](const Entry& entry) {
        return entry.kind == Entry::Case::record && entry.record.id == wanted;
      });
      if (found == store.entries.end()) return unexpected(Error::of(Error::Case::notFound));
      copy = found->record;
      copy.id = makeUUID();
      copy.schemaVersion = Traits::currentSchemaVersion;
      copy.name = store.uniqueName(copy.name + " Copy");
      copy.createdAt = copy.updatedAt = now_();
      if (adjust) adjust(copy);
      store.entries.insert(std::next(found), Entry::of(copy));
      return {};
    });
    if (!done) return unexpected(done.error());
    return copy;
  }

  // Removes every entry with that id, readable or not (an unknown id is not an error; the file is still
  // written).
  [[nodiscard]] expected<void, Error> remove(std::string_view id) {
    const std::string wanted = upper(id);
    return mutate([&](VersionedDocumentStore& store) -> expected<void, Error> {
      std::erase_if(store.entries, [&](const Entry& entry) { return entry.id() == wanted; });
      store.preservedRawItems.erase(wanted);
      return {};
    });
  }

  // Puts the entries in the order of `ids`, which must name exactly the ids in the store (invalidReorder
  // otherwise).
  [[nodiscard]] expected<void, Error> reorder(const std::vector<std::string>& ids) {
    return mutate([&](VersionedDocumentStore& store) -> expected<void, Error> {
      std::vector<std::string> wanted;
      for (const auto& id : ids) wanted.push_back(upper(id));
      std::multiset<std::string> given(wanted.begin(), wanted.end());
      std::multiset<std::string> present;
      for (const auto& entry : store.entries) present.insert(entry.id());
      if (given != present) return unexpected(Error::of(Error::Case::invalidReorder));
      std::vector<Entry> ordered;
      std::vector<bool> used(store.entries.size(), false);
      for (const auto& id : wanted) {
        for (std::size_t index = 0; index < store.entries.size(); ++index) {
          if (!used[index] && store.entries[index].id() == id) {
            used[index] = true;
            ordered.push_back(std::move(store.entries[index]));
            break;
          }
        }
      }
      store.entries = std::move(ordered);
      return {};
    });
  }

  // The entry whose id is `nameOrID` (any letter case), else the first readable one with that exact name;
  // null when there is none.
  [[nodiscard]] const Entry* find(std::string_view nameOrID) const {
    const std::string wanted = upper(nameOrID);
    for (const auto& entry : entries) {
      if (entry.id() == wanted) return &entry;
    }
    for (const auto& entry : entries) {
      if (entry.kind == Entry::Case::record && entry.record.name == nameOrID) return &entry;
    }
    return nullptr;
  }

  // The readable record with that id (any letter case), if any.
  [[nodiscard]] const Record* lookup(std::string_view id) const {
    const std::string wanted = upper(id);
    for (const auto& entry : entries) {
      if (entry.kind == Entry::Case::record && entry.record.id == wanted) return &entry.record;
    }
    return nullptr;
  }

  // Imports items as they would load: a current-version record (given decoded) is appended as a record,
  // an item of any other version (`raw`) as an unsupported entry kept as it is. A record whose id is
  // already in the store gets a new one (`adjust` may renew ids inside it), and one whose name is taken is
  // numbered (" 2"); an unsupported item whose id is taken is left out. Everything is written at once.
  // Returns the entries added, in order.
  struct ImportItem {
    std::optional<Record> record;
    nlohmann::json raw;  // when there is no record: the stored object, with a readable envelope
  };
  [[nodiscard]] expected<std::vector<Entry>, Error> addItems(const std::vector<ImportItem>& items) {
    std::vector<Entry> added;
    auto done = mutate([&](VersionedDocumentStore& store) -> expected<void, Error> {
      added.clear();
      std::set<std::string> taken;
      for (const auto& entry : store.entries) taken.insert(entry.id());
      for (const auto& item : items) {
        if (item.record) {
          Record record = *item.record;
          record.schemaVersion = Traits::currentSchemaVersion;
          if (taken.contains(record.id)) record.id = makeUUID();
          taken.insert(record.id);
          record.name = store.uniqueName(record.name);
          store.entries.push_back(Entry::of(record));
          added.push_back(store.entries.back());
          continue;
        }
        auto envelope = StoredEnvelope::read(item.raw);
        if (!envelope || taken.contains(envelope->id)) continue;
        taken.insert(envelope->id);
        store.entries.push_back(Entry::unsupported(envelope->id, envelope->schemaVersion));
        store.preservedRawItems.insert_or_assign(envelope->id, item.raw);
        added.push_back(store.entries.back());
      }
      return {};
    });
    if (!done) return unexpected(done.error());
    return added;
  }

  // Whether a readable record other than `exceptID` is called `name`.
  [[nodiscard]] bool nameTaken(std::string_view name, std::string_view exceptID = {}) const {
    return std::any_of(entries.begin(), entries.end(), [&](const Entry& entry) {
      return entry.kind == Entry::Case::record && entry.record.name == name && entry.record.id != exceptID;
    });
  }

  // `base`, or "base 2", "base 3", ...: the first name no record has, so that lookups by name stay unique.
  [[nodiscard]] std::string uniqueName(const std::string& base) const {
    std::string name = base;
    for (int number = 2; nameTaken(name); ++number) name = base + " " + std::to_string(number);
    return name;
  }

  // A sentence saying that the file could not be read and where it went; set by load.
  [[nodiscard]] const std::optional<std::string>& recoveryNotice() const { return recoveryNotice_; }

  // The item of an entry as it would be written. Fails with encodingFailed.
  [[nodiscard]] expected<nlohmann::json, Error> item(const Entry& entry) const {
    if (entry.kind == Entry::Case::record) {
      auto json = Traits::encode(entry.record);
      if (!json) return unexpected(Error::of(Error::Case::encodingFailed, json.error()));
      return std::move(*json);
    }
    auto raw = preservedRawItems.find(entry.unsupportedID);
    if (raw == preservedRawItems.end()) {
      return unexpected(Error::of(Error::Case::encodingFailed, "The stored item " + entry.unsupportedID + " is gone."));
    }
    return raw->second;
  }

  // The document as it would be written: {"formatVersion": 1, "items": [...]}. Fails with encodingFailed.
  [[nodiscard]] expected<nlohmann::json, Error> document() const {
    nlohmann::json items = nlohmann::json::array();
    for (const auto& entry : entries) {
      auto json = item(entry);
      if (!json) return unexpected(json.error());
      items.push_back(std::move(*json));
    }
    return nlohmann::json{{"formatVersion", 1}, {"items", std::move(items)}};
  }

 private:
  static std::string upper(std::string_view id) { return parseUUID(id).value_or(std::string(id)); }

  void build(std::vector<nlohmann::json> items) {
    for (auto& item : items) {
      auto envelope = StoredEnvelope::read(item);
      if (!envelope) continue;
      if (envelope->schemaVersion == Traits::currentSchemaVersion) {
        auto record = Traits::decode(item);
        if (record) {
          entries.push_back(Entry::of(std::move(*record)));
          continue;
        }
        // Kept as it stands, never dropped at the next save: a later version of us may read it, or its
        // owner may mend it by hand.
        entries.push_back(Entry::unreadable(envelope->id, envelope->schemaVersion, record.error()));
      } else {
        entries.push_back(Entry::unsupported(envelope->id, envelope->schemaVersion));
      }
      preservedRawItems.insert_or_assign(envelope->id, std::move(item));
    }
  }

  static VersionedDocumentStore empty(const std::filesystem::path& file, const Clock& now) {
    VersionedDocumentStore store;
    store.fileURL = file;
    store.now_ = now;
    return store;
  }

  static VersionedDocumentStore read(const std::filesystem::path& file, const Clock& now, bool locked) {
    auto attempt = [&](VersionedDocumentStore& store) {
      std::vector<nlohmann::json> items;
      auto state = detail::readDocumentItems(file, items);
      if (state == detail::DocumentRead::read) store.build(std::move(items));
      return state != detail::DocumentRead::unreadable;
    };
    VersionedDocumentStore store = empty(file, now);
    if (attempt(store)) return store;
    // Another process may be halfway through writing or recovering the same file: decide again under the
    // lock, and move the file aside only if it is still unreadable then.
    auto decide = [&] {
      store = empty(file, now);
      if (attempt(store)) return;
      store = empty(file, now);
      store.recoveryNotice_ = detail::recoverUnreadableDocument(file, Traits::documentName, now());
    };
    if (locked) {
      decide();
    } else {
      (void)detail::withDocumentLock(file, /*required=*/false, decide);
    }
    return store;
  }

  expected<void, Error> save() const {
    auto json = document();
    if (!json) return unexpected(json.error());
    auto written = detail::documentText(std::move((*json)["items"]));
    if (auto done = detail::writeDocument(fileURL, written); !done) {
      return unexpected(Error::of(Error::Case::writeFailed, done.error()));
    }
    return {};
  }

  // Runs `change` on the store as the file holds it now, under the lock, writes the result and adopts it.
  expected<void, Error> mutate(const std::function<expected<void, Error>(VersionedDocumentStore&)>& change) {
    if (auto folder = detail::prepareDocumentFolder(fileURL); !folder) {
      return unexpected(Error::of(Error::Case::writeFailed, folder.error()));
    }
    expected<void, Error> outcome;
    auto locked = detail::withDocumentLock(fileURL, /*required=*/true, [&] {
      VersionedDocumentStore fresh = read(fileURL, now_, /*locked=*/true);
      if (auto changed = change(fresh); !changed) {
        outcome = unexpected(changed.error());
        return;
      }
      if (auto saved = fresh.save(); !saved) {
        outcome = unexpected(saved.error());
        return;
      }
      fresh.recoveryNotice_ = std::nullopt;
      *this = std::move(fresh);
    });
    if (!locked) return unexpected(Error::of(Error::Case::writeFailed, locked.error()));
    return outcome;
  }

  Clock now_ = std::chrono::system_clock::now;
  std::optional<std::string> recoveryNotice_;
};

// Files that carry items between computers: what `export` writes and `import` reads.
//
// The items of a file to import: {"items": [...]} as export writes it, a bare array, or one item.
[[nodiscard]] expected<nlohmann::json, std::string> importedItems(std::string_view text);
// Reads and parses the file to import (bounded by the library budget); the sentence of what went wrong.
[[nodiscard]] expected<nlohmann::json, std::string> readImportedItemsFile(const std::filesystem::path& file);
// What export writes: {"formatVersion": 1, "items": [item]}, pretty-printed, ending in a newline.
[[nodiscard]] std::string exportedItemText(const nlohmann::json& item);

// The imported items as a store of `Traits` takes them: an item of another schema version is kept as it
// is (never converted); every other one goes through `decode` (json -> expected<Record, std::string>),
// and the first that cannot be decoded fails the import: "Item 2 is not a <noun>: <problem>".
template <class Traits, class Decode>
[[nodiscard]] expected<std::vector<typename VersionedDocumentStore<Traits>::ImportItem>, std::string> importItemsOf(
    const nlohmann::json& items, std::string_view noun, Decode&& decode) {
  std::vector<typename VersionedDocumentStore<Traits>::ImportItem> imports;
  for (std::size_t index = 0; index < items.size(); ++index) {
    const auto& item = items[index];
    auto envelope = StoredEnvelope::read(item);
    if (envelope && envelope->schemaVersion != Traits::currentSchemaVersion) {
      imports.push_back({std::nullopt, item});
      continue;
    }
    auto record = decode(item);
    if (!record) {
      return unexpected("Item " + std::to_string(index + 1) + " is not a " + std::string(noun) + ": " + record.error());
    }
    imports.push_back({std::move(*record), {}});
  }
  return imports;
}

}  // namespace orvanta
