#include "cli/cli.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>

#include "cli/command.hpp"
#include "cli/commands.hpp"
#include "app/environment.hpp"
#include "orvanta_config.hpp"
#include "support/terminal_text.hpp"

namespace orvanta {
namespace {

constexpr const char* kFooter = R"(Exit status: 0 done, 1 failed or refused, 2 usage error, 130 interrupted.
Errors are printed on stderr; with --json, stdout holds {"error": {"kind": ..., "message": ...}}.
Run 'orvanta COMMAND --help' for a command's options.)";

// Writes the failure on stderr and, with --json, the one document on stdout: the result the command had
// (`result`, when it got that far) with "error" among its members, or one more compact line for NDJSON.
void report(const CommandFailure& failure, const GlobalOptions& options, CommandLineStreams& streams,
            const nlohmann::json* result = nullptr, bool jsonLines = false) {
  streams.err << "orvanta: " << failure.message << '\n';
  for (const auto& hint : failure.hints) streams.err << hint << '\n';
  if (!options.json) return;
  nlohmann::json document = nlohmann::json::object();
  if (result != nullptr && result->is_object()) {
    document = *result;
  } else if (result != nullptr) {
    document["items"] = *result;
  }
  if (failure.details && failure.details->is_object()) {
    for (const auto& [key, value] : failure.details->items()) document[key] = value;
  }
  document["error"] = errorJson(failure);
  streams.out << (jsonLines ? document.dump() : document.dump(2)) << '\n';
}

// The words of the command line that are not options (nor the values of the global options).
std::vector<std::string> plainWords(const std::vector<std::string>& arguments) {
  std::vector<std::string> words;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string_view word = arguments[i];
    if (word == "--") break;
    if (word == "-d" || word == "--device" || word == "--xcrun") {
      ++i;  // the option's value
      continue;
    }
    if (!word.starts_with("-")) words.emplace_back(word);
  }
  return words;
}

// Edits between two short words (insertions, deletions, substitutions).
std::size_t editDistance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t above = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
      diagonal = above;
    }
  }
  return row[b.size()];
}

struct UnknownCommand {
  std::string word;
  std::string parent;                     // "orvanta target"
  std::optional<std::string> suggestion;  // the nearest command of that level
};

// The first word that should have named a (sub)command but names none, with the nearest one.
std::optional<UnknownCommand> unknownCommand(CLI::App& app, const std::vector<std::string>& words) {
  CLI::App* level = &app;
  std::string parent = "orvanta";
  for (const auto& word : plainWords(words)) {
    const auto commands = level->get_subcommands({});
    if (commands.empty()) return std::nullopt;  // the rest are the command's own arguments
    CLI::App* next = nullptr;
    for (auto* command : commands) {
      if (command->get_name() == word) next = command;
    }
    if (next == nullptr) {
      UnknownCommand unknown{word, parent, std::nullopt};
      std::size_t best = 3;
      for (const auto* command : commands) {
        const auto distance = editDistance(word, command->get_name());
        if (distance < best) {
          best = distance;
          unknown.suggestion = command->get_name();
        }
      }
      // A command that also runs by itself ("orvanta target" prints the status) takes arguments of its own:
      // only a near miss of one of its subcommands is an unknown command there.
      if (level != &app && level->get_require_subcommand_min() == 0 && !unknown.suggestion) return std::nullopt;
      return unknown;
    }
    level = next;
    parent += " " + word;
  }
  return std::nullopt;
}

}  // namespace

int runCommandLine(int argc, const char* const* argv, CommandLineStreams streams, orvanta::stop_token stop,
                   const FrontEnds& frontEnds) {
  const std::string version = std::string("orvanta ") + ORVANTA_VERSION;
  // The version alone needs no parser (whose answer to --version is an exception, the slowest part of it).
  if (argc == 2 && std::string_view(argv[1]) == "--version") {
    streams.out << version << '\n';
    return 0;
  }
  GlobalOptions options;
  CLI::App app("Orvanta drives simulated iOS devices through xcrun simctl.", "orvanta");
  app.footer(kFooter);
  app.set_version_flag("--version", version);
  app.require_subcommand(1);
  // Global options are accepted after the command too.
  app.fallthrough();
  app.add_option("-d,--device", options.device, "Act on this simulator (udid or exact name) for this call")
      ->option_text("UDID-OR-NAME");
  app.add_flag("--json", options.json, "Write one JSON document on stdout instead of text");
  app.add_option("--xcrun", options.xcrun, "The xcrun executable (default: $ORVANTA_XCRUN or /usr/bin/xcrun)")
      ->option_text("PATH");
  app.add_flag("-y,--yes", options.yes, "Answer yes to confirmations");

  // "orvanta help [COMMAND...]" is "orvanta [COMMAND...] --help"; a bare "orvanta" lists the commands.
  std::vector<std::string> words(argv + 1, argv + argc);
  if (!words.empty() && words.front() == "help") {
    words.erase(words.begin());
    words.emplace_back("--help");
  }
  const auto has = [&](std::string_view word) { return std::find(words.begin(), words.end(), word) != words.end(); };
  const auto commandWords = plainWords(words);

  CommandRegistry registry;
  if (!(commandWords.empty() && has("--version"))) {
    registerCommands(app, registry, commandWords.empty() ? std::string_view() : std::string_view(commandWords.front()));
  }
  CLI::App* mcp = nullptr;
  if (frontEnds.mcp) {
    mcp = app.add_subcommand("mcp", "Serve the Model Context Protocol on standard input and output");
    mcp->footer(
        "For coding agents: newline-delimited JSON-RPC on stdin and stdout, diagnostics on stderr; it ends when\n"
        "stdin closes. Every tool acts on --device's simulator or the remembered target, as the commands do.\n"
        "Agent configuration: {\"command\": \"orvanta\", \"args\": [\"mcp\"]}");
  }
  if (commandWords.empty() && !has("--help") && !has("-h") && !has("--version")) {
    streams.out << app.help();
    return 0;
  }
  std::vector<std::string> arguments(words.rbegin(), words.rend());
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
    std::vector<std::string> hints;
    if (auto unknown = unknownCommand(app, words)) {
      message = "Unknown command \"" + unknown->word + "\".";
      if (unknown->suggestion) hints.push_back("Did you mean '" + unknown->parent + " " + *unknown->suggestion + "'?");
      helpCommand = unknown->parent;
    } else if (dynamic_cast<const CLI::RequiredError*>(&error) && app.get_subcommands().empty()) {
      message = "A command is required.";
    } else if (dynamic_cast<const CLI::ExtrasError*>(&error)) {
      // The parser saw the words in reverse; name them in the order they were typed.
      std::vector<std::string> extras = app.remaining();
      for (auto* current = &app; !current->get_subcommands().empty();) {
        current = current->get_subcommands().front();
        const auto more = current->remaining();
        extras.insert(extras.end(), more.begin(), more.end());
      }
      std::string listed;
      for (const auto& word : words) {
        if (std::find(extras.begin(), extras.end(), word) == extras.end()) continue;
        listed += (listed.empty() ? "" : " ") + word;
      }
      if (!listed.empty()) message = "Unexpected arguments: " + listed + ".";
    }
    hints.push_back("Run '" + helpCommand + " --help' for usage.");
    auto failure = CommandFailure::usage(message, std::move(hints));
    report(failure, options, streams);
    return exitStatusFor(unexpected(failure));
  }

  if (frontEnds.beforeRunning) frontEnds.beforeRunning();
  // The server owns standard input and output from here on.
  if (mcp != nullptr && mcp->parsed()) return frontEnds.mcp(options.xcrun, stop);

  // Terminals see outside text with its control characters escaped; pipes and files get it as it is.
  std::optional<TerminalSafeBuffer> safeOut;
  std::optional<TerminalSafeBuffer> safeErr;
  std::streambuf* originalOut = streams.out.rdbuf();
  std::streambuf* originalErr = streams.err.rdbuf();
  if (streams.stdoutIsTerminal && !options.json) streams.out.rdbuf(&safeOut.emplace(originalOut));
  if (streams.stderrIsTerminal) streams.err.rdbuf(&safeErr.emplace(originalErr));
  struct Restore {
    CommandLineStreams& streams;
    std::streambuf* out;
    std::streambuf* err;
    ~Restore() {
      streams.out.flush();
      streams.err.flush();
      streams.out.rdbuf(out);
      streams.err.rdbuf(err);
    }
  } restore{streams, originalOut, originalErr};

  Environment environment(options.xcrun);
  // Output that must pass the terminal's escaping is written through the stream, never to the descriptor.
  CommandContext context{options,     stop, streams.out, streams.err, environment, streams.stdinIsTerminal,
                         streams.inputFd, safeOut ? -1 : streams.outFd};
  CommandOutcome outcome;
  if (const auto action = registry.selected(app)) {
    try {
      outcome = action(context);
    } catch (const std::exception& error) {
      outcome = unexpected(CommandFailure::failure("internal", std::string("Internal error: ") + error.what()));
    }
  }
  // A failure is reported as it is, even after Ctrl-C (an export that could not be written after the
  // stream it exports was stopped is a failure, not a cancellation); only a cancellation exits 130.
  if (!outcome && outcome.error().caseName == "cancelled") outcome.error().kind = CommandFailure::Kind::interrupted;
  // A tool refused by the gate says the simulator is busy; when the gate could not work at all, say that.
  if (auto problem = environment.gateProblem(); !outcome && problem) {
    outcome = unexpected(CommandFailure::failure(
        "gateUnavailable", problem->description(),
        {"Changes to a simulator are refused until orvanta can lock it against other processes.",
         "Remove or fix that folder, or set XDG_RUNTIME_DIR to a private folder."}));
  }
  if (auto notice = environment.takeSettingsNotice()) streams.err << "orvanta: " << *notice << '\n';
  if (!outcome) {
    report(outcome.error(), options, streams, context.pendingJson().get(), context.jsonLines());
  } else if (options.json && context.pendingJson()) {
    streams.out << context.pendingJson()->dump(2) << '\n';
  }
  streams.out.flush();
  return exitStatusFor(outcome);
}

}  // namespace orvanta
