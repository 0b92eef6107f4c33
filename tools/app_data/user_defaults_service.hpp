// The user-defaults editor: an app's preferences on a simulator, read, written with a type, and deleted,
// every change read back.
//
// The simulator's preferences daemon (cfprefsd) caches preferences, so editing Library/Preferences/
// <domain>.plist directly is lost; every access goes through it instead, with `simctl spawn <udid>
// defaults export|write|delete <domain>`. The domain is written as the path of the preferences file
// without ".plist" (<data container>/Library/Preferences/<bundle id>, or the group container's
// Library/Preferences/<group id> for an app group), so that the change lands in the app's container; a
// bare bundle identifier would name the device-wide domain instead. `defaults export <domain> -` prints
// an XML property list, read with our reader.
//
// A write or delete first terminates the app when it runs (it would write its own copy back over the
// change), then reads the domain back: a change the simulator did not keep is a failure. Changes hold the
// simulator's mutation gate under "UserDefaults"; a held simulator is refused at once.
//
// The service's simctl client should time its runs out (20 s in the program). Main thread only (the
// gate); blocks while simctl runs.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/simulator_mutation_gate.hpp"
#include "support/property_list_value.hpp"
#include "support/stop_token.hpp"
#include "tools/app_data/app_container_service.hpp"
#include "tools/app_data/app_data_error.hpp"

namespace orvanta {

// The value types `defaults write` takes: -string -int -float -bool -date -data.
enum class UserDefaultsType { string, integer, real, boolean, date, data };
// "string", "int", "float", "bool", "date", "data" (the command's words, and the flags without "-").
[[nodiscard]] std::string_view rawValue(UserDefaultsType type);
[[nodiscard]] std::optional<UserDefaultsType> userDefaultsTypeFromRawValue(std::string_view text);

// A value to write: what the user typed, read by the type's rules.
struct UserDefaultsValue {
  UserDefaultsType type = UserDefaultsType::string;
  PropertyListValue value;   // what the preferences must hold afterwards
  std::string argument;      // what `defaults write` gets after the type flag
};

// Reads `text` as a value of `type`. int: a decimal 64-bit integer; float: plain decimal ("2.5");
// bool: true/false, yes/no or 1/0 in any letter case; date: an internet date-time ("2026-11-24T08:31:13Z",
// "2026-11-24T09:31:13.5+01:00"; the GPX reader's rules), passed on in UTC as "yyyy-MM-dd HH:mm:ss +0000"; data: an even number of hex digits; string: as it is. Fails with
// invalidValue.
[[nodiscard]] expected<UserDefaultsValue, AppDataError> parseUserDefaultsValue(UserDefaultsType type,
                                                                              std::string_view text);

// "<container>/Library/Preferences/<identifier>": the domain of a container's preferences file.
[[nodiscard]] std::string preferencesDomain(const std::filesystem::path& container, std::string_view identifier);

// The argument lists (after the xcrun path's "simctl").
[[nodiscard]] std::vector<std::string> defaultsExportArguments(const std::string& udid, const std::string& domain);
[[nodiscard]] std::vector<std::string> defaultsWriteArguments(const std::string& udid, const std::string& domain,
                                                              const std::string& key, const UserDefaultsValue& value);
[[nodiscard]] std::vector<std::string> defaultsDeleteArguments(const std::string& udid, const std::string& domain,
                                                               const std::string& key);

// Whether `stored` is what `expected` asked for: equal, with reals within a relative 1e-9 and dates
// within a second (`defaults` keeps whole seconds of a date it parses).
[[nodiscard]] bool userDefaultsValueMatches(const PropertyListValue& expected, const PropertyListValue& stored);

struct UserDefaultsReading {
  std::string domain;
  PropertyListDictionary values;
};

struct UserDefaultsChange {
  std::string domain;
  bool terminatedApp = false;  // the app was running and was stopped first
  std::optional<PropertyListValue> readBack;  // write: the value the preferences now hold
};

class UserDefaultsService {
 public:
  UserDefaultsService(SimctlClient client, SimulatorMutationGate& gate) : containers_(std::move(client)), gate_(gate) {}

  // The app's preferences (or the group's with `group`). A domain that does not exist yet reads empty.
  // Fails with the container lookup's errors, simctlFailed, invalidSimulator, simctlUnavailable,
  // unreadableFile (export that is not a dictionary property list) or cancelled.
  [[nodiscard]] expected<UserDefaultsReading, AppDataError> read(const std::string& udid,
                                                                 const std::string& bundleIdentifier,
                                                                 const std::optional<std::string>& group,
                                                                 orvanta::stop_token stop = {}) const;

  // Writes `key` (terminating the app first when it runs) and reads it back. Fails with simulatorBusy,
  // invalidValue (an empty key), read()'s errors, or changeNotConfirmed when the read-back differs.
  [[nodiscard]] expected<UserDefaultsChange, AppDataError> write(const std::string& udid,
                                                                 const std::string& bundleIdentifier,
                                                                 const std::optional<std::string>& group,
                                                                 const std::string& key, const UserDefaultsValue& value,
                                                                 orvanta::stop_token stop = {});

  // Deletes `key` and reads back that it is gone. Fails with simulatorBusy, keyNotFound, read()'s errors,
  // or changeNotConfirmed when the key is still there.
  [[nodiscard]] expected<UserDefaultsChange, AppDataError> remove(const std::string& udid,
                                                                  const std::string& bundleIdentifier,
                                                                  const std::optional<std::string>& group,
                                                                  const std::string& key, orvanta::stop_token stop = {});

 private:
  [[nodiscard]] expected<UserDefaultsReading, AppDataError> exportDomain(const std::string& udid, std::string domain,
                                                                         orvanta::stop_token stop) const;

  AppContainerService containers_;
  SimulatorMutationGate& gate_;
};

}  // namespace orvanta
