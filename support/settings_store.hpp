// The user's settings: a per-user key-value store of JSON values.
//
// Keys are "Orvanta.<Tool>.<setting>" exactly as written ("Orvanta.Location.recents"); each value is the
// JSON document its tool describes. JsonFileSettingsStore is the real store; InMemorySettingsStore stands
// in for it in tests.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "support/expected.hpp"
#include "support/file_error.hpp"

namespace orvanta {

class SettingsStore {
 public:
  using Change = std::function<std::optional<nlohmann::json>(std::optional<nlohmann::json>)>;

  virtual ~SettingsStore() = default;

  // The value under `key`; nullopt when there is none.
  [[nodiscard]] virtual expected<std::optional<nlohmann::json>, FileError> value(std::string_view key) const = 0;
  // Stores `value` under `key`, replacing what was there.
  [[nodiscard]] virtual expected<void, FileError> setValue(std::string_view key, const nlohmann::json& value) = 0;
  // Removes `key`; removing an absent key succeeds.
  [[nodiscard]] virtual expected<void, FileError> removeValue(std::string_view key) = 0;
  // Read-modify-write of one key as one step: `change` gets the current value (nullopt when absent) and
  // returns the new one (nullopt removes the key). No other change to the store, from this process or
  // another, comes between the read and the write. `change` must not call back into the store.
  [[nodiscard]] virtual expected<void, FileError> update(std::string_view key, const Change& change) = 0;

  // A one-time sentence for the user when the store found its data unreadable and started empty; nullopt
  // otherwise, and after it has been taken once.
  [[nodiscard]] virtual std::optional<std::string> takeRecoveryNotice() { return std::nullopt; }
};

// Values kept in memory for the lifetime of the object. Thread-safe: every call holds `mutex_`,
// including while `update` runs its `change`.
class InMemorySettingsStore final : public SettingsStore {
 public:
  InMemorySettingsStore() = default;
  explicit InMemorySettingsStore(std::map<std::string, nlohmann::json, std::less<>> values)
      : values_(std::move(values)) {}

  [[nodiscard]] expected<std::optional<nlohmann::json>, FileError> value(std::string_view key) const override;
  [[nodiscard]] expected<void, FileError> setValue(std::string_view key, const nlohmann::json& value) override;
  [[nodiscard]] expected<void, FileError> removeValue(std::string_view key) override;
  [[nodiscard]] expected<void, FileError> update(std::string_view key, const Change& change) override;

 private:
  mutable std::mutex mutex_;
  std::map<std::string, nlohmann::json, std::less<>> values_;  // guarded by mutex_
};

// The settings as one JSON object in a file (by default settings.json in configDirectory()).
//
//  - Every read re-reads the file, since other Orvanta processes may have written it. Reads take no lock:
//    writes replace the file atomically, so a reader sees a whole old or a whole new file.
//  - Every write takes the exclusive FileLock on "<file>.lock" beside it, re-reads the file, applies the
//    change and replaces the file atomically (pretty-printed with two spaces, keys sorted, a final
//    newline, mode 0600), so concurrent writers never lose each other's changes. The folder is created
//    (0700) on the first write. A write that changes nothing leaves the file alone.
//  - A file that is not a JSON object, or cannot be read for a reason other than a shortage of resources,
//    is moved aside under the lock as "<base>.unreadable-<yyyyMMdd-HHmmss><ext>" (UTC, from `now`) and the
//    store starts empty: the call that found it carries on as if there had been no file (a read returns
//    nullopt, an update sees no value), and takeRecoveryNotice() then reports the moved file once. When
//    the file cannot be moved, the call fails with moveAsideFailed and nothing is written over it.
//  - Strings that are not valid UTF-8 are written with U+FFFD in place of the bad bytes.
//
// Errors: readFailed, writeFailed, lockFailed, createFolderFailed, moveAsideFailed. Every call blocks on
// the file system, and writes wait for the lock. Thread-safe: each call works on the file under its own
// lock (flock excludes two descriptors of one process as well), and the recovery notice is guarded by
// `noticeMutex_`.
class JsonFileSettingsStore final : public SettingsStore {
 public:
  using Clock = std::function<std::chrono::system_clock::time_point()>;

  explicit JsonFileSettingsStore(std::filesystem::path file, Clock now = std::chrono::system_clock::now);

  // configDirectory()/"settings.json".
  [[nodiscard]] static expected<std::filesystem::path, FileError> defaultFile();

  [[nodiscard]] const std::filesystem::path& file() const noexcept { return file_; }

  [[nodiscard]] expected<std::optional<nlohmann::json>, FileError> value(std::string_view key) const override;
  [[nodiscard]] expected<void, FileError> setValue(std::string_view key, const nlohmann::json& value) override;
  [[nodiscard]] expected<void, FileError> removeValue(std::string_view key) override;
  [[nodiscard]] expected<void, FileError> update(std::string_view key, const Change& change) override;
  // "The settings file <file> could not be read; it was moved to <moved> and the settings start empty."
  [[nodiscard]] std::optional<std::string> takeRecoveryNotice() override;

 private:
  struct Loaded;
  // Reads and parses the file; an unreadable one is set aside (taking the lock unless `locked`).
  expected<nlohmann::json, FileError> load(bool locked) const;
  expected<Loaded, FileError> read() const;
  expected<void, FileError> moveAside() const;

  std::filesystem::path file_;
  std::filesystem::path lockFile_;
  Clock now_;
  mutable std::mutex noticeMutex_;
  mutable std::optional<std::string> recoveryNotice_;  // guarded by noticeMutex_
};

}  // namespace orvanta
