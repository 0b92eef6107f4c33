// orvanta logs [--level L,...] [--search TEXT] [--app BUNDLE-ID] [--export FILE] [--copy] [--duration SECONDS]
//
// Streams the target simulator's unified log until Ctrl-C (or SIGTERM, SIGHUP) or the duration (exit 0),
// or until the log stream ends by itself (exit 1, after printing what it had delivered). Entries are
// printed by a thread of their own, so a slow reader of our output never holds the stream up: what it
// cannot keep up with is dropped (the newest entries are kept) and counted on stderr at the end.
#include <CLI/CLI.hpp>

#include <deque>
#include <memory>
#include <ostream>
#include <sstream>

#include "cli/commands.hpp"
#include "app/environment.hpp"
#include "cli/target_resolution.hpp"
#include "apps/simulator_app_service.hpp"
#include "capture/console/console_logs.hpp"
#include "capture/console/console_printer.hpp"
#include "capture/console/simulator_log_stream_service.hpp"
#include "support/number_text.hpp"

namespace orvanta {
namespace {

struct LogsOptions {
  std::string levels;
  std::string search;
  std::string app;
  std::string exportFile;
  bool copy = false;
  std::optional<double> duration;
};

// Entries waiting for the next delivery are bounded by this many bytes; beyond it the log stream waits
// until the main thread has taken them (a full buffer asks for that at once, not at the next tick). Up to
// three such loads are alive at a time (filling, being filtered, being printed), so this sets the peak.
constexpr std::size_t kPendingByteLimit = 4u << 20;

CommandFailure failureOf(const ConsoleError& error) {
  std::vector<std::string> hints;
  if (!error.message.empty()) hints.push_back(error.message);
  if (error.kind == ConsoleError::Case::processExited) {
    hints.push_back("The log tool ended with status " + std::to_string(error.status) + ".");
  }
  return CommandFailure::failure(std::string(error.caseName()), error.description(), std::move(hints));
}

expected<std::set<SimulatorLogLevel>, CommandFailure> parseLevels(const std::string& text) {
  std::set<SimulatorLogLevel> levels;
  std::stringstream stream(text);
  std::string item;
  while (std::getline(stream, item, ',')) {
    auto level = simulatorLogLevelFromRawValue(item);
    if (!level) {
      return unexpected(CommandFailure::usage("Unknown level \"" + item +
                                              "\": use debug, info, notice, error or fault, separated by commas."));
    }
    levels.insert(*level);
  }
  if (levels.empty()) return unexpected(CommandFailure::usage("Name at least one level after --level."));
  return levels;
}

CommandOutcome logs(CommandContext& context, const LogsOptions& options) {
  if (options.duration && !(*options.duration > 0)) {
    return unexpected(CommandFailure::usage("The duration must be a number of seconds greater than 0."));
  }
  ConsoleLogFilter filter;
  filter.searchText = options.search;
  if (!options.levels.empty()) {
    auto levels = parseLevels(options.levels);
    if (!levels) return unexpected(levels.error());
    filter.enabledLevels = std::move(*levels);
  }
  auto device = requireSelectedTarget(context);
  if (!device) return unexpected(device.error());
  if (!options.app.empty()) {
    auto apps = listInstalledApps(context.environment.simctl(), device->udid, context.stop, true);
    if (!apps) return unexpected(CommandFailure::failure(std::string(apps.error().caseName()), apps.error().description()));
    const auto app = std::find_if(apps->begin(), apps->end(),
                                  [&](const SimulatorApp& each) { return each.bundleIdentifier == options.app; });
    if (app == apps->end() || app->bundlePath.empty()) {
      auto failure = failureOf(ConsoleError::of(ConsoleError::Case::staleAppSelection));
      failure.hints.push_back("'orvanta apps' lists the installed apps.");
      return unexpected(std::move(failure));
    }
    filter.appFolder = app->bundlePath;
  }

  const bool keep = !options.exportFile.empty() || options.copy;
  if (context.options.json) context.printsJsonLines();
  ConsoleEntryPrinter printer(context.out, context.options.json ? appendEntryJsonLine : appendEntryTextLine);
  std::deque<SimulatorLogEntry> kept;
  std::optional<ConsoleError> ended;
  MainLoop& loop = context.environment.mainLoop();
  const ProcessRunner& runner = context.environment.processRunner();
  {
    SimulatorLogStreamService service(
        loop,
        [&runner] { return std::make_unique<LogStreamProcess>(makeStartLongRunningFunction(runner, false)); },
        context.environment.xcrunPath(), SimulatorLogStreamService::defaultFlushInterval, kPendingByteLimit);
    service.onEvent = [&](SimulatorLogStreamService::Event event) {
      if (event.kind == SimulatorLogStreamService::Event::Case::terminated) {
        ended = ConsoleError::processExited(event.reason.status);
        loop.quit();
        return;
      }
      std::vector<SimulatorLogEntry> shown;
      shown.reserve(event.entries.size());
      for (auto& entry : event.entries) {
        if (filter.matches(entry)) shown.push_back(std::move(entry));
      }
      if (keep) {
        const std::size_t from = shown.size() > consoleRetainedEntryLimit ? shown.size() - consoleRetainedEntryLimit : 0;
        appendRetaining(kept, std::vector<SimulatorLogEntry>(shown.begin() + static_cast<std::ptrdiff_t>(from), shown.end()),
                        consoleRetainedEntryLimit);
      }
      printer.push(std::move(shown));
    };
    if (auto started = service.start(device->udid); !started) return unexpected(failureOf(started.error()));
    if (!context.options.json) {
      context.err << "Streaming the log of " << device->name << ". "
                  << (options.duration ? "Stops after " + formatGeneral(*options.duration) + " s or on Ctrl-C."
                                       : std::string("Press Ctrl-C to stop."))
                  << '\n'
                  << std::flush;
    }
    orvanta::stop_callback onInterrupt(context.stop, [&loop] { loop.quit(); });
    const auto limit = options.duration ? MainLoop::Seconds(*options.duration) : MainLoop::Seconds::max();
    (void)loop.runUntil([&] { return ended.has_value() || context.stop.stop_requested(); }, limit);
    service.stop();
  }
  printer.finish();
  if (const auto dropped = printer.droppedCount(); dropped > 0) {
    context.err << "orvanta: " << dropped << (dropped == 1 ? " entry was" : " entries were")
                << " not printed: the output was read more slowly than the log was written.\n";
  }

  std::optional<CommandFailure> failure;
  if (keep) {
    const ConsoleExportService exporter;
    const std::string text = ConsoleExportService::render(kept);
    if (!options.exportFile.empty()) {
      if (auto written = exporter.write(text, options.exportFile); !written) failure = failureOf(written.error());
    }
    if (options.copy) {
      if (auto copied = exporter.copy(text, context.environment.hostPasteboard()); !copied && !failure) {
        failure = failureOf(copied.error());
      }
    }
  }
  if (ended) return unexpected(failureOf(*ended));
  if (failure) return unexpected(std::move(*failure));
  return {};
}

}  // namespace

void registerLogsCommands(CLI::App& app, CommandRegistry& registry) {
  auto options = std::make_shared<LogsOptions>();
  auto* logs = app.add_subcommand("logs", "Stream the target simulator's log, filtered, until Ctrl-C");
  logs->add_option("--level", options->levels, "Show only these levels: debug,info,notice,error,fault (commas)");
  logs->add_option("--search", options->search, "Show only entries whose message, subsystem, category or process contains TEXT (ignoring case)");
  logs->add_option("--app", options->app, "Show only the processes inside this installed app's bundle");
  logs->add_option("--export", options->exportFile, "When the stream ends, write the kept entries to FILE as text");
  logs->add_flag("--copy", options->copy, "When the stream ends, put the kept entries on the host's clipboard as text");
  logs->add_option("--duration", options->duration, "Stop after SECONDS (Ctrl-C still stops earlier)");
  logs->footer(
      "Runs 'simctl spawn <udid> log stream --style ndjson --level debug' and prints the entries as they come,\n"
      "five batches a second, one line each: \"HH:mm:ss.SSS LEVEL process: message\" (local time; \"--:--:--.---\"\n"
      "without a time, \"-\" without a level or process). Lines the log tool prints that are not JSON are kept as\n"
      "plain entries. Ctrl-C, SIGTERM, SIGHUP or the end of --duration stop the stream (exit 0); when it ends by\n"
      "itself, what it delivered is printed and the command fails (exit 1).\n"
      "Filters: with --level, entries without a level (the tool's banner, activity events) are hidden; --search\n"
      "ignores ASCII case; --app keeps entries whose process runs from inside the app's bundle folder.\n"
      "--export and --copy use the kept entries: the newest 4,000 that passed the filters. Output that is read too\n"
      "slowly loses its oldest unprinted entries; their number is reported on stderr at the end.\n"
      "Examples:\n"
      "  orvanta logs --app com.example.myapp --level error,fault\n"
      "  orvanta logs --search network --duration 30 --export ~/Desktop/Orvanta-Console.txt\n"
      "--json: NDJSON, one object per entry: {id, timestamp? (the log's text form), level?, processID?,\n"
      "processImagePath?, subsystem?, category?, message, raw}.");
  registry.on(logs, [options](CommandContext& context) { return ::orvanta::logs(context, *options); });
}

}  // namespace orvanta
