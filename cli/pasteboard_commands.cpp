// orvanta pasteboard show|set|sync: the target simulator's clipboard, through simctl pbpaste, pbcopy and
// pbsync. A write is read back before it counts, and retried once through this computer's clipboard when
// the simulator did not take it.
#include <CLI/CLI.hpp>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>

#include "support/atomic_file.hpp"
#include "cli/commands.hpp"
#include "app/environment.hpp"
#include "cli/target_resolution.hpp"
#include "support/utf8.hpp"
#include "tools/quickinput/simulator_pasteboard_service.hpp"

namespace orvanta {
namespace {

using Json = nlohmann::json;

CommandFailure failureOf(CommandContext& context, const SimulatorPasteboardError& error) {
  if (context.stop.stop_requested()) return CommandFailure::interrupted();
  std::vector<std::string> hints;
  if (auto problem = error.retryProblem(); !problem.empty()) hints.push_back(std::move(problem));
  return CommandFailure::failure(std::string(error.caseName()), error.description(), std::move(hints));
}

CommandOutcome show(CommandContext& context) {
  auto device = requireSelectedTarget(context);
  if (!device) return unexpected(device.error());
  auto text = context.environment.simulatorPasteboard().readText(device->udid, context.stop);
  if (!text) return unexpected(failureOf(context, text.error()));
  if (context.options.json) {
    if (!isValidUtf8(*text)) {
      return unexpected(CommandFailure::failure("invalidText", "The clipboard holds text that is not valid UTF-8."));
    }
    context.emitJson({{"simulatorUDID", device->udid}, {"stdout", *text}});
  } else {
    context.out << *text;
    context.out.flush();
  }
  return {};
}

CommandOutcome set(CommandContext& context, const std::string& argument) {
  std::string text = argument;
  if (argument == "-") {
    auto input = context.readInput(read_budget::payload);
    if (!input) return unexpected(input.error());
    text = std::move(*input);
  }
  auto device = requireSelectedTarget(context);
  if (!device) return unexpected(device.error());
  auto written = context.environment.simulatorPasteboard().writeText(text, device->udid, context.stop);
  if (!written) return unexpected(failureOf(context, written.error()));
  if (context.options.json) {
    context.emitJson({{"simulatorUDID", device->udid}, {"viaHostPasteboard", written->viaHostPasteboard}});
  } else {
    context.out << "Set " << device->name << "'s clipboard";
    if (written->viaHostPasteboard) context.out << " (through this computer's clipboard)";
    context.out << ".\n";
  }
  return {};
}

CommandOutcome sync(CommandContext& context) {
  auto device = requireSelectedTarget(context);
  if (!device) return unexpected(device.error());
  auto synced = context.environment.simulatorPasteboard().syncFromHost(device->udid, context.stop);
  if (!synced) return unexpected(failureOf(context, synced.error()));
  if (context.options.json) {
    context.emitJson({{"simulatorUDID", device->udid}});
  } else {
    context.out << "Copied this computer's clipboard to " << device->name << ".\n";
  }
  return {};
}

}  // namespace

void registerPasteboardCommands(CLI::App& app, CommandRegistry& registry) {
  auto* pasteboard = app.add_subcommand("pasteboard", "The target simulator's clipboard: show, set, sync");
  pasteboard->require_subcommand(1);

  auto* showCommand = pasteboard->add_subcommand("show", "Print the simulator's clipboard text (simctl pbpaste)");
  showCommand->footer(
      "The text is printed exactly as the simulator holds it, with no newline added.\n"
      "--json: {simulatorUDID, stdout}.");
  registry.on(showCommand, show);

  auto text = std::make_shared<std::string>();
  auto* setCommand = pasteboard->add_subcommand("set", "Put text on the simulator's clipboard and read it back");
  setCommand->add_option("TEXT", *text, "The text, or - to read it from standard input (as is)")->required();
  setCommand->footer(
      "The text is sent as UTF-8 with simctl pbcopy and read back with pbpaste. When the simulator did not\n"
      "take it, the text goes once through this computer's clipboard (pbsync host), and is taken off this\n"
      "computer's clipboard again unless something else was copied there meanwhile.\n"
      "Arguments are visible to other users of this computer: pass secrets with - on standard input.\n"
      "--json: {simulatorUDID, viaHostPasteboard}.");
  registry.on(setCommand, [text](CommandContext& context) { return set(context, *text); });

  auto* syncCommand =
      pasteboard->add_subcommand("sync", "Copy this computer's clipboard to the simulator (pbsync host)");
  syncCommand->footer("--json: {simulatorUDID}.");
  registry.on(syncCommand, sync);
}

}  // namespace orvanta
