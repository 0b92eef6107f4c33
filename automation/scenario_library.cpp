#include "automation/scenario_library.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <set>

#include "support/app_paths.hpp"
#include "support/atomic_file.hpp"
#include "support/json_text.hpp"
#include "support/file_lock.hpp"
#include "support/uuid.hpp"

namespace orvanta {

using Error = ScenarioLibraryError;

std::string ScenarioLibraryError::description() const {
  switch (kind) {
    case Case::notFound: return "That scenario no longer exists.";
    case Case::invalidReorder: return "Couldn't reorder: the scenario list changed.";
    case Case::encodingFailed: return "Couldn't save the scenario.";
    case Case::writeFailed: return "Couldn't write the scenario library to disk.";
    case Case::nameTaken: return "A scenario named \"" + detail + "\" already exists; choose another name.";
  }
  return {};
}

std::string_view ScenarioLibraryError::caseName() const {
  switch (kind) {
    case Case::notFound: return "notFound";
    case Case::invalidReorder: return "invalidReorder";
    case Case::encodingFailed: return "encodingFailed";
    case Case::writeFailed: return "writeFailed";
    case Case::nameTaken: return "nameTaken";
  }
  return {};
}

std::string unsupportedSchemaVersionText(std::int64_t version) {
  return "This scenario was saved by a newer version of Orvanta (schema " + std::to_string(version) + ").";
}

expected<std::filesystem::path, FileError> ScenarioLibrary::defaultFile() {
  auto folder = applicationSupportDirectory();
  if (!folder) return unexpected(std::move(folder).error());
  return *folder / "Scenarios" / "scenarios.json";
}

namespace {

std::filesystem::path lockFileFor(const std::filesystem::path& file) { return file.string() + ".lock"; }

enum class ReadState { built, unreadable, failed };

// Builds the library from the file's text; `unreadable` when the document is not a library at all.
ReadState build(ScenarioLibrary& library, std::string_view text) {
  auto parsed = parseJsonText(text, read_budget::library);
  if (!parsed) return ReadState::unreadable;
  nlohmann::json document = std::move(*parsed);
  if (!document.is_object() || document.empty()) return ReadState::unreadable;
  auto items = document.find("items");
  if (items == document.end() || !items->is_array()) return ReadState::unreadable;
  if (!std::all_of(items->begin(), items->end(), [](const auto& item) { return item.is_object(); })) {
    return ReadState::unreadable;
  }
  for (auto& item : *items) {
    auto envelope = StoredEnvelope::read(item);
    if (!envelope) continue;
    if (envelope->schemaVersion == currentScenarioSchemaVersion) {
      auto scenario = decodeScenario(item);
      if (scenario) {
        library.entries.push_back(ScenarioLibrary::Entry::of(std::move(*scenario)));
      } else {
        // Kept as it stands, never dropped at the next save: a later version of us may read it, or its
        // owner may mend it by hand.
        library.entries.push_back(
            ScenarioLibrary::Entry::unreadable(envelope->id, envelope->schemaVersion, scenario.error()));
        library.preservedRawItems.insert_or_assign(envelope->id, std::move(item));
      }
    } else {
      library.entries.push_back(ScenarioLibrary::Entry::unsupported(envelope->id, envelope->schemaVersion));
      library.preservedRawItems.insert_or_assign(envelope->id, std::move(item));
    }
  }
  return ReadState::built;
}

ReadState readInto(ScenarioLibrary& library, const std::filesystem::path& file) {
  auto content = readFile(file, read_budget::library);
  if (!content) return isResourceShortage(content.error().errorNumber) ? ReadState::failed : ReadState::unreadable;
  if (!*content) return ReadState::built;
  return build(library, **content);
}

std::string upper(std::string_view id) { return parseUUID(id).value_or(std::string(id)); }

}  // namespace

std::string ScenarioLibrary::Entry::message() const {
  if (readProblem.empty()) return unsupportedSchemaVersionText(schemaVersion);
  return "This scenario could not be read (" + readProblem + "); it is kept as it is.";
}

ScenarioLibrary ScenarioLibrary::read(const std::filesystem::path& file, const Clock& now, bool locked) {
  ScenarioLibrary library;
  library.fileURL = file;
  library.now_ = now;
  if (readInto(library, file) != ReadState::unreadable) return library;

  // Another process may be halfway through writing or recovering the same file: decide again under the lock.
  std::optional<FileLock> lock;
  if (!locked) {
    auto acquired = FileLock::acquire(lockFileFor(file), FileLock::Wait::blocking);
    if (acquired && *acquired) lock = std::move(**acquired);
    library = ScenarioLibrary{};
    library.fileURL = file;
    library.now_ = now;
    if (readInto(library, file) != ReadState::unreadable) return library;
  }
  library = ScenarioLibrary{};
  library.fileURL = file;
  library.now_ = now;
  if (auto moved = moveAsideUnreadable(file, now())) {
    library.recoveryNotice_ = "The scenario library " + file.string() + " could not be read; it was moved to " +
                              moved->string() + " and the library starts empty.";
  } else {
    library.recoveryNotice_ = "The scenario library " + file.string() +
                              " could not be read, nor moved aside: " + moved.error().description();
  }
  return library;
}

std::optional<ScenarioLibrary> ScenarioLibrary::decodeDocument(std::string_view text) {
  ScenarioLibrary library;
  if (build(library, text) != ReadState::built) return std::nullopt;
  return library;
}

ScenarioLibrary ScenarioLibrary::load(std::filesystem::path file, Clock now) {
  return read(file, now, /*locked=*/false);
}

expected<nlohmann::json, ScenarioLibraryError> ScenarioLibrary::document() const {
  nlohmann::json items = nlohmann::json::array();
  for (const auto& entry : entries) {
    if (entry.kind == Entry::Case::scenario) {
      auto json = encodeScenario(entry.scenario);
      if (!json) return unexpected(Error::of(Error::Case::encodingFailed, json.error()));
      items.push_back(std::move(*json));
    } else {
      auto raw = preservedRawItems.find(entry.unsupportedID);
      if (raw == preservedRawItems.end()) {
        return unexpected(Error::of(Error::Case::encodingFailed, "The stored item " + entry.unsupportedID + " is gone."));
      }
      items.push_back(raw->second);
    }
  }
  return nlohmann::json{{"formatVersion", 1}, {"items", std::move(items)}};
}

expected<void, ScenarioLibraryError> ScenarioLibrary::save() const {
  auto json = document();
  if (!json) return unexpected(json.error());
  // nlohmann::json keeps object members in a std::map, so the dump has sorted keys at every level.
  std::string text = json->dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
  text += '\n';
  if (auto written = writeFileAtomically(fileURL, text, 0600); !written) {
    return unexpected(Error::of(Error::Case::writeFailed, written.error().description()));
  }
  return {};
}

expected<void, ScenarioLibraryError> ScenarioLibrary::mutate(
    const std::function<expected<void, ScenarioLibraryError>(ScenarioLibrary&)>& change) {
  if (auto folder = ensurePrivateDirectory(fileURL.parent_path().parent_path()); !folder) {
    return unexpected(Error::of(Error::Case::writeFailed, folder.error().description()));
  }
  // The folder is ours alone: one made by hand (or by an older version) is narrowed to the owner, and a
  // symbolic link or another user's folder in its place is refused, never followed.
  if (auto own = ensureOwnPrivateFolder(fileURL.parent_path()); !own) {
    return unexpected(Error::of(Error::Case::writeFailed, own.error().description()));
  }
  auto lock = FileLock::acquire(lockFileFor(fileURL), FileLock::Wait::blocking);
  if (!lock) return unexpected(Error::of(Error::Case::writeFailed, lock.error().description()));
  ScenarioLibrary fresh = read(fileURL, now_, /*locked=*/true);
  if (auto changed = change(fresh); !changed) return changed;
  if (auto saved = fresh.save(); !saved) return saved;
  fresh.recoveryNotice_ = std::nullopt;
  *this = std::move(fresh);
  return {};
}

namespace {
// Whether a scenario other than `exceptID` is called `name`.
bool nameTaken(const ScenarioLibrary& library, std::string_view name, std::string_view exceptID = {}) {
  return std::any_of(library.entries.begin(), library.entries.end(), [&](const ScenarioLibrary::Entry& entry) {
    return entry.kind == ScenarioLibrary::Entry::Case::scenario && entry.scenario.name == name &&
           entry.scenario.id != exceptID;
  });
}

// `base`, or "base 2", "base 3", ...: the first name no scenario has, so that lookups by name stay unique.
std::string uniqueName(const ScenarioLibrary& library, const std::string& base) {
  std::string name = base;
  for (int number = 2; nameTaken(library, name); ++number) name = base + " " + std::to_string(number);
  return name;
}
}  // namespace

expected<void, ScenarioLibraryError> ScenarioLibrary::add(ScenarioDefinition scenario) {
  scenario.schemaVersion = currentScenarioSchemaVersion;
  return mutate([&](ScenarioLibrary& library) -> expected<void, Error> {
    scenario.name = uniqueName(library, scenario.name);
    library.entries.push_back(Entry::of(scenario));
    return {};
  });
}


expected<ScenarioDefinition, ScenarioLibraryError> ScenarioLibrary::update(ScenarioDefinition scenario) {
  scenario.schemaVersion = currentScenarioSchemaVersion;
  scenario.updatedAt = now_();
  auto done = mutate([&](ScenarioLibrary& library) -> expected<void, Error> {
    if (nameTaken(library, scenario.name, upper(scenario.id))) {
      return unexpected(Error::of(Error::Case::nameTaken, scenario.name));
    }
    for (auto& entry : library.entries) {
      if (entry.kind == Entry::Case::scenario && entry.scenario.id == upper(scenario.id)) {
        scenario.id = entry.scenario.id;
        entry.scenario = scenario;
        return {};
      }
    }
    return unexpected(Error::of(Error::Case::notFound));
  });
  if (!done) return unexpected(done.error());
  return scenario;
}

expected<ScenarioDefinition, ScenarioLibraryError> ScenarioLibrary::duplicate(std::string_view id) {
  const std::string wanted = upper(id);
  ScenarioDefinition copy;
  auto done = mutate([&](ScenarioLibrary& library) -> expected<void, Error> {
    auto found = std::find_if(library.entries.begin(), library.entries.end(), [&](const Entry& entry) {
      return entry.kind == Entry::Case::scenario && entry.scenario.id == wanted;
    });
    if (found == library.entries.end()) return unexpected(Error::of(Error::Case::notFound));
    copy = found->scenario;
    copy.id = makeUUID();
    copy.schemaVersion = currentScenarioSchemaVersion;
    copy.name = uniqueName(library, copy.name + " Copy");
    copy.createdAt = copy.updatedAt = now_();
    library.entries.insert(std::next(found), Entry::of(copy));
    return {};
  });
  if (!done) return unexpected(done.error());
  return copy;
}

expected<void, ScenarioLibraryError> ScenarioLibrary::remove(std::string_view id) {
  const std::string wanted = upper(id);
  return mutate([&](ScenarioLibrary& library) -> expected<void, Error> {
    std::erase_if(library.entries, [&](const Entry& entry) { return entry.id() == wanted; });
    library.preservedRawItems.erase(wanted);
    return {};
  });
}

expected<void, ScenarioLibraryError> ScenarioLibrary::reorder(const std::vector<std::string>& ids) {
  return mutate([&](ScenarioLibrary& library) -> expected<void, Error> {
    std::vector<std::string> wanted;
    for (const auto& id : ids) wanted.push_back(upper(id));
    std::multiset<std::string> given(wanted.begin(), wanted.end());
    std::multiset<std::string> present;
    for (const auto& entry : library.entries) present.insert(entry.id());
    if (given != present) return unexpected(Error::of(Error::Case::invalidReorder));
    std::vector<Entry> ordered;
    std::vector<bool> used(library.entries.size(), false);
    for (const auto& id : wanted) {
      for (std::size_t index = 0; index < library.entries.size(); ++index) {
        if (!used[index] && library.entries[index].id() == id) {
          used[index] = true;
          ordered.push_back(std::move(library.entries[index]));
          break;
        }
      }
    }
    library.entries = std::move(ordered);
    return {};
  });
}

const ScenarioDefinition* ScenarioLibrary::lookup(std::string_view id) const {
  const std::string wanted = upper(id);
  for (const auto& entry : entries) {
    if (entry.kind == Entry::Case::scenario && entry.scenario.id == wanted) return &entry.scenario;
  }
  return nullptr;
}

expected<std::vector<ScenarioLibrary::Entry>, ScenarioLibraryError> ScenarioLibrary::addItems(
    const std::vector<ImportItem>& items) {
  std::vector<Entry> added;
  auto done = mutate([&](ScenarioLibrary& library) -> expected<void, Error> {
    added.clear();
    std::set<std::string> taken;
    for (const auto& entry : library.entries) taken.insert(entry.id());
    for (const auto& item : items) {
      if (item.scenario) {
        ScenarioDefinition scenario = *item.scenario;
        scenario.schemaVersion = currentScenarioSchemaVersion;
        if (taken.contains(scenario.id)) scenario.id = makeUUID();
        taken.insert(scenario.id);
        scenario.name = uniqueName(library, scenario.name);
        library.entries.push_back(Entry::of(scenario));
        added.push_back(library.entries.back());
        continue;
      }
      auto envelope = StoredEnvelope::read(item.raw);
      if (!envelope || taken.contains(envelope->id)) continue;
      taken.insert(envelope->id);
      library.entries.push_back(Entry::unsupported(envelope->id, envelope->schemaVersion));
      library.preservedRawItems.insert_or_assign(envelope->id, item.raw);
      added.push_back(library.entries.back());
    }
    return {};
  });
  if (!done) return unexpected(done.error());
  return added;
}

}  // namespace orvanta
