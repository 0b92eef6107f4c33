#include "tools/app_data/user_defaults_service.hpp"

#include <charconv>
#include <chrono>
#include <cmath>

#include <fmt/format.h>

#include "support/number_text.hpp"
#include "support/property_list.hpp"
#include "support/reference_date.hpp"
#include "support/text.hpp"
#include "tools/app_data/structured_document.hpp"
#include "tools/location/gpx_timestamp.hpp"

namespace orvanta {
namespace {

using Case = AppDataError::Case;

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

std::string_view rawValue(UserDefaultsType type) {
  switch (type) {
    case UserDefaultsType::string: return "string";
    case UserDefaultsType::integer: return "int";
    case UserDefaultsType::real: return "float";
    case UserDefaultsType::boolean: return "bool";
    case UserDefaultsType::date: return "date";
    case UserDefaultsType::data: return "data";
  }
  return {};
}

std::optional<UserDefaultsType> userDefaultsTypeFromRawValue(std::string_view text) {
  for (auto type : {UserDefaultsType::string, UserDefaultsType::integer, UserDefaultsType::real,
                    UserDefaultsType::boolean, UserDefaultsType::date, UserDefaultsType::data}) {
    if (rawValue(type) == text) return type;
  }
  return std::nullopt;
}

expected<UserDefaultsValue, AppDataError> parseUserDefaultsValue(UserDefaultsType type, std::string_view text) {
  auto invalid = [&] {
    return unexpected(AppDataError::named(Case::invalidValue, std::string(rawValue(type)), escapedForTerminal(text)));
  };
  switch (type) {
    case UserDefaultsType::string: return UserDefaultsValue{type, std::string(text), std::string(text)};
    case UserDefaultsType::integer: {
      std::int64_t number = 0;
      const char* end = text.data() + text.size();
      const auto [at, error] = std::from_chars(text.data(), end, number);
      if (text.empty() || error != std::errc() || at != end) return invalid();
      return UserDefaultsValue{type, number, std::to_string(number)};
    }
    case UserDefaultsType::real: {
      const auto number = parseStrictDecimal(text);
      if (!number) return invalid();
      return UserDefaultsValue{type, *number, formatPlainDecimal(*number)};
    }
    case UserDefaultsType::boolean: {
      const std::string lower = asciiLowercase(text);
      if (lower == "true" || lower == "yes" || lower == "1") return UserDefaultsValue{type, true, "true"};
      if (lower == "false" || lower == "no" || lower == "0") return UserDefaultsValue{type, false, "false"};
      return invalid();
    }
    case UserDefaultsType::date: {
      const auto date = GPXTimestamp::read(text);
      if (date.kind != GPXTimestamp::Result::Case::valid) return invalid();
      // `defaults` reads dates to the second.
      const auto whole = std::chrono::floor<std::chrono::seconds>(date.instant);
      const std::string argument = formatUtc(whole, UtcFormat::iso8601);
      return UserDefaultsValue{type, PropertyListDate{toReferenceSeconds(whole)},
                               argument.substr(0, 10) + " " + argument.substr(11, 8) + " +0000"};
    }
    case UserDefaultsType::data: {
      if (text.size() % 2 != 0) return invalid();
      PropertyListValue::Data bytes;
      std::string argument;
      for (std::size_t i = 0; i < text.size(); i += 2) {
        const int high = hexDigit(text[i]);
        const int low = hexDigit(text[i + 1]);
        if (high < 0 || low < 0) return invalid();
        bytes.push_back(static_cast<std::uint8_t>(high * 16 + low));
      }
      return UserDefaultsValue{type, std::move(bytes), asciiLowercase(text)};
    }
  }
  return invalid();
}

std::string preferencesDomain(const std::filesystem::path& container, std::string_view identifier) {
  return (container / "Library" / "Preferences" / std::string(identifier)).string();
}

std::vector<std::string> defaultsExportArguments(const std::string& udid, const std::string& domain) {
  return {"spawn", udid, "defaults", "export", domain, "-"};
}

std::vector<std::string> defaultsWriteArguments(const std::string& udid, const std::string& domain,
                                                const std::string& key, const UserDefaultsValue& value) {
  return {"spawn", udid, "defaults", "write", domain, key, "-" + std::string(rawValue(value.type)), value.argument};
}

std::vector<std::string> defaultsDeleteArguments(const std::string& udid, const std::string& domain,
                                                 const std::string& key) {
  return {"spawn", udid, "defaults", "delete", domain, key};
}

bool userDefaultsValueMatches(const PropertyListValue& expected, const PropertyListValue& stored) {
  if (const double* want = expected.asReal()) {
    const double* have = stored.asReal();
    const std::int64_t* whole = stored.asInteger();
    const double got = have != nullptr ? *have : whole != nullptr ? static_cast<double>(*whole) : NAN;
    return std::fabs(got - *want) <= 1e-9 * std::max(1.0, std::fabs(*want));
  }
  if (const auto* want = expected.asDate()) {
    const auto* have = stored.asDate();
    return have != nullptr && std::fabs(have->secondsSinceReferenceDate - want->secondsSinceReferenceDate) < 1.0;
  }
  return expected == stored;
}

expected<UserDefaultsReading, AppDataError> UserDefaultsService::exportDomain(const std::string& udid,
                                                                              std::string domain,
                                                                              orvanta::stop_token stop) const {
  auto output = runAppDataSimctl(containers_.client(), defaultsExportArguments(udid, domain), std::move(stop));
  if (!output) {
    // A domain nothing was ever written to does not exist yet: it reads empty.
    if (output.error().kind == Case::simctlFailed && output.error().text.find("does not exist") != std::string::npos) {
      return UserDefaultsReading{std::move(domain), {}};
    }
    return unexpected(output.error());
  }
  auto parsed = parsePropertyList(output->stdout.view());
  if (!parsed) {
    return unexpected(AppDataError::atPath(Case::unreadableFile, "the exported preferences", parsed.error().description()));
  }
  const auto* dictionary = parsed->asDictionary();
  if (dictionary == nullptr) {
    return unexpected(AppDataError::atPath(Case::unreadableFile, "the exported preferences", "not a dictionary"));
  }
  return UserDefaultsReading{std::move(domain), *dictionary};
}

expected<UserDefaultsReading, AppDataError> UserDefaultsService::read(const std::string& udid,
                                                                      const std::string& bundleIdentifier,
                                                                      const std::optional<std::string>& group,
                                                                      orvanta::stop_token stop) const {
  auto container = containers_.dataContainer(udid, bundleIdentifier, group, stop);
  if (!container) return unexpected(container.error());
  return exportDomain(udid, preferencesDomain(*container, group.value_or(bundleIdentifier)), std::move(stop));
}

expected<UserDefaultsChange, AppDataError> UserDefaultsService::write(const std::string& udid,
                                                                      const std::string& bundleIdentifier,
                                                                      const std::optional<std::string>& group,
                                                                      const std::string& key,
                                                                      const UserDefaultsValue& value,
                                                                      orvanta::stop_token stop) {
  if (key.empty()) return unexpected(AppDataError::named(Case::invalidValue, "key", ""));
  auto hold = SimulatorGateHold::take(&gate_, udid, gate_labels::userDefaults);
  if (!hold) return unexpected(AppDataError::of(Case::simulatorBusy));
  auto before = read(udid, bundleIdentifier, group, stop);
  if (!before) return unexpected(before.error());
  auto terminated = terminateAppIfRunning(containers_.client(), udid, bundleIdentifier, stop);
  if (!terminated) return unexpected(terminated.error());
  if (auto written = runAppDataSimctl(containers_.client(), defaultsWriteArguments(udid, before->domain, key, value), stop);
      !written) {
    return unexpected(written.error());
  }
  auto after = exportDomain(udid, before->domain, stop);
  if (!after) return unexpected(after.error());
  const PropertyListValue* stored = after->values.find(key);
  if (stored == nullptr || !userDefaultsValueMatches(value.value, *stored)) {
    const std::string shownValue = describeTypedValue(typedValue(value.value), key).front();
    const std::string reported = stored == nullptr ? std::string("no such key")
                                                   : describeTypedValue(typedValue(*stored), key).front();
    return unexpected(AppDataError::of(
        Case::changeNotConfirmed, fmt::format("Wrote {}, but the app's preferences read back {}.", shownValue, reported)));
  }
  return UserDefaultsChange{after->domain, *terminated, *stored};
}

expected<UserDefaultsChange, AppDataError> UserDefaultsService::remove(const std::string& udid,
                                                                       const std::string& bundleIdentifier,
                                                                       const std::optional<std::string>& group,
                                                                       const std::string& key,
                                                                       orvanta::stop_token stop) {
  auto hold = SimulatorGateHold::take(&gate_, udid, gate_labels::userDefaults);
  if (!hold) return unexpected(AppDataError::of(Case::simulatorBusy));
  auto before = read(udid, bundleIdentifier, group, stop);
  if (!before) return unexpected(before.error());
  if (!before->values.contains(key)) return unexpected(AppDataError::named(Case::keyNotFound, escapedForTerminal(key)));
  auto terminated = terminateAppIfRunning(containers_.client(), udid, bundleIdentifier, stop);
  if (!terminated) return unexpected(terminated.error());
  if (auto deleted = runAppDataSimctl(containers_.client(), defaultsDeleteArguments(udid, before->domain, key), stop);
      !deleted) {
    return unexpected(deleted.error());
  }
  auto after = exportDomain(udid, before->domain, stop);
  if (!after) return unexpected(after.error());
  if (after->values.contains(key)) {
    return unexpected(AppDataError::of(
        Case::changeNotConfirmed,
        fmt::format("Deleted {}, but the app's preferences still hold it.", escapedForTerminal(key))));
  }
  return UserDefaultsChange{after->domain, *terminated, std::nullopt};
}

}  // namespace orvanta
