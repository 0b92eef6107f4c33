#include "app/cli.hpp"

#include <CLI/CLI.hpp>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>

#include "app/command.hpp"
#include "app/commands.hpp"
#include "app/environment.hpp"
#include "orvanta_config.hpp"

namespace orvanta {
namespace {

constexpr const char* kFooter = R"(Exit status: 0 done, 1 failed or refused, 2 usage error, 130 interrupted.
Errors are printed on stderr; with --json, stdout holds {"error": {"kind": ..., "message": ...}}.
Run 'orvanta COMMAND --help' for a command's options.)";

void report(const CommandFailure& failure, const GlobalOptions& options, CommandLineStreams& streams) {
  streams.err << "orvanta: " << failure.message << '\n';
  for (const auto& hint : failure.hints) streams.err << hint << '\n';
  if (options.json) {
    nlohmann::json document = failure.details ? *failure.details : nlohmann::json::object();
    document["error"] = {{"kind", failure.caseName}, {"message", failure.message}};
    streams.out << document.dump(2) << '\n';
  }
}

// The first word that should have been a command but is none, if any.
std::optional<std::string> unknownCommand(CLI::App& app, int argc, const char* const* argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view word = argv[i];
    if (word == "-d" || word == "--device" || word == "--xcrun") {
      ++i;  // the option's value
      continue;
    }
    if (word.starts_with("-")) continue;
    for (const auto* command : app.get_subcommands({})) {
      if (command->get_name() == word) return std::nullopt;
    }
    return std::string(word);
  }
  return std::nullopt;
}

}  // namespace

int runCommandLine(int argc, const char* const* argv, CommandLineStreams streams, orvanta::stop_token stop) {
  GlobalOptions options;
  CLI::App app("Orvanta drives simulated iOS devices through xcrun simctl.", "orvanta");
  app.footer(kFooter);
  app.set_version_flag("--version", std::string("orvanta ") + ORVANTA_VERSION);
  app.require_subcommand(1);
  // Global options are accepted after the command too.
  app.fallthrough();
  app.add_option("-d,--device", options.device, "Act on this simulator (udid or exact name) for this call")
      ->option_text("UDID-OR-NAME");
  app.add_flag("--json", options.json, "Write one JSON document on stdout instead of text");
  app.add_option("--xcrun", options.xcrun, "The xcrun executable (default: $ORVANTA_XCRUN or /usr/bin/xcrun)")
      ->option_text("PATH");
  app.add_flag("-y,--yes", options.yes, "Answer yes to confirmations");

  CommandRegistry registry;
  registerCommands(app, registry);

  std::vector<std::string> arguments;
  for (int i = argc - 1; i > 0; --i) arguments.emplace_back(argv[i]);
  try {
    app.parse(arguments);
  } catch (const CLI::CallForHelp&) {
    streams.out << app.help();
    return 0;
  } catch (const CLI::CallForAllHelp&) {
    streams.out << app.help("", CLI::AppFormatMode::All);
    return 0;
  } catch (const CLI::CallForVersion&) {
    streams.out << app.version() << '\n';
    return 0;
  } catch (const CLI::ParseError& error) {
    // Name the command whose help would have helped: "orvanta ui appearance --help".
    std::string helpCommand = "orvanta";
    for (CLI::App* current = &app; !current->get_subcommands().empty();) {
      current = current->get_subcommands().front();
      helpCommand += " " + current->get_name();
    }
    std::string message = error.what();
    if (auto unknown = unknownCommand(app, argc, argv)) {
      message = "Unknown command \"" + *unknown + "\".";
    } else if (dynamic_cast<const CLI::RequiredError*>(&error) && app.get_subcommands().empty()) {
      message = "A command is required.";
    }
    auto failure = CommandFailure::usage(message, {"Run '" + helpCommand + " --help' for usage."});
    report(failure, options, streams);
    return exitStatusFor(unexpected(failure));
  }

  Environment environment(options);
  CommandContext context{options,     stop, streams.out, streams.err, environment, streams.stdinIsTerminal,
                         &streams.in, streams.outFd};
  CommandOutcome outcome;
  if (const auto action = registry.selected(app)) {
    try {
      outcome = action(context);
    } catch (const std::exception& error) {
      outcome = unexpected(CommandFailure::failure("internal", std::string("Internal error: ") + error.what()));
    }
  }
  // A command that reported its own interruption keeps its sentence ("Cancelled.").
  if (!outcome && stop.stop_requested() && outcome.error().kind != CommandFailure::Kind::interrupted &&
      !outcome.error().outlastsStop) {
    outcome = unexpected(CommandFailure::interrupted());
  }
  if (auto notice = environment.takeSettingsNotice()) streams.err << "orvanta: " << *notice << '\n';
  if (!outcome) report(outcome.error(), options, streams);
  streams.out.flush();
  return exitStatusFor(outcome);
}

}  // namespace orvanta
