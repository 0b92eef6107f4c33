// orvanta privacy grant|revoke|reset SERVICE BUNDLE-ID, orvanta privacy services
//
// The services on offer are the ones the installed simctl lists in its usage text, read once per run.
// A change cannot be read back, so after one the command says so as a note, not as an error.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>

#include "cli/commands.hpp"
#include "app/environment.hpp"
#include "app/result_json.hpp"
#include "cli/target_resolution.hpp"
#include "tools/privacy/simulator_privacy_service.hpp"

namespace orvanta {
namespace {

using Json = nlohmann::json;
using ErrorCase = SimulatorPrivacyError::Case;

std::string stateNote() { return SimulatorPrivacyError(ErrorCase::privacyStateNotInspectable).description(); }

void showFallbackNotice(CommandContext& context, SimulatorPrivacyService& service) {
  if (auto notice = service.takeFallbackNotice()) context.err << "orvanta: " << *notice << '\n';
}

CommandFailure failureOf(CommandContext& context, const SimulatorPrivacyError& error,
                         const SimulatorTargetStatus& status) {
  if (error.kind == ErrorCase::operationCancelled) {
    return CommandFailure{CommandFailure::Kind::interrupted, std::string(error.caseName()), error.description(), {}, nullptr};
  }
  std::vector<std::string> hints;
  switch (error.kind) {
    case ErrorCase::simulatorNotSelected:
    case ErrorCase::simulatorNotBooted:
      hints.push_back(statusLine(status, context.environment.discovery().devices()));
      hints.push_back(error.kind == ErrorCase::simulatorNotBooted
                          ? "Boot it again, or choose another with 'orvanta target set NAME' or --device."
                          : "Choose one with 'orvanta target set NAME', or pass --device for one call.");
      break;
    case ErrorCase::simulatorBusy:
      if (status.device) {
        if (auto holder = context.environment.gate().otherProcessHolder(status.device->udid)) {
          hints.push_back(status.device->name + " is held by " + *holder + ".");
        }
      }
      break;
    case ErrorCase::appNotInstalled: hints.push_back("'orvanta apps' lists the installed apps."); break;
    case ErrorCase::unsupportedService: hints.push_back("'orvanta privacy services' lists the services on offer."); break;
    default: break;
  }
  return CommandFailure::failure(std::string(error.caseName()), error.description(), std::move(hints));
}

CommandOutcome changePrivacy(CommandContext& context, SimulatorPrivacyAction action, const std::string& serviceWord,
                             const std::string& bundleIdentifier) {
  auto status = currentTargetStatus(context);
  if (!status) return unexpected(status.error());
  SimulatorPrivacyService service(context.environment.simctl(), context.environment.gate());
  auto applied = service.apply({action, serviceWord, bundleIdentifier}, *status, context.stop);
  showFallbackNotice(context, service);
  if (!applied) return unexpected(failureOf(context, applied.error(), *status));

  const SimulatorDevice& device = *status->device;
  if (context.options.json) {
    context.emitJson(privacyChangeJson(action, serviceWord, bundleIdentifier, device.udid));
    return {};
  }
  const SimulatorPrivacyServiceList* offered = service.offeredServices(context.stop);
  const auto* option = offered ? offered->find(serviceWord) : nullptr;
  const std::string label = option ? option->label : serviceWord;
  context.out << pastTense(action) << ' ' << label << " for " << bundleIdentifier << " on " << device.name << ".\n"
              << "Note: " << stateNote() << '\n';
  return {};
}

CommandOutcome listServices(CommandContext& context) {
  SimulatorPrivacyService service(context.environment.simctl(), context.environment.gate());
  const SimulatorPrivacyServiceList* offered = service.offeredServices(context.stop);
  if (!offered) return unexpected(CommandFailure::interrupted());
  showFallbackNotice(context, service);
  if (context.options.json) {
    Json array = Json::array();
    for (const auto& option : offered->services) {
      Json object = {{"name", option.name}, {"label", option.label}};
      if (option.note) object["note"] = *option.note;
      array.push_back(std::move(object));
    }
    context.emitJson(array);
    return {};
  }
  std::size_t width = 0;
  for (const auto& option : offered->services) width = std::max(width, option.name.size());
  for (const auto& option : offered->services) {
    context.out << option.name << std::string(width - option.name.size() + 2, ' ') << option.label << '\n';
    if (option.note) context.out << std::string(width + 2, ' ') << *option.note << '\n';
  }
  return {};
}

}  // namespace

void registerPrivacyCommands(CLI::App& app, CommandRegistry& registry) {
  auto* privacy = app.add_subcommand("privacy", "Grant, revoke or reset an app's privacy permissions on the target");
  privacy->require_subcommand(1);
  privacy->footer(
      "SERVICE is a command word from 'orvanta privacy services' (photos, location-always, ..., or all).\n"
      "Some changes end the app if it is running. Changes are refused while another orvanta command changes\n"
      "the same simulator's apps. Granting or revoking all is refused (several services are levels of one\n"
      "permission); reset all instead.\n"
      "Examples:\n"
      "  orvanta privacy grant photos com.example.cafe\n"
      "  orvanta privacy reset all com.example.cafe");

  auto service = std::make_shared<std::string>();
  auto bundleIdentifier = std::make_shared<std::string>();
  for (auto action : allPrivacyActions) {
    const std::string word(commandWord(action));
    auto* command = privacy->add_subcommand(word, std::string(title(action)) + " one permission (or all, for reset)");
    command->add_option("SERVICE", *service, "The service's command word, e.g. photos")->required();
    command->add_option("BUNDLE-ID", *bundleIdentifier, "The app's bundle identifier, e.g. com.example.cafe")
        ->required();
    command->footer(
        "The app must be installed on the selected, booted target. The permission's state cannot be read back\n"
        "afterwards; the command says so in a note.\n"
        "--json: {action, service, bundleIdentifier, simulatorUDID, note}.");
    registry.on(command, [action, service, bundleIdentifier](CommandContext& context) {
      return changePrivacy(context, action, *service, *bundleIdentifier);
    });
  }

  auto* services = privacy->add_subcommand("services", "List the services this Xcode's simctl offers");
  services->footer(
      "Read from simctl's own usage text; services Orvanta does not know are listed with their word as label.\n"
      "No simulator needed.\n"
      "--json: an array of {name, label, note?}.");
  registry.on(services, [](CommandContext& context) { return listServices(context); });
}

}  // namespace orvanta
