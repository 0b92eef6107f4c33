// Every failure of the app data tools (containers, file browser, data inspector, user defaults, file
// bridge, snapshots), with the sentence the user sees. The services share one enumeration because they
// share most of their failures: a container that cannot be found, a path that leaves it, a simctl call
// that failed, a busy simulator.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace orvanta {

// One case per failure; payload fields that a case does not use stay empty. `path` is the path as the
// user gave it (relative to the container), `text` a reason or simctl's own words.
struct AppDataError {
  enum class Case {
    appNotInstalled,        // bundle + " is not installed on the simulator."
    containerNotFound,      // "The app has no container " + name + "."
    appNotLocated,          // "Couldn't locate the app on the simulator."
    invalidSimulator,       // "The simulator is not available: " + text
    simctlUnavailable,      // "Couldn't run simctl: " + text
    simctlFailed,           // "simctl failed (exit " + status + "): " + text
    pathOutsideContainer,   // path + " leads outside the app's container."
    pathNotFound,           // "There is no " + path + " in the app's container."
    unsupportedFileType,    // path + " is not a regular file or folder."
    unsupportedMedia,       // "Couldn't add " + path + ": File type unsupported. Photos, videos and contacts (vCard) can be added."
    alreadyExists,          // path + " already exists in the app's container."
    fileOperationFailed,    // "Couldn't " + name + " " + path + ": " + text   (name: the verb)
    tooLarge,               // path + " is too large: " + text
    unreadableFile,         // "Couldn't read " + path + ": " + text
    notInspectable,         // path + " is not a SQLite database, property list or JSON file."
    queryRefused,           // "Only a query that reads can run: " + text
    queryFailed,            // "The query failed: " + text
    invalidValue,           // "\"" + text + "\" is not a valid " + name + " value."
    keyNotFound,            // "The preferences have no key " + name + "."
    changeNotConfirmed,     // text (a whole sentence naming what was sent and what reads back)
    invalidSnapshotName,    // "A snapshot name must be 1 to 100 characters, without \"/\", control characters or a leading \".\"."
    snapshotExists,         // "A snapshot named " + name + " already exists for " + bundle + "."
    snapshotNotFound,       // "There is no snapshot named " + name + "."  (+ " for " + bundle when known)
    snapshotDamaged,        // "The snapshot " + name + " is damaged: " + text
    simulatorBusy,          // the mutation gate's busy message for the app data tools
    cancelled,              // "Cancelled."
  };

  Case kind = Case::cancelled;
  std::string path;
  std::string name;
  std::string bundle;
  std::string text;
  std::int32_t status = 0;  // simctlFailed

  static AppDataError of(Case kind, std::string text = {});
  static AppDataError atPath(Case kind, std::string path, std::string text = {});
  static AppDataError named(Case kind, std::string name, std::string text = {});
  static AppDataError simctlFailed(std::int32_t status, std::string text);
  static AppDataError fileOperationFailed(std::string verb, std::string path, std::string text);

  // The exact user-facing sentence.
  [[nodiscard]] std::string description() const;
  // The case's name as scripts see it in --json output ("pathOutsideContainer", ...).
  [[nodiscard]] std::string_view caseName() const;

  bool operator==(const AppDataError&) const = default;
};

}  // namespace orvanta
