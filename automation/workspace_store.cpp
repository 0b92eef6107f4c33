#include "automation/workspace_store.hpp"

#include <cmath>

#include "support/reference_date.hpp"
#include "support/uuid.hpp"
#include "tools/location/location_entry.hpp"
#include "tools/location/location_persistence.hpp"

namespace orvanta {

using Json = nlohmann::json;

std::string WorkspaceStoreError::description() const {
  switch (kind) {
    case Case::notFound: return "That workspace no longer exists.";
    case Case::invalidReorder: return "Couldn't reorder: the workspace list changed.";
    case Case::encodingFailed: return "Couldn't save the workspace.";
    case Case::writeFailed: return "Couldn't write the workspaces to disk.";
    case Case::nameTaken: return "A workspace named \"" + detail + "\" already exists; choose another name.";
  }
  return {};
}

std::string WorkspaceStoreTraits::unsupportedText(std::int64_t version) {
  return "This workspace was saved by a newer version of Orvanta (schema " + std::to_string(version) + ").";
}

std::string WorkspaceStoreTraits::unreadableText(const std::string& problem) {
  return "This workspace could not be read (" + problem + "); it is kept as it is.";
}

expected<Json, std::string> encodeWorkspace(const Workspace& workspace) {
  Json state = Json::object();
  if (workspace.state.appearance) state["appearance"] = std::string(rawValue(*workspace.state.appearance));
  if (workspace.state.increasedContrast) state["increasedContrast"] = *workspace.state.increasedContrast;
  if (workspace.state.contentSize) state["contentSize"] = std::string(rawValue(*workspace.state.contentSize));
  if (workspace.state.statusBarOverride) state["statusBarOverride"] = toJson(*workspace.state.statusBarOverride);
  if (const auto& location = workspace.state.location) {
    if (!std::isfinite(location->latitude) || !std::isfinite(location->longitude)) {
      return unexpected(std::string("The saved location is not a finite number."));
    }
    state["location"] = toJson(*location);
  }
  Json pins = Json::array();
  for (const auto& id : workspace.pinnedScenarioIDs) pins.push_back(id);
  Json json = {{"id", workspace.id},
               {"schemaVersion", workspace.schemaVersion},
               {"name", workspace.name},
               {"createdAt", toReferenceSeconds(workspace.createdAt)},
               {"updatedAt", toReferenceSeconds(workspace.updatedAt)},
               {"simulator",
                {{"udid", workspace.simulator.udid},
                 {"name", workspace.simulator.name},
                 {"deviceTypeIdentifier", workspace.simulator.deviceTypeIdentifier},
                 {"runtimeIdentifier", workspace.simulator.runtimeIdentifier}}},
               {"state", std::move(state)},
               {"pinnedScenarioIDs", std::move(pins)}};
  if (workspace.bundleIdentifier) json["bundleIdentifier"] = *workspace.bundleIdentifier;
  return json;
}

namespace {

// Reads members of one object; the first problem met is the one reported.
class Fields {
 public:
  Fields(const Json& object, std::string where) : object_(object), where_(std::move(where)) {}

  const Json* find(const char* key, bool required) {
    auto found = object_.find(key);
    if (found == object_.end() || found->is_null()) {
      if (required) fail(std::string("\"") + key + "\" is missing" + where_ + ".");
      return nullptr;
    }
    return &*found;
  }
  std::optional<std::string> text(const char* key, bool required = true) {
    const Json* value = find(key, required);
    if (value == nullptr) return std::nullopt;
    if (!value->is_string()) return fail(std::string("\"") + key + "\" must be text" + where_ + "."), std::nullopt;
    return value->get<std::string>();
  }
  std::optional<std::chrono::system_clock::time_point> date(const char* key) {
    const Json* value = find(key, true);
    if (value == nullptr) return std::nullopt;
    auto date = value->is_number() ? fromReferenceSeconds(value->get<double>()) : std::nullopt;
    if (!date) fail(std::string("\"") + key + "\" is not a date" + where_ + ".");
    return date;
  }
  template <class Enum>
  std::optional<Enum> choice(const char* key) {
    auto value = text(key, false);
    if (!value) return std::nullopt;
    auto parsed = fromRawValue<Enum>(*value);
    if (!parsed) fail("\"" + *value + "\" is not a known value of \"" + key + "\"" + where_ + ".");
    return parsed;
  }
  void fail(std::string problem) {
    if (!problem_) problem_ = std::move(problem);
  }
  [[nodiscard]] const std::optional<std::string>& problem() const { return problem_; }

 private:
  const Json& object_;
  std::string where_;
  std::optional<std::string> problem_;
};

}  // namespace

expected<Workspace, std::string> decodeWorkspace(const Json& json) {
  if (!json.is_object()) return unexpected(std::string("A workspace must be a JSON object."));
  Fields fields(json, " in a workspace");
  Workspace workspace;
  auto id = fields.text("id");
  if (id) {
    if (auto uuid = parseUUID(*id)) {
      workspace.id = *uuid;
    } else {
      fields.fail("\"id\" is not a UUID in a workspace.");
    }
  }
  if (const Json* version = fields.find("schemaVersion", true)) {
    if (version->is_number_integer()) {
      workspace.schemaVersion = version->get<std::int64_t>();
    } else {
      fields.fail("\"schemaVersion\" must be a whole number in a workspace.");
    }
  }
  if (auto name = fields.text("name")) workspace.name = *name;
  if (auto created = fields.date("createdAt")) workspace.createdAt = *created;
  if (auto updated = fields.date("updatedAt")) workspace.updatedAt = *updated;
  workspace.bundleIdentifier = fields.text("bundleIdentifier", false);

  if (const Json* simulator = fields.find("simulator", true)) {
    if (!simulator->is_object()) return unexpected(std::string("\"simulator\" must be a JSON object in a workspace."));
    Fields device(*simulator, " in a workspace's simulator");
    if (auto udid = device.text("udid")) workspace.simulator.udid = *udid;
    if (auto name = device.text("name")) workspace.simulator.name = *name;
    if (auto type = device.text("deviceTypeIdentifier")) workspace.simulator.deviceTypeIdentifier = *type;
    if (auto runtime = device.text("runtimeIdentifier")) workspace.simulator.runtimeIdentifier = *runtime;
    if (device.problem()) fields.fail(*device.problem());
  }

  if (const Json* state = fields.find("state", true)) {
    if (!state->is_object()) return unexpected(std::string("\"state\" must be a JSON object in a workspace."));
    Fields values(*state, " in a workspace's state");
    workspace.state.appearance = values.choice<SimulatorAppearance>("appearance");
    workspace.state.contentSize = values.choice<SimulatorContentSize>("contentSize");
    if (const Json* contrast = values.find("increasedContrast", false)) {
      if (contrast->is_boolean()) {
        workspace.state.increasedContrast = contrast->get<bool>();
      } else {
        values.fail("\"increasedContrast\" must be true or false in a workspace's state.");
      }
    }
    if (const Json* bar = values.find("statusBarOverride", false)) {
      auto fieldsOfBar = bar->is_object() ? statusBarOverrideFromJson(*bar)
                                          : expected<StatusBarOverride, std::string>(
                                                unexpected(std::string("\"statusBarOverride\" must be a JSON object.")));
      if (fieldsOfBar) {
        workspace.state.statusBarOverride = *fieldsOfBar;
      } else {
        values.fail(fieldsOfBar.error());
      }
    }
    if (const Json* location = values.find("location", false)) {
      workspace.state.location = simulatedLocationFromJson(*location);
      if (!workspace.state.location) values.fail("\"location\" is not a valid position in a workspace's state.");
    }
    if (values.problem()) fields.fail(*values.problem());
  }

  if (const Json* pins = fields.find("pinnedScenarioIDs", true)) {
    if (!pins->is_array()) return unexpected(std::string("\"pinnedScenarioIDs\" must be an array in a workspace."));
    for (const auto& pin : *pins) {
      auto uuid = pin.is_string() ? parseUUID(pin.get<std::string>()) : std::nullopt;
      if (!uuid) {
        fields.fail("\"pinnedScenarioIDs\" holds something that is not a UUID in a workspace.");
        break;
      }
      workspace.pinnedScenarioIDs.push_back(*uuid);
    }
  }
  if (fields.problem()) return unexpected(*fields.problem());
  return workspace;
}

std::vector<std::string> workspaceStateLines(const WorkspaceDeviceState& state) {
  std::vector<std::string> lines;
  if (state.appearance) lines.push_back("Appearance: " + std::string(rawValue(*state.appearance)));
  if (state.increasedContrast) {
    lines.push_back(std::string("Increased contrast: ") + (*state.increasedContrast ? "on" : "off"));
  }
  if (state.contentSize) lines.push_back("Text size: " + std::string(rawValue(*state.contentSize)));
  if (state.statusBarOverride) {
    lines.push_back(state.statusBarOverride->isEmpty() ? "Status bar: no overrides"
                                                       : "Status bar: " + toJson(*state.statusBarOverride).dump());
  }
  if (state.location) {
    lines.push_back("Location: " + coordinateText(state.location->latitude) + ", " +
                    coordinateText(state.location->longitude));
  }
  return lines;
}

}  // namespace orvanta
