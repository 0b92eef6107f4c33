#include "automation/scenario_plan.hpp"

#include "automation/scenario_library.hpp"

namespace orvanta {

using Case = ScenarioPreflightIssue::Case;

std::string ScenarioPreflightIssue::description() const {
  switch (kind) {
    case Case::unsupportedSchemaVersion: return unsupportedSchemaVersionText(schemaVersion);
    case Case::appNotInstalled: return bundleIdentifier + " is not installed on this simulator.";
    case Case::systemAppNotSupported: return "Reset App Data isn't supported for a system app.";
    case Case::invalidStatusBarOverride: return "Status bar override: " + reason;
    case Case::invalidLocation: return "That location isn't valid.";
    case Case::routeNotFound: return "That saved route no longer exists.";
    case Case::routeInvalid: return "That route can't run: " + reason;
    case Case::invalidRouteSpeed: return "That route's speed is out of range.";
    case Case::unsupportedPrivacyService:
      return serviceName + " isn't a privacy service this Xcode's simctl supports.";
    case Case::unsupportedPrivacyAction: return actionName + " isn't supported for " + serviceName + ".";
    case Case::invalidDeepLinkURL: return "Deep link: " + reason;
    case Case::invalidPushPayload: return "Push payload: " + reason;
    case Case::installSourceUnavailable: return "Couldn't find the app's installed build to use for Reset App Data.";
    case Case::noSteps: return "This scenario has no steps.";
    case Case::simulatorNotSelected: return "Choose a simulator.";
    case Case::simulatorNotFound: return "The selected simulator no longer exists.";
    case Case::simulatorNotBooted: return "The selected simulator is not booted.";
    case Case::appRequired: return "This scenario needs an app \xE2\x80\x94 choose one.";
  }
  return {};
}

std::string_view ScenarioPreflightIssue::caseName() const {
  static constexpr std::string_view names[] = {
      "unsupportedSchemaVersion", "appNotInstalled",      "systemAppNotSupported", "invalidStatusBarOverride",
      "invalidLocation",          "routeNotFound",        "routeInvalid",          "invalidRouteSpeed",
      "unsupportedPrivacyService", "unsupportedPrivacyAction", "invalidDeepLinkURL", "invalidPushPayload",
      "installSourceUnavailable", "noSteps",              "simulatorNotSelected",  "simulatorNotFound",
      "simulatorNotBooted",       "appRequired",
  };
  return names[static_cast<std::size_t>(kind)];
}

namespace {

constexpr std::string_view kUnconfirmable =
    " \xE2\x80\x94 Orvanta can only confirm the command was accepted, not what the app did with it. Cannot be un-sent.";
constexpr std::string_view kResettable =
    " \xE2\x80\x94 changes simulator state; resettable to a known default, not restored automatically.";
constexpr std::string_view kUnverifiable = " \xE2\x80\x94 no supported way to undo or verify completion.";
constexpr std::string_view kIrreversible = " \xE2\x80\x94 irreversible once the app is removed. No rollback.";

std::optional<std::string_view> destructiveSuffix(const ScenarioStepKind& kind) {
  using Step = ScenarioStepKind::Case;
  switch (kind.kind) {
    case Step::openDeepLink:
    case Step::sendPush: return kUnconfirmable;
    case Step::privacyAction: return kind.actionName == "reset" ? kResettable : kUnconfirmable;
    case Step::setStatusBarOverride:
    case Step::clearStatusBarOverrides:
    case Step::setLocation:
    case Step::clearLocation:
    case Step::terminateApp:
    case Step::launchApp:
    case Step::bootSimulator: return kResettable;
    case Step::runLocationRoute: return kUnverifiable;
    case Step::resetAppData: return kIrreversible;
    case Step::setAppearance:
    case Step::setIncreasedContrast:
    case Step::setContentSize: return std::nullopt;
  }
  return std::nullopt;
}

std::string joinLines(const std::vector<std::string>& lines) {
  std::string text;
  for (std::size_t index = 0; index < lines.size(); ++index) {
    if (index > 0) text += '\n';
    text += lines[index];
  }
  return text;
}

}  // namespace

ScenarioConfirmation makeScenarioConfirmation(const ScenarioExecutionPlan& plan) {
  ScenarioConfirmation confirmation;
  confirmation.title = "Run Scenario";
  const auto count = plan.steps.size();
  confirmation.confirmButtonTitle = "Run " + std::to_string(count) + (count == 1 ? " Step" : " Steps");
  confirmation.target = plan.app ? plan.app->displayName + " (" + plan.app->bundleIdentifier + ") on " + plan.simulatorName
                                 : plan.simulatorName;
  for (std::size_t index = 0; index < count; ++index) {
    const auto& step = plan.steps[index];
    const std::string line = std::to_string(index + 1) + ". " + step.kind.title();
    confirmation.stepLines.push_back(line);
    if (auto suffix = destructiveSuffix(step.kind)) confirmation.destructiveNotes.push_back(line + std::string(*suffix));
  }
  confirmation.note =
      "This is not a transaction: steps run in order, and a failure stops the ones after it. Nothing already applied "
      "is rolled back.";
  return confirmation;
}

std::string ScenarioConfirmation::sheet(const std::string& scenarioName) const {
  return title + ": " + scenarioName + "\n" + target + "\n\n" + text();
}

std::string ScenarioConfirmation::text() const {
  std::string body = "Steps:\n" + joinLines(stepLines);
  if (!destructiveNotes.empty()) body += "\n\nIrreversible or unverifiable:\n" + joinLines(destructiveNotes);
  body += "\n\n" + note;
  return body;
}

}  // namespace orvanta
