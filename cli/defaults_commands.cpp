// orvanta defaults BUNDLE-ID [KEY], orvanta defaults write|delete
//
// The app's preferences as the simulator's preferences daemon has them, typed; every change is read back.
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <ostream>

#include "cli/app_data_session.hpp"
#include "cli/commands.hpp"
#include "app/environment.hpp"
#include "tools/app_data/structured_document.hpp"
#include "tools/app_data/user_defaults_service.hpp"

namespace orvanta {
namespace {

using Json = nlohmann::json;

// The simulator's preferences daemon answers within seconds; a call that hangs is ended.
constexpr double defaultsTimeoutSeconds = 20.0;

struct DefaultsArguments {
  std::string bundleIdentifier;
  std::string key;
  std::string value;
  std::string type;
  std::optional<std::string> group;
};

UserDefaultsService service(CommandContext& context) {
  return UserDefaultsService(simctlWithTimeout(context, defaultsTimeoutSeconds), context.environment.gate());
}

CommandOutcome readDefaults(CommandContext& context, const DefaultsArguments& arguments) {
  if (arguments.bundleIdentifier.empty()) {
    return unexpected(CommandFailure::usage("Name the app: orvanta defaults BUNDLE-ID [KEY]."));
  }
  AppDataSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  auto reading = service(context).read(session.udid(), arguments.bundleIdentifier, arguments.group, context.stop);
  if (!reading) return unexpected(session.failure(reading.error()));
  std::vector<std::pair<std::string, Json>> values;
  for (const auto& [key, value] : reading->values.entries()) {
    if (arguments.key.empty() || key == arguments.key) values.emplace_back(key, typedValue(value));
  }
  if (!arguments.key.empty() && values.empty()) {
    return unexpected(session.failure(AppDataError::named(AppDataError::Case::keyNotFound, escapedForTerminal(arguments.key))));
  }
  if (context.options.json) {
    context.emitJson(defaultsJson(reading->domain, values));
    return {};
  }
  if (values.empty()) context.out << "No preferences are set.\n";
  for (const auto& [key, value] : values) {
    for (const auto& line : describeTypedValue(value, escapedForTerminal(key))) context.out << line << '\n';
  }
  return {};
}

CommandOutcome writeDefaults(CommandContext& context, const DefaultsArguments& arguments) {
  const auto type = userDefaultsTypeFromRawValue(arguments.type);
  if (!type) return unexpected(CommandFailure::usage("--type must be string, int, float, bool, date or data."));
  auto value = parseUserDefaultsValue(*type, arguments.value);
  if (!value) return unexpected(CommandFailure::failure(std::string(value.error().caseName()), value.error().description()));
  AppDataSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  auto editor = service(context);
  auto changed = editor.write(session.udid(), arguments.bundleIdentifier, arguments.group, arguments.key, *value, context.stop);
  if (!changed) return unexpected(session.failure(changed.error()));
  const Json typed = typedValue(changed->readBack.value_or(value->value));
  if (context.options.json) {
    context.emitJson(defaultsWrittenJson(changed->domain, arguments.key, typed, changed->terminatedApp));
    return {};
  }
  if (changed->terminatedApp) context.out << "Terminated " << arguments.bundleIdentifier << " first.\n";
  context.out << "Wrote " << describeTypedValue(typed, escapedForTerminal(arguments.key)).front() << " (confirmed).\n";
  return {};
}

CommandOutcome deleteDefaults(CommandContext& context, const DefaultsArguments& arguments) {
  AppDataSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  auto editor = service(context);
  auto changed = editor.remove(session.udid(), arguments.bundleIdentifier, arguments.group, arguments.key, context.stop);
  if (!changed) return unexpected(session.failure(changed.error()));
  if (context.options.json) {
    context.emitJson({{"domain", jsonText(changed->domain)},
                      {"key", jsonText(arguments.key)},
                      {"deleted", true},
                      {"terminatedApp", changed->terminatedApp},
                      {"confirmed", true}});
    return {};
  }
  if (changed->terminatedApp) context.out << "Terminated " << arguments.bundleIdentifier << " first.\n";
  context.out << "Deleted " << escapedForTerminal(arguments.key) << " (confirmed).\n";
  return {};
}

}  // namespace

void registerDefaultsCommands(CLI::App& app, CommandRegistry& registry) {
  auto arguments = std::make_shared<DefaultsArguments>();
  auto* defaults = app.add_subcommand("defaults", "Read, write and delete an app's preferences (user defaults)");
  defaults->add_option("BUNDLE-ID", arguments->bundleIdentifier, "The app's bundle identifier");
  defaults->add_option("KEY", arguments->key, "Only this key");
  defaults->add_option("--group", arguments->group, "The app group's preferences instead of the app's own");
  defaults->footer(
      "The preferences are read and written through the simulator's preferences daemon (defaults), in the\n"
      "app's own container. A write or delete terminates the app first when it runs (it would write its own\n"
      "copy back), then reads the preferences back: a change the simulator did not keep is a failure.\n"
      "Examples:\n"
      "  orvanta defaults com.example.cafe\n"
      "  orvanta defaults write com.example.cafe onboardingDone true --type bool\n"
      "  orvanta defaults delete com.example.cafe lastSync --group group.com.example.cafe\n"
      "--json: {domain, values: {KEY: {type, value}}}; dates as RFC 3339 UTC, data as base64.");
  registry.on(defaults, [arguments](CommandContext& context) { return readDefaults(context, *arguments); });

  auto* write = defaults->add_subcommand("write", "Write one key with a type, and read it back");
  write->add_option("BUNDLE-ID", arguments->bundleIdentifier, "The app's bundle identifier")->required();
  write->add_option("KEY", arguments->key, "The key")->required();
  write->add_option("VALUE", arguments->value, "The value")->required();
  write->add_option("--type", arguments->type, "string, int, float, bool, date or data")->required();
  write->add_option("--group", arguments->group, "The app group's preferences instead of the app's own");
  write->footer("bool: true/false, yes/no or 1/0; float: plain decimal; date: 2026-11-24T08:31:13Z (UTC);\n"
                "data: hex digits.\n"
                "--json: {domain, key, value: {type, value}, terminatedApp, confirmed}.");
  registry.on(write, [arguments](CommandContext& context) { return writeDefaults(context, *arguments); });

  auto* remove = defaults->add_subcommand("delete", "Delete one key, and read back that it is gone");
  remove->add_option("BUNDLE-ID", arguments->bundleIdentifier, "The app's bundle identifier")->required();
  remove->add_option("KEY", arguments->key, "The key")->required();
  remove->add_option("--group", arguments->group, "The app group's preferences instead of the app's own");
  remove->footer("--json: {domain, key, deleted, terminatedApp, confirmed}.");
  registry.on(remove, [arguments](CommandContext& context) { return deleteDefaults(context, *arguments); });
}

}  // namespace orvanta
