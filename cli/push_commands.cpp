// orvanta push send|validate|presets|history
//
// A payload comes from a file, from standard input ("-") or from a preset, and is validated before
// anything else happens. `push send` then needs a selected, booted target on which the app is installed
// (the target's app list decides), and only then writes the payload file and runs simctl. A notification
// that was delivered but could not be added to the history still succeeds: the failure is a warning on
// stderr and a "persistenceError" member in --json output.
#include <CLI/CLI.hpp>
#include <chrono>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>

#include "app/result_json.hpp"
#include "cli/commands.hpp"
#include "app/environment.hpp"
#include "cli/target_resolution.hpp"
#include "apps/simulator_app_service.hpp"
#include "support/atomic_file.hpp"
#include "support/reference_date.hpp"
#include "tools/push/push_history.hpp"
#include "tools/push/push_payload.hpp"
#include "tools/push/push_preset.hpp"
#include "tools/push/push_sender_service.hpp"

namespace orvanta {
namespace {

using Json = nlohmann::json;

CommandFailure failureOf(const PushError& error, std::vector<std::string> hints = {}) {
  return CommandFailure::failure(std::string(error.caseName()), error.description(), std::move(hints));
}

// The raw payload text of FILE, "-" (standard input) or a preset; exactly one of them must be given.
expected<std::string, CommandFailure> payloadText(CommandContext& context, const std::string& source,
                                                  const std::string& presetName, bool presetAllowed) {
  if (!presetName.empty()) {
    if (!source.empty()) {
      return unexpected(CommandFailure::usage("Give either a payload file or --preset, not both."));
    }
    auto preset = pushPresetFromCommandName(presetName);
    if (!preset) {
      return unexpected(CommandFailure::usage("Unknown preset \"" + presetName + "\".",
                                              {"The presets are basic-alert, badge and silent."}));
    }
    return std::string(payload(*preset));
  }
  if (source.empty()) {
    return unexpected(CommandFailure::usage(presetAllowed ? "Give a payload file, - to read standard input, or --preset NAME."
                                                          : "Give a payload file, or - to read standard input."));
  }
  // A payload over 4096 bytes is refused by validation anyway; reading stops soon after that.
  if (source == "-") return context.readInput(read_budget::payload);
  auto bytes = readFile(source, read_budget::payload);
  if (!bytes) return unexpected(CommandFailure::failure("readFailed", bytes.error().description()));
  if (!*bytes) return unexpected(CommandFailure::failure("readFailed", "There is no file at " + source + "."));
  return std::move(**bytes);
}

expected<std::string, CommandFailure> validPayload(CommandContext& context, const std::string& source,
                                                   const std::string& presetName, bool presetAllowed = true) {
  auto text = payloadText(context, source, presetName, presetAllowed);
  if (!text) return unexpected(text.error());
  auto valid = validatePushPayload(*text);
  if (!valid) return unexpected(failureOf(valid.error()));
  return std::move(*valid);
}

std::string dateText(std::chrono::system_clock::time_point date) { return formatUtc(date, UtcFormat::iso8601); }

// The payload on one line, its members in their own order, for listings.
std::string compactPayload(const std::string& payloadText) {
  auto value = nlohmann::ordered_json::parse(payloadText, nullptr, false);
  if (!value.is_discarded()) return value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
  std::string line = payloadText;
  for (char& c : line) {
    if (c == '\n' || c == '\r') c = ' ';
  }
  return line;
}

std::string indented(std::string_view text, std::string_view indent) {
  std::string out(indent);
  for (char c : text) {
    out += c;
    if (c == '\n') out += indent;
  }
  return out;
}

// The bundle identifier must name an app the target lists (hidden apps included).
CommandOutcome requireInstalled(CommandContext& context, const SimulatorDevice& device,
                                const std::string& bundleIdentifier) {
  if (bundleIdentifier.empty()) {
    return unexpected(failureOf(PushError::noApp(), {"Name the app: orvanta push send BUNDLE-ID ...; 'orvanta apps' lists them."}));
  }
  auto apps = listInstalledApps(context.environment.simctl(), device.udid, context.stop, true);
  if (!apps) {
    if (context.stop.stop_requested()) return unexpected(CommandFailure::interrupted());
    return unexpected(CommandFailure::failure(std::string(apps.error().caseName()), apps.error().description()));
  }
  for (const auto& app : *apps) {
    if (app.bundleIdentifier == bundleIdentifier) return {};
  }
  return unexpected(failureOf(PushError::noApp(), {bundleIdentifier + " is not installed on " + device.name +
                                                   ". 'orvanta apps' lists the installed apps."}));
}

CommandOutcome sendPush(CommandContext& context, const std::string& bundleIdentifier, const std::string& source,
                        const std::string& presetName) {
  auto payloadBytes = validPayload(context, source, presetName);
  if (!payloadBytes) return unexpected(payloadBytes.error());
  const std::string noSimulator = PushError::noSimulator().description();
  auto device = requireSelectedTarget(context, {"noSimulator", noSimulator, "noSimulator", noSimulator});
  if (!device) return unexpected(device.error());
  if (auto installed = requireInstalled(context, *device, bundleIdentifier); !installed) return installed;

  PushSenderService service(context.environment.simctl());
  if (auto sent = service.send(*payloadBytes, bundleIdentifier, device->udid, context.stop); !sent) {
    if (context.stop.stop_requested()) return unexpected(CommandFailure::interrupted());
    return unexpected(failureOf(sent.error()));
  }
  const auto entry = PushHistoryEntry::make(*payloadBytes, bundleIdentifier, device->name,
                                            std::chrono::system_clock::now());
  auto recorded = PushHistoryStore(context.environment.settings()).record(entry);
  if (context.options.json) {
    context.emitJson(pushSentJson(bundleIdentifier, device->udid, *payloadBytes,
                                  recorded ? std::nullopt : std::optional(recorded.error())));
  } else {
    context.out << "Notification sent to " << bundleIdentifier << " on " << device->name << ".\n";
  }
  if (!recorded) {
    context.err << "orvanta: " << recorded.error().description() << "\n"
                << "The notification was sent; only the push history was not saved.\n";
  }
  return {};
}

CommandOutcome validatePush(CommandContext& context, const std::string& source) {
  auto payloadBytes = validPayload(context, source, {}, false);
  if (!payloadBytes) return unexpected(payloadBytes.error());
  if (context.options.json) {
    context.emitJson({{"payload", *payloadBytes}, {"byteCount", payloadBytes->size()}});
  } else {
    context.out << "Valid payload (" << payloadBytes->size() << " of " << maximumPushPayloadBytes << " bytes).\n";
  }
  return {};
}

CommandOutcome listPresets(CommandContext& context) {
  if (context.options.json) {
    Json array = Json::array();
    for (PushPreset preset : allPushPresets) {
      array.push_back({{"name", std::string(commandName(preset))},
                       {"title", std::string(title(preset))},
                       {"payload", std::string(payload(preset))}});
    }
    context.emitJson(array);
    return {};
  }
  bool first = true;
  for (PushPreset preset : allPushPresets) {
    if (!first) context.out << '\n';
    first = false;
    context.out << commandName(preset) << "  " << title(preset) << '\n' << indented(payload(preset), "  ") << '\n';
  }
  return {};
}

CommandOutcome showHistory(CommandContext& context) {
  const auto entries = PushHistoryStore(context.environment.settings()).load();
  if (context.options.json) {
    Json array = Json::array();
    for (const auto& entry : entries) {
      Json object = PushHistoryCodec::encode(entry);
      object["sentAt"] = jsonDate(entry.sentAt);
      array.push_back(std::move(object));
    }
    context.emitJson(array);
    return {};
  }
  if (entries.empty()) {
    context.out << "No notifications sent yet.\n";
    return {};
  }
  for (const auto& entry : entries) {
    context.out << dateText(entry.sentAt) << "  " << entry.bundleIdentifier << "  " << entry.simulatorName << '\n'
                << "  " << compactPayload(entry.payload) << '\n';
  }
  return {};
}

}  // namespace

void registerPushCommands(CLI::App& app, CommandRegistry& registry) {
  auto* push = app.add_subcommand("push", "Send simulated push notifications to an app on the target simulator");
  push->require_subcommand(1);
  push->footer(
      "A payload is a JSON object with an \"aps\" object, at most 4096 bytes once white space at both ends is\n"
      "trimmed. Examples:\n"
      "  orvanta push send com.example.cafe --preset badge\n"
      "  orvanta push send com.example.cafe alert.json\n"
      "  echo '{\"aps\":{\"alert\":\"Hi\"}}' | orvanta push send com.example.cafe -\n"
      "  orvanta push validate alert.json");

  auto bundleIdentifier = std::make_shared<std::string>();
  auto source = std::make_shared<std::string>();
  auto preset = std::make_shared<std::string>();

  auto* send = push->add_subcommand("send", "Validate a payload, then deliver it to an installed app");
  send->add_option("BUNDLE-ID", *bundleIdentifier, "The app's bundle identifier (see 'orvanta apps')")->required();
  send->add_option("FILE", *source, "The payload file, or - to read standard input");
  send->add_option("--preset", *preset, "A built-in payload instead of a file: basic-alert, badge or silent")
      ->option_text("NAME");
  send->footer(
      "The target must be selected and booted, and the app installed on it; the payload is written to a\n"
      "private temporary folder that is removed when the command ends. Sent payloads are kept in the\n"
      "history (25, newest first; sending one again to the same app moves it to the front).\n"
      "Refusals: \"Select a booted simulator.\", \"Select an installed app for this simulator. Refresh apps if\n"
      "needed.\", the payload's sentence (invalidPayload), \"Could not send notification: <reason>\" (sendFailed).\n"
      "--json: {bundleIdentifier, simulatorUDID, payload, persistenceError?: {kind, message}}.");
  registry.on(send, [bundleIdentifier, source, preset](CommandContext& context) {
    return sendPush(context, *bundleIdentifier, *source, *preset);
  });

  auto* validate = push->add_subcommand("validate", "Check a payload without sending it (no simulator needed)");
  validate->add_option("FILE", *source, "The payload file, or - to read standard input");
  validate->footer(
      "Checks, in order: not empty, at most 4096 bytes, JSON, an object with an \"aps\" object. An invalid\n"
      "payload exits 1 with its sentence, e.g. \"Payload exceeds the 4,096-byte limit (5000 bytes).\".\n"
      "--json: {payload (trimmed, as it would be sent), byteCount}.");
  registry.on(validate, [source](CommandContext& context) { return validatePush(context, *source); });

  auto* presets = push->add_subcommand("presets", "List the built-in payloads");
  presets->footer("--json: an array of {name, title, payload}.");
  registry.on(presets, [](CommandContext& context) { return listPresets(context); });

  auto* history = push->add_subcommand("history", "List the payloads sent, newest first");
  history->footer("--json: an array of {id, payload, bundleIdentifier, simulatorName, sentAt (ISO 8601, UTC)}.");
  registry.on(history, [](CommandContext& context) { return showHistory(context); });
}

}  // namespace orvanta
