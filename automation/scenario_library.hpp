// The saved scenarios: "Scenarios/scenarios.json" in the application-support folder.
//
//   {"formatVersion": 1, "items": [<scenario>, ...]}
//
// Items are scenarios as scenario_model.hpp writes them, in the order the user sees. An item of a schema
// version other than 1 (written by a newer Orvanta, or an older experiment) is listed as an unsupported
// entry and its object is kept as it is, so that saving writes it back unchanged and in its place. An
// item without a readable "schemaVersion" and "id", or a version-1 item that does not decode, is left out.
// A file that is not such a document is moved aside as "scenarios.unreadable-<yyyyMMdd-HHmmss>.json" and
// the library starts empty.
//
// Every change is a read-modify-write of the file under an advisory lock ("scenarios.json.lock" beside it):
// the file is read again under the lock, the change applied to what it holds, and the result written
// atomically (pretty-printed, keys sorted, folder 0700), so that two orvanta processes changing the library
// at once both keep their change. The in-memory library takes the new state only when the write worked.
//
// A value type; one thread uses one library at a time. Calls block on the file system.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "automation/scenario_model.hpp"
#include "support/expected.hpp"
#include "support/file_error.hpp"

namespace orvanta {

struct ScenarioLibraryError {
  enum class Case { notFound, invalidReorder, encodingFailed, writeFailed, nameTaken };
  Case kind = Case::notFound;
  std::string detail;  // encodingFailed, writeFailed: what went wrong, for logs and hints; nameTaken: the name

  static ScenarioLibraryError of(Case kind, std::string detail = {}) { return {kind, std::move(detail)}; }
  [[nodiscard]] std::string description() const;
  [[nodiscard]] std::string_view caseName() const;
  bool operator==(const ScenarioLibraryError&) const = default;
};

// "This scenario was saved by a newer version of Orvanta (schema <version>)."
[[nodiscard]] std::string unsupportedSchemaVersionText(std::int64_t version);

class ScenarioLibrary {
 public:
  using Clock = std::function<std::chrono::system_clock::time_point()>;

  struct Entry {
    enum class Case { scenario, unsupportedFormat };
    Case kind = Case::scenario;
    ScenarioDefinition scenario;      // scenario
    std::string unsupportedID;        // unsupportedFormat
    std::int64_t schemaVersion = 0;   // unsupportedFormat
    // unsupportedFormat of a version we know whose item does not decode: the decoder's reason. The item
    // is kept as it is, like one of an unknown version.
    std::string readProblem;

    static Entry of(ScenarioDefinition scenario) { return {Case::scenario, std::move(scenario), {}, 0, {}}; }
    static Entry unsupported(std::string id, std::int64_t version) {
      return {Case::unsupportedFormat, {}, std::move(id), version, {}};
    }
    static Entry unreadable(std::string id, std::int64_t version, std::string problem) {
      return {Case::unsupportedFormat, {}, std::move(id), version, std::move(problem)};
    }
    // For an unsupportedFormat entry, what to tell the user: unsupportedSchemaVersionText, or that the item
    // could not be read and why.
    [[nodiscard]] std::string message() const;
    [[nodiscard]] const std::string& id() const { return kind == Case::scenario ? scenario.id : unsupportedID; }
    bool operator==(const Entry&) const = default;
  };

  std::filesystem::path fileURL;
  std::vector<Entry> entries;
  // The stored objects of the unsupported entries, by id.
  std::map<std::string, nlohmann::json> preservedRawItems;

  // applicationSupportDirectory()/"Scenarios"/"scenarios.json". Fails with homeNotFound.
  [[nodiscard]] static expected<std::filesystem::path, FileError> defaultFile();

  // Reads the library at `file` (see above). Never fails: a missing file is an empty library, an
  // unreadable one is moved aside (recoveryNotice() then says so).
  [[nodiscard]] static ScenarioLibrary load(std::filesystem::path file, Clock now = std::chrono::system_clock::now);

  // The library a file's text holds (entries and preserved items; no path), or nullopt when the text is not
  // a library document at all (the file would be moved aside). Pure; never throws.
  [[nodiscard]] static std::optional<ScenarioLibrary> decodeDocument(std::string_view text);

  // Appends `scenario` with schema version 1. Fails with encodingFailed or writeFailed.
  [[nodiscard]] expected<void, ScenarioLibraryError> add(ScenarioDefinition scenario);
  // Replaces the readable scenario with the same id, with schema version 1 and `updatedAt` now. notFound
  // when there is none (or the entry is unsupported).
  [[nodiscard]] expected<ScenarioDefinition, ScenarioLibraryError> update(ScenarioDefinition scenario);
  // A copy with a new id (its steps keep theirs), the name followed by " Copy" and both dates now, placed
  // right after the original. notFound when no readable scenario has that id.
  [[nodiscard]] expected<ScenarioDefinition, ScenarioLibraryError> duplicate(std::string_view id);
  // Removes every entry with that id, readable or not (an unknown id is not an error; the file is still
  // written).
  [[nodiscard]] expected<void, ScenarioLibraryError> remove(std::string_view id);
  // Puts the entries in the order of `ids`, which must name exactly the ids in the library (invalidReorder
  // otherwise).
  [[nodiscard]] expected<void, ScenarioLibraryError> reorder(const std::vector<std::string>& ids);
  // The readable scenario with that id (any letter case), if any.
  [[nodiscard]] const ScenarioDefinition* lookup(std::string_view id) const;

  // Imports items as they would load: a version-1 scenario (given as decoded, with schema version 1) is
  // appended as a scenario, an item of any other version (`raw`) as an unsupported entry kept as it is.
  // A scenario whose id is already in the library gets a new one; an unsupported item whose id is taken is
  // left out. Everything is written at once. Returns the entries added, in order.
  struct ImportItem {
    std::optional<ScenarioDefinition> scenario;
    nlohmann::json raw;  // when there is no scenario: the stored object, with a readable envelope
  };
  [[nodiscard]] expected<std::vector<Entry>, ScenarioLibraryError> addItems(const std::vector<ImportItem>& items);

  // A sentence saying that the file could not be read and where it went; set by load.
  [[nodiscard]] const std::optional<std::string>& recoveryNotice() const { return recoveryNotice_; }

  // The document as it would be written: {"formatVersion": 1, "items": [...]}. Fails with encodingFailed.
  [[nodiscard]] expected<nlohmann::json, ScenarioLibraryError> document() const;

 private:
  // Runs `change` on the library as the file holds it now, under the lock, writes the result and adopts it.
  expected<void, ScenarioLibraryError> mutate(const std::function<expected<void, ScenarioLibraryError>(ScenarioLibrary&)>& change);
  expected<void, ScenarioLibraryError> save() const;
  static ScenarioLibrary read(const std::filesystem::path& file, const Clock& now, bool locked);

  Clock now_ = std::chrono::system_clock::now;
  std::optional<std::string> recoveryNotice_;
};

}  // namespace orvanta
