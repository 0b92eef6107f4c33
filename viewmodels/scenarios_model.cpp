#include "viewmodels/scenarios_model.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <mutex>

#include "app/environment.hpp"
#include "support/text.hpp"
#include "support/uuid.hpp"
#include "tools/location/location_entry.hpp"
#include "tools/privacy/simulator_privacy_types.hpp"

namespace orvanta {
namespace {

using Case = ScenarioStepKind::Case;
using Choices = std::vector<std::pair<std::string, std::string>>;

template <class Enum, std::size_t N>
Choices rawChoices(const std::array<Enum, N>& cases, bool optional) {
  Choices choices;
  if (optional) choices.emplace_back("", "Not set");
  for (auto value : cases) choices.emplace_back(std::string(rawValue(value)), std::string(rawValue(value)));
  return choices;
}

template <class Enum>
std::string rawText(const std::optional<Enum>& value) {
  return value ? std::string(rawValue(*value)) : std::string();
}

std::string intText(const std::optional<int>& value) { return value ? std::to_string(*value) : std::string(); }

Choices yesNo(const char* yes, const char* no) { return {{"true", yes}, {"false", no}}; }

template <class Enum>
expected<std::optional<Enum>, std::string> readRaw(const StepField& field) {
  if (field.value.empty()) return std::optional<Enum>();
  auto value = fromRawValue<Enum>(field.value);
  if (!value) return unexpected(field.label + ": \"" + field.value + "\" is not one of the choices.");
  return value;
}

// Reads `field` into `slot`; an empty value clears it.
template <class Enum>
expected<void, std::string> readRawInto(const StepField& field, std::optional<Enum>& slot) {
  auto read = readRaw<Enum>(field);
  if (!read) return unexpected(read.error());
  slot = *read;
  return {};
}

expected<std::optional<int>, std::string> readInt(const StepField& field) {
  if (field.value.empty()) return std::optional<int>();
  int value = 0;
  const char* end = field.value.data() + field.value.size();
  auto [last, problem] = std::from_chars(field.value.data(), end, value);
  if (problem != std::errc() || last != end) return unexpected(field.label + " must be a whole number.");
  return std::optional<int>(value);
}

}  // namespace

std::vector<StepField> stepFields(const ScenarioStepKind& kind, const std::vector<LocationRouteRecent>& routes) {
  switch (kind.kind) {
    case Case::setAppearance:
      return {{"_0", "Appearance", std::string(rawValue(kind.appearance)), {{"light", "Light"}, {"dark", "Dark"}}}};
    case Case::setContentSize: {
      Choices sizes;
      for (auto size : allContentSizes) sizes.emplace_back(std::string(rawValue(size)), displayName(size));
      return {{"_0", "Text size", std::string(rawValue(kind.contentSize)), sizes}};
    }
    case Case::setIncreasedContrast:
      return {{"_0", "Increased contrast", kind.increasedContrast ? "true" : "false", yesNo("On", "Off")}};
    case Case::setStatusBarOverride: {
      const auto& bar = kind.statusBar;
      Choices cellular{{"", "Not set"}};
      for (auto mode : allCellularModes) cellular.emplace_back(std::string(rawValue(mode)), displayName(mode));
      return {
          {"time", "Time", bar.time.value_or(""), {}},
          {"dataNetwork", "Data network", rawText(bar.dataNetwork), rawChoices(allDataNetworks, true)},
          {"wifiMode", "Wi-Fi mode", rawText(bar.wifiMode), rawChoices(allWifiModes, true)},
          {"wifiBars", "Wi-Fi bars", intText(bar.wifiBars), {}},
          {"cellularMode", "Cellular mode", rawText(bar.cellularMode), cellular},
          {"cellularBars", "Cellular bars", intText(bar.cellularBars), {}},
          {"operatorName", "Operator", bar.operatorName.value_or(""), {}},
          {"batteryState", "Battery state", rawText(bar.batteryState), rawChoices(allBatteryStates, true)},
          {"batteryLevel", "Battery level", intText(bar.batteryLevel), {}},
      };
    }
    case Case::setLocation:
      return {{"latitude", "Latitude", coordinateText(kind.location.latitude), {}},
              {"longitude", "Longitude", coordinateText(kind.location.longitude), {}}};
    case Case::runLocationRoute: {
      Choices choices;
      for (const auto& route : routes) choices.emplace_back(route.id, route.name);
      const bool listed = std::any_of(choices.begin(), choices.end(),
                                      [&](const auto& choice) { return choice.first == kind.routeID; });
      // A route that is no longer among the recents stays shown; the check reports it as missing.
      if (!listed) choices.emplace(choices.begin(), kind.routeID, kind.routeID.empty() ? "No route" : kind.routeID);
      return {{"routeID", "Route", kind.routeID, choices},
              {"speedMetersPerSecond", "Speed (m/s)", speedText(kind.speedMetersPerSecond), {}}};
    }
    case Case::privacyAction: {
      Choices actions;
      for (auto action : allPrivacyActions) actions.emplace_back(std::string(commandWord(action)), std::string(title(action)));
      Choices services;
      for (auto service : allPrivacyServiceTypes) {
        services.emplace_back(std::string(commandWord(service)), std::string(label(service)));
      }
      // A word saved by hand or for another toolchain stays as it is; the check judges it.
      for (auto* list : {&actions, &services}) {
        const auto& current = list == &actions ? kind.actionName : kind.serviceName;
        if (std::none_of(list->begin(), list->end(), [&](const auto& choice) { return choice.first == current; })) {
          list->emplace_back(current, current);
        }
      }
      return {{"actionName", "Action", kind.actionName, actions}, {"serviceName", "Service", kind.serviceName, services}};
    }
    case Case::resetAppData:
      return {{"resetPermissions", "Permissions", kind.resetPermissions ? "true" : "false",
               yesNo("Also reset permissions", "Keep permissions")}};
    case Case::openDeepLink:
      return {{"urlString", "URL", kind.urlString, {}}};
    case Case::sendPush:
      return {{"payload", "Payload", kind.payload, {}, true}};
    case Case::clearStatusBarOverrides:
    case Case::clearLocation:
    case Case::terminateApp:
    case Case::launchApp:
    case Case::bootSimulator:
      return {};
  }
  return {};
}

expected<ScenarioStepKind, std::string> stepKindWithFields(ScenarioStepKind kind, const std::vector<StepField>& fields) {
  std::string latitude = coordinateText(kind.location.latitude);
  std::string longitude = coordinateText(kind.location.longitude);
  auto& bar = kind.statusBar;
  for (const auto& field : fields) {
    const auto& key = field.key;
    const auto& value = field.value;
    if (key == "_0") {
      if (kind.kind == Case::setAppearance) {
        auto read = readRaw<SimulatorAppearance>(field);
        if (!read || !*read) return unexpected(field.label + " must be chosen.");
        kind.appearance = **read;
      } else if (kind.kind == Case::setContentSize) {
        auto read = readRaw<SimulatorContentSize>(field);
        if (!read || !*read) return unexpected(field.label + " must be chosen.");
        kind.contentSize = **read;
      } else if (kind.kind == Case::setIncreasedContrast) {
        kind.increasedContrast = value == "true";
      }
    } else if (key == "time" || key == "operatorName") {
      (key == "time" ? bar.time : bar.operatorName) = value.empty() ? std::nullopt : std::optional(value);
    } else if (key == "dataNetwork") {
      ORVANTA_TRY(readRawInto(field, bar.dataNetwork));
    } else if (key == "wifiMode") {
      ORVANTA_TRY(readRawInto(field, bar.wifiMode));
    } else if (key == "cellularMode") {
      ORVANTA_TRY(readRawInto(field, bar.cellularMode));
    } else if (key == "batteryState") {
      ORVANTA_TRY(readRawInto(field, bar.batteryState));
    } else if (key == "wifiBars" || key == "cellularBars" || key == "batteryLevel") {
      auto read = readInt(field);
      if (!read) return unexpected(read.error());
      (key == "wifiBars" ? bar.wifiBars : key == "cellularBars" ? bar.cellularBars : bar.batteryLevel) = *read;
    } else if (key == "latitude") {
      latitude = value;
    } else if (key == "longitude") {
      longitude = value;
    } else if (key == "routeID") {
      kind.routeID = value;
    } else if (key == "speedMetersPerSecond") {
      auto speed = parseSpeedEntry(value);
      if (!speed) return unexpected(speed.error().description());
      kind.speedMetersPerSecond = *speed;
    } else if (key == "actionName") {
      kind.actionName = value;
    } else if (key == "serviceName") {
      kind.serviceName = value;
    } else if (key == "resetPermissions") {
      kind.resetPermissions = value == "true";
    } else if (key == "urlString") {
      kind.urlString = value;
    } else if (key == "payload") {
      kind.payload = value;
    }
  }
  if (kind.kind == Case::setLocation) {
    auto location = parseCoordinateEntry(latitude, longitude);
    if (!location) return unexpected(location.error().description());
    kind.location = *location;
  }
  return kind;
}

ScenarioStepKind newStepKind(Case kind, const std::vector<LocationRouteRecent>& routes) {
  switch (kind) {
    case Case::setAppearance:
      return ScenarioStepKind::setAppearance(SimulatorAppearance::dark);
    case Case::setContentSize:
      return ScenarioStepKind::setContentSize(SimulatorContentSize::large);
    case Case::setStatusBarOverride: {
      StatusBarOverrideFields bar;
      bar.time = "9:41";
      bar.batteryLevel = 100;
      return ScenarioStepKind::setStatusBarOverride(bar);
    }
    case Case::clearStatusBarOverrides:
      return ScenarioStepKind::clearStatusBarOverrides();
    case Case::setLocation:
      return ScenarioStepKind::setLocation({37.3349, -122.009});
    case Case::clearLocation:
      return ScenarioStepKind::clearLocation();
    case Case::runLocationRoute:
      if (routes.empty()) return ScenarioStepKind::runLocationRoute("", 10);
      return ScenarioStepKind::runLocationRoute(
          routes.front().id, routes.front().speedMetersPerSecond > 0 ? routes.front().speedMetersPerSecond : 10);
    case Case::privacyAction:
      return ScenarioStepKind::privacyAction("grant", "photos");
    case Case::terminateApp:
      return ScenarioStepKind::terminateApp();
    case Case::launchApp:
      return ScenarioStepKind::launchApp();
    case Case::resetAppData:
      return ScenarioStepKind::resetAppData(false);
    case Case::openDeepLink:
      return ScenarioStepKind::openDeepLink("https://example.com");
    case Case::sendPush:
      return ScenarioStepKind::sendPush(R"({"aps": {"alert": "Hello"}})");
    case Case::setIncreasedContrast:
      return ScenarioStepKind::setIncreasedContrast(true);
    case Case::bootSimulator:
      return ScenarioStepKind::bootSimulator();
  }
  return ScenarioStepKind::launchApp();
}

std::string stepKindName(Case kind) {
  switch (kind) {
    case Case::setAppearance:
      return "Set Appearance";
    case Case::setContentSize:
      return "Set Text Size";
    case Case::privacyAction:
      return "Privacy Action";
    case Case::setLocation:
      return "Set Location";
    case Case::setIncreasedContrast:
      return "Set Increased Contrast";
    case Case::resetAppData:
      return "Reset App Data";
    default:
      // The other titles carry no value.
      return newStepKind(kind).title();
  }
}

std::string stepStateText(std::size_t index, const ScenarioStepResult& result) {
  std::string line = fmt::format("{}. {} \xE2\x80\x94 {}", index + 1, result.title,
                                 scenarioOutcomeWords(result.outcome.kind)) +
                     stepDurationText(result.duration);
  if (!result.outcome.message().empty()) line += ": " + result.outcome.message();
  return line;
}

// ---- PlanRunModel ---------------------------------------------------------------------------------------

// The steps as the worker last reported them; the main thread copies them when told.
struct PlanRunModel::Live {
  std::mutex mutex;
  std::vector<ScenarioStepResult> steps;
};

PlanRunModel::PlanRunModel(PanelSession& session, std::string title, std::string_view gateLabel)
    : PageModel(session), title_(std::move(title)), gateLabel_(gateLabel) {}

std::vector<ScenarioPreflightIssue> PlanRunModel::issuesOf(const std::string& stepID) const {
  std::vector<ScenarioPreflightIssue> found;
  for (const auto& issue : issues_) {
    if (issue.stepID == stepID) found.push_back(issue);
  }
  return found;
}

std::string PlanRunModel::confirmationText() const {
  if (!plan_ || !confirmation_) return "";
  return confirmation_->sheet(plan_->scenarioName);
}

std::optional<std::string> PlanRunModel::rememberedSimulator() {
  auto remembered = session_.environment().selection().selectedUDID();
  if (remembered && *remembered) return **remembered;
  return std::nullopt;
}

void PlanRunModel::forgetCheck() {
  issues_.clear();
  plan_.reset();
  confirmation_.reset();
}

void PlanRunModel::checkPlan(std::function<PlanCheck(const orvanta::stop_token&)> call, std::function<void()> ready) {
  if (running_) return;
  forgetCheck();
  clearMessage();
  run<PlanCheck>(std::move(call), [this, ready = std::move(ready)](PlanCheck checked) {
    if (!checked.outcome) return fail(checked.outcome.error().message);
    if (checked.outcome->blocked()) {
      issues_ = checked.outcome->issues;
      std::string text = "\"" + checked.name + "\" can't run:";
      for (const auto& issue : issues_) text += "\n- " + issue.description();
      return fail(text);
    }
    plan_ = *checked.outcome->plan;
    confirmation_ = makeScenarioConfirmation(*plan_);
    confirmation_->title = title_;
    if (ready) ready();
  });
}

void PlanRunModel::discardRun() {
  plan_.reset();
  confirmation_.reset();
  changed();
}

void PlanRunModel::cancelRun() {
  if (!running_ || stop_.stop_requested()) return;
  stop_.request_stop();
  changed();
}

void PlanRunModel::syncSteps(Live& live, std::uint64_t generation) {
  if (generation != generation_ || !running_) return;
  {
    std::lock_guard lock(live.mutex);
    steps_ = live.steps;
  }
  changed();
}

void PlanRunModel::confirmRun() {
  if (!plan_ || running_) return;
  ScenarioExecutionPlan plan = *plan_;
  plan_.reset();
  confirmation_.reset();
  auto gate = hold(plan.simulatorUDID, gateLabel_, gate_messages::appData);
  if (!gate) return;
  clearMessage();
  steps_.clear();
  for (const auto& step : plan.steps) {
    steps_.push_back({step.id, step.kind.title(), std::nullopt, std::nullopt,
                      ScenarioStepOutcome::of(ScenarioStepOutcome::Case::pending)});
  }
  summary_.reset();
  running_ = true;
  stop_ = orvanta::stop_source();
  const auto generation = ++generation_;
  auto live = std::make_shared<Live>();
  live->steps = steps_;
  using Outcome = expected<ScenarioResult, ScenarioStepError>;
  run<Outcome>(
      [this, environment = executorEnvironment(), plan = std::move(plan), live, stop = stop_, generation,
       &work = session_.work(), owner = std::weak_ptr<const void>(lifetime_)](const orvanta::stop_token& pool) {
        // Closing the panel stops the run before its next step, like Cancel.
        auto forward = [stop]() mutable { stop.request_stop(); };
        orvanta::stop_callback<decltype(forward)> onClose(pool, std::move(forward));
        ScenarioExecutor executor(environment);
        // The shared gate is held by the page (on the main thread), so the executor takes none.
        return executor.execute(
            plan, nullptr,
            [&](std::size_t index, const ScenarioStepResult& result) {
              {
                std::lock_guard lock(live->mutex);
                live->steps[index] = result;
              }
              // Each notice copies whatever is newest, so notices that arrive out of order do no harm.
              work.post<bool>(
                  owner, [](const orvanta::stop_token&) { return true; },
                  [this, live, generation](bool) { syncSteps(*live, generation); });
            },
            stop.get_token());
      },
      [this, gate](Outcome result) {
        running_ = false;
        gate->release();
        if (!result) {
          fail(result.error().message);
        } else {
          steps_.assign(result->stepResults.begin(), result->stepResults.end());
          summary_ = scenarioResultSummary(*result);
          const bool allSucceeded = std::all_of(steps_.begin(), steps_.end(), [](const ScenarioStepResult& step) {
            return step.outcome.kind == ScenarioStepOutcome::Case::succeeded;
          });
          if (allSucceeded) {
            succeed(*summary_);
          } else {
            fail(*summary_);
          }
        }
        runEnded();
      });
}

// ---- ScenariosModel -------------------------------------------------------------------------------------

ScenariosModel::ScenariosModel(PanelSession& session)
    : StoredItemsModel(session, "Run Scenario", gate_labels::scenario) {
  reload();
}

void ScenariosModel::reload() {
  if (loadStore()) changed();
}

void ScenariosModel::create(const std::string& name) {
  ScenarioDefinition scenario;
  scenario.id = makeUUID();
  scenario.name = name.empty() ? "New Scenario" : name;
  scenario.createdAt = scenario.updatedAt = std::chrono::system_clock::now();
  auto added = store_.add(scenario);
  if (!added) return fail(added.error().description());
  selectedID_ = added->id;
  forgetCheck();
  succeed("Created \"" + added->name + "\".");
}

void ScenariosModel::importFrom(const std::filesystem::path& file) {
  auto items = readImportedItemsFile(file);
  if (!items) return fail(items.error());
  auto imports = scenarioImportItems(*items, std::chrono::system_clock::now());
  if (!imports) return fail(imports.error());
  auto added = store_.addItems(*imports);
  if (!added) return fail(added.error().description());
  if (added->empty()) return fail("Nothing was imported: every item's id is already in the library.");
  std::string text = added->size() == 1 && added->front().readable()
                         ? "Imported \"" + added->front().record.name + "\"."
                         : "Imported " + std::to_string(added->size()) + " scenarios.";
  if (added->size() < imports->size()) {
    text += " " + std::to_string(imports->size() - added->size()) +
            " item(s) left out: their id is already in the library.";
  }
  selectedID_ = added->front().id();
  forgetCheck();
  succeed(text);
}

void ScenariosModel::duplicate(const std::string& id) {
  auto copy = store_.duplicate(id);
  if (!copy) return fail(copy.error().description());
  selectedID_ = copy->id;
  forgetCheck();
  succeed("Created \"" + copy->name + "\".");
}

void ScenariosModel::describe(const std::string& id, const std::string& description) {
  const auto* scenario = store_.lookup(id);
  if (scenario == nullptr) return fail(notFoundText());
  std::optional<std::string> wanted;
  if (const auto trimmed = trimWhitespace(description); !trimmed.empty()) wanted = std::string(trimmed);
  if (wanted == scenario->description) return;
  auto described = *scenario;
  described.description = wanted;
  auto done = store_.update(described);
  if (!done) return fail(done.error().description());
  succeed(wanted ? "Description saved." : "Description removed.");
}

void ScenariosModel::move(const std::string& id, int offset) {
  std::vector<std::string> ids;
  for (const auto& entry : store_.entries) ids.push_back(entry.id());
  auto at = std::find(ids.begin(), ids.end(), id);
  if (at == ids.end()) return fail(notFoundText());
  const auto from = at - ids.begin();
  const auto to = from + offset;
  if (to < 0 || to >= std::ssize(ids)) return;
  std::swap(ids[static_cast<std::size_t>(from)], ids[static_cast<std::size_t>(to)]);
  if (auto done = store_.reorder(ids); !done) return fail(done.error().description());
  succeed("Moved to position " + std::to_string(to + 1) + ".");
}

void ScenariosModel::changeSteps(const std::function<std::optional<std::string>(std::vector<ScenarioStep>&)>& change) {
  const auto* scenario = selected();
  if (scenario == nullptr) return fail(notFoundText());
  auto edited = *scenario;
  auto text = change(edited.steps);
  if (!text) return;
  auto done = store_.update(edited);
  if (!done) return fail(done.error().description());
  // The marks of the last check no longer describe these steps.
  forgetCheck();
  succeed(*text);
}

namespace {

std::vector<ScenarioStep>::iterator findStep(std::vector<ScenarioStep>& steps, const std::string& stepID) {
  return std::find_if(steps.begin(), steps.end(), [&](const ScenarioStep& each) { return each.id == stepID; });
}

}  // namespace

void ScenariosModel::addStep(ScenarioStepKind::Case kind) {
  ScenarioStep step{makeUUID(), newStepKind(kind, routes())};
  changeSteps([&](std::vector<ScenarioStep>& steps) -> std::optional<std::string> {
    steps.push_back(step);
    return "Added \"" + step.kind.title() + "\".";
  });
}

void ScenariosModel::editStep(const std::string& stepID, const std::vector<StepField>& fields) {
  changeSteps([&](std::vector<ScenarioStep>& steps) -> std::optional<std::string> {
    auto step = findStep(steps, stepID);
    if (step == steps.end()) {
      fail("That step no longer exists.");
      return std::nullopt;
    }
    auto kind = stepKindWithFields(step->kind, fields);
    if (!kind) {
      fail(kind.error());
      return std::nullopt;
    }
    step->kind = *kind;
    return fmt::format("Step {} is now \"{}\".", step - steps.begin() + 1, kind->title());
  });
}

void ScenariosModel::removeStep(const std::string& stepID) {
  changeSteps([&](std::vector<ScenarioStep>& steps) -> std::optional<std::string> {
    auto step = findStep(steps, stepID);
    if (step == steps.end()) return std::nullopt;
    std::string text = "Removed \"" + step->kind.title() + "\".";
    steps.erase(step);
    return text;
  });
}

void ScenariosModel::moveStep(const std::string& stepID, int offset) {
  changeSteps([&](std::vector<ScenarioStep>& steps) -> std::optional<std::string> {
    auto step = findStep(steps, stepID);
    if (step == steps.end()) return std::nullopt;
    const auto from = step - steps.begin();
    const auto to = from + offset;
    if (to < 0 || to >= std::ssize(steps)) return std::nullopt;
    std::swap(steps[static_cast<std::size_t>(from)], steps[static_cast<std::size_t>(to)]);
    return "Moved the step to position " + std::to_string(to + 1) + ".";
  });
}

std::vector<LocationRouteRecent> ScenariosModel::routes() const {
  auto library = session_.environment().recentRoutes();
  return library ? library->recents() : std::vector<LocationRouteRecent>();
}

void ScenariosModel::check(std::function<void()> ready) {
  const auto* scenario = selected();
  if (scenario == nullptr) {
    const auto* entry = store_.find(selectedID_);
    return fail(entry != nullptr ? entry->message()
                                 : notFoundText());
  }
  ScenarioSelection selection;
  selection.simulator = rememberedSimulator();
  if (!bundleIdentifier.empty()) selection.bundleIdentifier = bundleIdentifier;
  auto& environment = session_.environment();
  checkPlan(
      [preflight = ScenarioPreflight(environment.simctl(), environment.recentRoutes()), scenario = *scenario,
       selection](const orvanta::stop_token& stop) {
        return PlanCheck{scenario.name, preflight.check(scenario, selection, stop)};
      },
      std::move(ready));
}

}  // namespace orvanta
