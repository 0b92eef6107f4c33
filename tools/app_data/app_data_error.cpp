#include "tools/app_data/app_data_error.hpp"

#include "core/simulator_mutation_gate.hpp"
#include "support/text.hpp"

namespace orvanta {
AppDataError AppDataError::of(Case kind, std::string text) {
  AppDataError error;
  error.kind = kind;
  error.text = std::move(text);
  return error;
}

AppDataError AppDataError::atPath(Case kind, std::string path, std::string text) {
  AppDataError error = of(kind, std::move(text));
  error.path = std::move(path);
  return error;
}

AppDataError AppDataError::named(Case kind, std::string name, std::string text) {
  AppDataError error = of(kind, std::move(text));
  error.name = std::move(name);
  return error;
}

AppDataError AppDataError::simctlFailed(std::int32_t status, std::string text) {
  AppDataError error = of(Case::simctlFailed, std::move(text));
  error.status = status;
  return error;
}

AppDataError AppDataError::fileOperationFailed(std::string verb, std::string path, std::string text) {
  AppDataError error = atPath(Case::fileOperationFailed, std::move(path), std::move(text));
  error.name = std::move(verb);
  return error;
}

std::string AppDataError::description() const {
  switch (kind) {
    case Case::appNotInstalled: return bundle + " is not installed on the simulator.";
    case Case::containerNotFound: return "The app has no container " + name + ".";
    case Case::appNotLocated: return "Couldn't locate the app on the simulator.";
    case Case::invalidSimulator: return withReason("The simulator is not available", text);
    case Case::simctlUnavailable: return withReason("Couldn't run simctl", text);
    case Case::simctlFailed: return withReason("simctl failed (exit " + std::to_string(status) + ")", text);
    case Case::pathOutsideContainer: return path + " leads outside the app's container.";
    case Case::pathNotFound: return "There is no " + path + " in the app's container.";
    case Case::unsupportedFileType: return path + " is not a regular file or folder.";
    case Case::unsupportedMedia:
      return "Couldn't add " + path + ": File type unsupported. Photos, videos and contacts (vCard) can be added.";
    case Case::alreadyExists: return path + " already exists in the app's container.";
    case Case::fileOperationFailed: return withReason("Couldn't " + name + " " + path, text);
    case Case::tooLarge: return withReason(path + " is too large", text);
    case Case::unreadableFile: return withReason("Couldn't read " + path, text);
    case Case::notInspectable: return path + " is not a SQLite database, property list or JSON file.";
    case Case::queryRefused: return withReason("Only a query that reads can run", text);
    case Case::queryFailed: return withReason("The query failed", text);
    case Case::invalidValue: return "\"" + text + "\" is not a valid " + name + " value.";
    case Case::keyNotFound: return "The preferences have no key " + name + ".";
    case Case::changeNotConfirmed: return text;
    case Case::invalidSnapshotName:
      return "A snapshot name must be 1 to 100 characters, without \"/\", control characters or a leading \".\".";
    case Case::snapshotExists: return "A snapshot named " + name + " already exists for " + bundle + ".";
    case Case::snapshotNotFound:
      return "There is no snapshot named " + name + (bundle.empty() ? std::string() : " for " + bundle) + ".";
    case Case::snapshotDamaged: return withReason("The snapshot " + name + " is damaged", text);
    case Case::simulatorBusy: return std::string(gate_messages::dataInspector);
    case Case::cancelled: return "Cancelled.";
  }
  return {};
}

std::string_view AppDataError::caseName() const {
  switch (kind) {
    case Case::appNotInstalled: return "appNotInstalled";
    case Case::containerNotFound: return "containerNotFound";
    case Case::appNotLocated: return "appNotLocated";
    case Case::invalidSimulator: return "invalidSimulator";
    case Case::simctlUnavailable: return "simctlUnavailable";
    case Case::simctlFailed: return "simctlFailed";
    case Case::pathOutsideContainer: return "pathOutsideContainer";
    case Case::pathNotFound: return "pathNotFound";
    case Case::unsupportedFileType: return "unsupportedFileType";
    case Case::unsupportedMedia: return "unsupportedMedia";
    case Case::alreadyExists: return "alreadyExists";
    case Case::fileOperationFailed: return "fileOperationFailed";
    case Case::tooLarge: return "tooLarge";
    case Case::unreadableFile: return "unreadableFile";
    case Case::notInspectable: return "notInspectable";
    case Case::queryRefused: return "queryRefused";
    case Case::queryFailed: return "queryFailed";
    case Case::invalidValue: return "invalidValue";
    case Case::keyNotFound: return "keyNotFound";
    case Case::changeNotConfirmed: return "changeNotConfirmed";
    case Case::invalidSnapshotName: return "invalidSnapshotName";
    case Case::snapshotExists: return "snapshotExists";
    case Case::snapshotNotFound: return "snapshotNotFound";
    case Case::snapshotDamaged: return "snapshotDamaged";
    case Case::simulatorBusy: return "simulatorBusy";
    case Case::cancelled: return "cancelled";
  }
  return {};
}

}  // namespace orvanta
