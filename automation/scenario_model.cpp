#include "automation/scenario_model.hpp"

#include <cmath>

#include "support/reference_date.hpp"
#include "support/uuid.hpp"
#include "tools/location/location_entry.hpp"
#include "tools/privacy/simulator_privacy_types.hpp"

namespace orvanta {

using Case = ScenarioStepKind::Case;

namespace {

constexpr std::array<std::string_view, 15> caseNames{
    "setAppearance", "setContentSize", "setStatusBarOverride", "clearStatusBarOverrides", "setLocation",
    "clearLocation", "runLocationRoute", "privacyAction", "terminateApp", "launchApp",
    "resetAppData",  "openDeepLink",   "sendPush", "setIncreasedContrast", "bootSimulator",
};

ScenarioStepKind make(Case kind) {
  ScenarioStepKind value;
  value.kind = kind;
  return value;
}

}  // namespace

ScenarioStepKind ScenarioStepKind::setAppearance(SimulatorAppearance value) {
  auto step = make(Case::setAppearance);
  step.appearance = value;
  return step;
}
ScenarioStepKind ScenarioStepKind::setContentSize(SimulatorContentSize value) {
  auto step = make(Case::setContentSize);
  step.contentSize = value;
  return step;
}
ScenarioStepKind ScenarioStepKind::setStatusBarOverride(StatusBarOverrideFields value) {
  auto step = make(Case::setStatusBarOverride);
  step.statusBar = std::move(value);
  return step;
}
ScenarioStepKind ScenarioStepKind::clearStatusBarOverrides() { return make(Case::clearStatusBarOverrides); }
ScenarioStepKind ScenarioStepKind::setLocation(SimulatedLocation value) {
  auto step = make(Case::setLocation);
  step.location = value;
  return step;
}
ScenarioStepKind ScenarioStepKind::clearLocation() { return make(Case::clearLocation); }
ScenarioStepKind ScenarioStepKind::runLocationRoute(std::string routeID, double speedMetersPerSecond) {
  auto step = make(Case::runLocationRoute);
  step.routeID = std::move(routeID);
  step.speedMetersPerSecond = speedMetersPerSecond;
  return step;
}
ScenarioStepKind ScenarioStepKind::privacyAction(std::string actionName, std::string serviceName) {
  auto step = make(Case::privacyAction);
  step.actionName = std::move(actionName);
  step.serviceName = std::move(serviceName);
  return step;
}
ScenarioStepKind ScenarioStepKind::terminateApp() { return make(Case::terminateApp); }
ScenarioStepKind ScenarioStepKind::launchApp() { return make(Case::launchApp); }
ScenarioStepKind ScenarioStepKind::resetAppData(bool resetPermissions) {
  auto step = make(Case::resetAppData);
  step.resetPermissions = resetPermissions;
  return step;
}
ScenarioStepKind ScenarioStepKind::openDeepLink(std::string urlString) {
  auto step = make(Case::openDeepLink);
  step.urlString = std::move(urlString);
  return step;
}
ScenarioStepKind ScenarioStepKind::sendPush(std::string payload) {
  auto step = make(Case::sendPush);
  step.payload = std::move(payload);
  return step;
}

ScenarioStepKind ScenarioStepKind::setIncreasedContrast(bool enabled) {
  auto step = make(Case::setIncreasedContrast);
  step.increasedContrast = enabled;
  return step;
}
ScenarioStepKind ScenarioStepKind::bootSimulator() { return make(Case::bootSimulator); }

std::string_view ScenarioStepKind::caseName() const { return caseNames.at(static_cast<std::size_t>(kind)); }

std::optional<Case> scenarioStepCaseNamed(std::string_view name) {
  for (auto value : allScenarioStepCases) {
    if (caseNames.at(static_cast<std::size_t>(value)) == name) return value;
  }
  return std::nullopt;
}

std::string ScenarioStepKind::title() const {
  switch (kind) {
    case Case::setAppearance:
      return std::string("Set Appearance: ") + (appearance == SimulatorAppearance::dark ? "Dark" : "Light");
    case Case::setContentSize: return "Set Text Size: " + displayName(contentSize);
    case Case::setStatusBarOverride: return "Set Status Bar Override";
    case Case::clearStatusBarOverrides: return "Clear Status Bar Overrides";
    case Case::setLocation:
      return "Set Location: " + coordinateText(location.latitude) + ", " + coordinateText(location.longitude);
    case Case::clearLocation: return "Clear Location";
    case Case::runLocationRoute: return "Run Location Route";
    case Case::privacyAction: {
      auto action = privacyActionFromCommandWord(actionName);
      auto service = privacyServiceTypeFromCommandWord(serviceName);
      return (action ? std::string(orvanta::title(*action)) : actionName) + " Privacy: " +
             (service ? std::string(label(*service)) : serviceName);
    }
    case Case::terminateApp: return "Terminate App";
    case Case::launchApp: return "Launch App";
    case Case::resetAppData: return resetPermissions ? "Reset App Data (also reset permissions)" : "Reset App Data";
    case Case::openDeepLink: return "Open Deep Link";
    case Case::sendPush: return "Send Push Notification";
    case Case::setIncreasedContrast: return std::string("Set Increased Contrast: ") + (increasedContrast ? "On" : "Off");
    case Case::bootSimulator: return "Boot Simulator";
  }
  return {};
}

bool ScenarioStepKind::needsApp() const {
  switch (kind) {
    case Case::terminateApp:
    case Case::launchApp:
    case Case::resetAppData:
    case Case::openDeepLink:
    case Case::sendPush:
    case Case::privacyAction: return true;
    default: return false;
  }
}

// ---- JSON ----------------------------------------------------------------------------------------------

namespace {

expected<double, std::string> finite(double value, std::string_view what) {
  if (!std::isfinite(value)) return unexpected(std::string(what) + " is not a finite number.");
  return value;
}

}  // namespace

expected<nlohmann::json, std::string> encodeScenarioStepKind(const ScenarioStepKind& step) {
  nlohmann::json payload = nlohmann::json::object();
  switch (step.kind) {
    case Case::setAppearance: payload["_0"] = std::string(rawValue(step.appearance)); break;
    case Case::setContentSize: payload["_0"] = std::string(rawValue(step.contentSize)); break;
    case Case::setStatusBarOverride: payload["_0"] = toJson(step.statusBar); break;
    case Case::setLocation: {
      auto latitude = finite(step.location.latitude, "The latitude");
      if (!latitude) return unexpected(latitude.error());
      auto longitude = finite(step.location.longitude, "The longitude");
      if (!longitude) return unexpected(longitude.error());
      payload["_0"] = {{"latitude", *latitude}, {"longitude", *longitude}};
      break;
    }
    case Case::runLocationRoute: {
      auto speed = finite(step.speedMetersPerSecond, "The route speed");
      if (!speed) return unexpected(speed.error());
      payload["routeID"] = parseUUID(step.routeID).value_or(step.routeID);
      payload["speedMetersPerSecond"] = *speed;
      break;
    }
    case Case::privacyAction:
      payload["actionName"] = step.actionName;
      payload["serviceName"] = step.serviceName;
      break;
    case Case::resetAppData: payload["resetPermissions"] = step.resetPermissions; break;
    case Case::openDeepLink: payload["urlString"] = step.urlString; break;
    case Case::sendPush: payload["payload"] = step.payload; break;
    case Case::setIncreasedContrast: payload["_0"] = step.increasedContrast; break;
    case Case::bootSimulator:
    case Case::clearStatusBarOverrides:
    case Case::clearLocation:
    case Case::terminateApp:
    case Case::launchApp: break;
  }
  nlohmann::json kind = nlohmann::json::object();
  kind[std::string(step.caseName())] = std::move(payload);
  return kind;
}

expected<nlohmann::json, std::string> encodeScenario(const ScenarioDefinition& scenario) {
  nlohmann::json steps = nlohmann::json::array();
  for (const auto& step : scenario.steps) {
    auto kind = encodeScenarioStepKind(step.kind);
    if (!kind) return unexpected(kind.error());
    steps.push_back({{"id", step.id}, {"kind", std::move(*kind)}});
  }
  nlohmann::json json = {{"id", scenario.id},
                         {"schemaVersion", scenario.schemaVersion},
                         {"name", scenario.name},
                         {"steps", std::move(steps)},
                         {"createdAt", toReferenceSeconds(scenario.createdAt)},
                         {"updatedAt", toReferenceSeconds(scenario.updatedAt)}};
  if (scenario.description) json["description"] = *scenario.description;
  return json;
}

namespace {

// Reads the members of one object, remembering the first problem met.
class Reader {
 public:
  Reader(const nlohmann::json& object, std::string context) : object_(object), context_(std::move(context)) {}

  const nlohmann::json* member(const char* key, bool required = true) {
    auto found = object_.find(key);
    if (found == object_.end() || found->is_null()) {
      if (required) fail(std::string("\"") + key + "\" is missing" + context_ + ".");
      return nullptr;
    }
    return &*found;
  }
  std::optional<std::string> text(const char* key, bool required = true) {
    const auto* value = member(key, required);
    if (value == nullptr) return std::nullopt;
    if (!value->is_string()) return fail(std::string("\"") + key + "\" must be text" + context_ + "."), std::nullopt;
    return value->get<std::string>();
  }
  std::optional<double> number(const char* key, bool required = true) {
    const auto* value = member(key, required);
    if (value == nullptr) return std::nullopt;
    if (!value->is_number()) return fail(std::string("\"") + key + "\" must be a number" + context_ + "."), std::nullopt;
    return value->get<double>();
  }
  std::optional<bool> boolean(const char* key) {
    const auto* value = member(key);
    if (value == nullptr) return std::nullopt;
    if (!value->is_boolean()) return fail(std::string("\"") + key + "\" must be true or false" + context_ + "."), std::nullopt;
    return value->get<bool>();
  }
  std::optional<std::string> uuid(const char* key, bool required = true) {
    auto value = text(key, required);
    if (!value) return std::nullopt;
    auto parsed = parseUUID(*value);
    if (!parsed) fail(std::string("\"") + key + "\" is not a UUID" + context_ + ".");
    return parsed;
  }
  std::optional<std::chrono::system_clock::time_point> date(const char* key, bool required = true) {
    auto seconds = number(key, required);
    if (!seconds) return std::nullopt;
    auto date = fromReferenceSeconds(*seconds);
    if (!date) fail(std::string("\"") + key + "\" is not a date" + context_ + ".");
    return date;
  }
  template <class Enum>
  std::optional<Enum> choice(const char* key) {
    auto value = text(key);
    if (!value) return std::nullopt;
    auto parsed = fromRawValue<Enum>(*value);
    if (!parsed) fail(std::string("\"") + *value + "\" is not a known value of \"" + key + "\"" + context_ + ".");
    return parsed;
  }

  void fail(std::string problem) {
    if (!problem_) problem_ = std::move(problem);
  }
  [[nodiscard]] const std::optional<std::string>& problem() const { return problem_; }

 private:
  const nlohmann::json& object_;
  std::string context_;
  std::optional<std::string> problem_;
};

}  // namespace

expected<ScenarioStepKind, std::string> decodeScenarioStepKind(const nlohmann::json& json) {
  if (!json.is_object()) return unexpected(std::string("A step's kind must be a JSON object."));
  if (json.size() != 1) return unexpected(std::string("Invalid number of keys found, expected one."));
  const auto& name = json.begin().key();
  auto kind = scenarioStepCaseNamed(name);
  if (!kind) return unexpected("\"" + name + "\" is not a step kind.");
  const auto& payload = json.begin().value();
  if (!payload.is_object()) return unexpected("The value of \"" + name + "\" must be a JSON object.");
  Reader reader(payload, " in " + name);
  ScenarioStepKind step = make(*kind);
  switch (*kind) {
    case Case::setAppearance:
      if (auto value = reader.choice<SimulatorAppearance>("_0")) step.appearance = *value;
      break;
    case Case::setContentSize:
      if (auto value = reader.choice<SimulatorContentSize>("_0")) step.contentSize = *value;
      break;
    case Case::setStatusBarOverride:
      if (const auto* value = reader.member("_0")) {
        auto fields = statusBarOverrideFromJson(*value);
        if (!fields) return unexpected(fields.error());
        step.statusBar = *fields;
      }
      break;
    case Case::setLocation:
      if (const auto* value = reader.member("_0")) {
        if (!value->is_object()) return unexpected(std::string("A location must be a JSON object."));
        Reader location(*value, " in setLocation");
        auto latitude = location.number("latitude");
        auto longitude = location.number("longitude");
        if (location.problem()) return unexpected(*location.problem());
        step.location = SimulatedLocation{*latitude, *longitude};
      }
      break;
    case Case::runLocationRoute: {
      auto route = reader.uuid("routeID");
      auto speed = reader.number("speedMetersPerSecond");
      if (route && speed) {
        step.routeID = *route;
        step.speedMetersPerSecond = *speed;
      }
      break;
    }
    case Case::privacyAction: {
      auto action = reader.text("actionName");
      auto service = reader.text("serviceName");
      if (action && service) {
        step.actionName = *action;
        step.serviceName = *service;
      }
      break;
    }
    case Case::resetAppData:
      if (auto value = reader.boolean("resetPermissions")) step.resetPermissions = *value;
      break;
    case Case::openDeepLink:
      if (auto value = reader.text("urlString")) step.urlString = *value;
      break;
    case Case::sendPush:
      if (auto value = reader.text("payload")) step.payload = *value;
      break;
    case Case::setIncreasedContrast:
      if (auto value = reader.boolean("_0")) step.increasedContrast = *value;
      break;
    case Case::bootSimulator:
    case Case::clearStatusBarOverrides:
    case Case::clearLocation:
    case Case::terminateApp:
    case Case::launchApp: break;
  }
  if (reader.problem()) return unexpected(*reader.problem());
  return step;
}

namespace {

expected<ScenarioDefinition, std::string> decode(const nlohmann::json& json,
                                                 std::optional<std::chrono::system_clock::time_point> importedAt) {
  if (!json.is_object()) return unexpected(std::string("A scenario must be a JSON object."));
  const bool lenient = importedAt.has_value();
  Reader reader(json, " in a scenario");
  ScenarioDefinition scenario;
  auto id = reader.uuid("id", !lenient);
  std::optional<std::int64_t> version;
  if (const auto* value = reader.member("schemaVersion", !lenient)) {
    if (!value->is_number_integer() ||
        (value->is_number_unsigned() && value->get<std::uint64_t>() > static_cast<std::uint64_t>(INT64_MAX))) {
      reader.fail("\"schemaVersion\" must be a whole number in a scenario.");
    } else {
      version = value->get<std::int64_t>();
    }
  }
  auto name = reader.text("name");
  auto description = reader.text("description", false);
  auto createdAt = reader.date("createdAt", !lenient);
  auto updatedAt = reader.date("updatedAt", !lenient);
  const auto* steps = reader.member("steps");
  if (reader.problem()) return unexpected(*reader.problem());
  if (!steps->is_array()) return unexpected(std::string("\"steps\" must be a JSON array in a scenario."));

  scenario.id = id ? *id : makeUUID();
  scenario.schemaVersion = version.value_or(currentScenarioSchemaVersion);
  scenario.name = *name;
  scenario.description = description;
  scenario.createdAt = createdAt ? *createdAt : *importedAt;
  scenario.updatedAt = updatedAt ? *updatedAt : scenario.createdAt;
  for (const auto& item : *steps) {
    if (!item.is_object()) return unexpected(std::string("A step must be a JSON object."));
    Reader stepReader(item, " in a step");
    auto stepID = stepReader.uuid("id", !lenient);
    const auto* kindJson = stepReader.member("kind");
    if (stepReader.problem()) return unexpected(*stepReader.problem());
    auto kind = decodeScenarioStepKind(*kindJson);
    if (!kind) return unexpected(kind.error());
    scenario.steps.push_back({stepID ? *stepID : makeUUID(), std::move(*kind)});
  }
  return scenario;
}

}  // namespace

expected<ScenarioDefinition, std::string> decodeScenario(const nlohmann::json& json) {
  return decode(json, std::nullopt);
}

expected<ScenarioDefinition, std::string> decodeImportedScenario(const nlohmann::json& json,
                                                                 std::chrono::system_clock::time_point now) {
  return decode(json, now);
}

}  // namespace orvanta
