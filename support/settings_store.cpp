#include "support/settings_store.hpp"

#include <cerrno>

#include "support/app_paths.hpp"
#include "support/atomic_file.hpp"
#include "support/file_lock.hpp"

namespace orvanta {

// ---------------------------------------------------------------------------------------------------
// InMemorySettingsStore

expected<std::optional<nlohmann::json>, FileError> InMemorySettingsStore::value(std::string_view key) const {
  std::lock_guard lock(mutex_);
  auto found = values_.find(key);
  if (found == values_.end()) return std::optional<nlohmann::json>();
  return std::optional<nlohmann::json>(found->second);
}

expected<void, FileError> InMemorySettingsStore::setValue(std::string_view key, const nlohmann::json& value) {
  std::lock_guard lock(mutex_);
  values_.insert_or_assign(std::string(key), value);
  return {};
}

expected<void, FileError> InMemorySettingsStore::removeValue(std::string_view key) {
  std::lock_guard lock(mutex_);
  if (auto found = values_.find(key); found != values_.end()) values_.erase(found);
  return {};
}

expected<void, FileError> InMemorySettingsStore::update(std::string_view key, const Change& change) {
  std::lock_guard lock(mutex_);
  auto found = values_.find(key);
  std::optional<nlohmann::json> current;
  if (found != values_.end()) current = found->second;
  std::optional<nlohmann::json> next = change(std::move(current));
  if (next) {
    values_.insert_or_assign(std::string(key), std::move(*next));
  } else if (found != values_.end()) {
    values_.erase(found);
  }
  return {};
}

// ---------------------------------------------------------------------------------------------------
// JsonFileSettingsStore

struct JsonFileSettingsStore::Loaded {
  enum class State { missing, valid, unreadable };
  State state = State::missing;
  nlohmann::json document = nlohmann::json::object();
};

JsonFileSettingsStore::JsonFileSettingsStore(std::filesystem::path file, Clock now)
    : file_(std::move(file)), lockFile_(file_.string() + ".lock"), now_(std::move(now)) {}

expected<std::filesystem::path, FileError> JsonFileSettingsStore::defaultFile() {
  auto folder = configDirectory();
  if (!folder) return unexpected(std::move(folder).error());
  return *folder / "settings.json";
}

expected<JsonFileSettingsStore::Loaded, FileError> JsonFileSettingsStore::read() const {
  auto content = readFile(file_, read_budget::settings);
  if (!content) {
    // A shortage of descriptors or memory says nothing about the file, which must not be set aside for it.
    if (isResourceShortage(content.error().errorNumber)) return unexpected(std::move(content).error());
    return Loaded{Loaded::State::unreadable};
  }
  if (!*content) return Loaded{};
  nlohmann::json document = nlohmann::json::parse(**content, nullptr, /*allow_exceptions=*/false);
  if (document.is_discarded() || !document.is_object()) return Loaded{Loaded::State::unreadable};
  return Loaded{Loaded::State::valid, std::move(document)};
}

expected<void, FileError> JsonFileSettingsStore::moveAside() const {
  auto moved = moveAsideUnreadable(file_, now_());
  if (!moved) return unexpected(std::move(moved).error());
  std::lock_guard lock(noticeMutex_);
  recoveryNotice_ = "The settings file " + file_.string() + " could not be read; it was moved to " + moved->string() +
                    " and the settings start empty.";
  return {};
}

expected<nlohmann::json, FileError> JsonFileSettingsStore::load(bool locked) const {
  auto loaded = read();
  if (!loaded) return unexpected(std::move(loaded).error());
  if (loaded->state != Loaded::State::unreadable) return std::move(loaded->document);

  std::optional<FileLock> lock;
  if (!locked) {
    // Another process may be halfway through the same recovery: decide again under the lock.
    auto acquired = FileLock::acquire(lockFile_, FileLock::Wait::blocking);
    if (!acquired) return unexpected(std::move(acquired).error());
    lock = std::move(*acquired);
    loaded = read();
    if (!loaded) return unexpected(std::move(loaded).error());
    if (loaded->state != Loaded::State::unreadable) return std::move(loaded->document);
  }
  ORVANTA_TRY(moveAside());
  return nlohmann::json::object();
}

expected<std::optional<nlohmann::json>, FileError> JsonFileSettingsStore::value(std::string_view key) const {
  auto document = load(/*locked=*/false);
  if (!document) return unexpected(std::move(document).error());
  auto found = document->find(std::string(key));
  if (found == document->end()) return std::optional<nlohmann::json>();
  return std::optional<nlohmann::json>(std::move(*found));
}

expected<void, FileError> JsonFileSettingsStore::setValue(std::string_view key, const nlohmann::json& value) {
  return update(key, [&](const std::optional<nlohmann::json>&) { return std::optional<nlohmann::json>(value); });
}

expected<void, FileError> JsonFileSettingsStore::removeValue(std::string_view key) {
  return update(key, [](const std::optional<nlohmann::json>&) { return std::optional<nlohmann::json>(); });
}

expected<void, FileError> JsonFileSettingsStore::update(std::string_view key, const Change& change) {
  ORVANTA_TRY(ensurePrivateDirectory(file_.parent_path()));
  auto lock = FileLock::acquire(lockFile_, FileLock::Wait::blocking);
  if (!lock) return unexpected(std::move(lock).error());

  auto document = load(/*locked=*/true);
  if (!document) return unexpected(std::move(document).error());
  const std::string name(key);
  std::optional<nlohmann::json> current;
  if (auto found = document->find(name); found != document->end()) current = *found;
  std::optional<nlohmann::json> next = change(current);
  if (next == current) return {};
  if (next) {
    (*document)[name] = std::move(*next);
  } else {
    document->erase(name);
  }
  // nlohmann::json keeps object keys in a std::map, so the dump comes out with sorted keys at every level.
  std::string text = document->dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
  text += '\n';
  return writeFileAtomically(file_, text, 0600);
}

std::optional<std::string> JsonFileSettingsStore::takeRecoveryNotice() {
  std::lock_guard lock(noticeMutex_);
  return std::exchange(recoveryNotice_, std::nullopt);
}

}  // namespace orvanta
