// orvanta logs [--level L,...] [--search TEXT] [--app BUNDLE-ID] [--raw] [--export FILE] [--copy]
//              [--duration SECONDS]
//
// Streams the target simulator's unified log until Ctrl-C (or SIGTERM, SIGHUP) or the duration (exit 0),
// or until the log stream ends by itself (exit 1, after printing what it had delivered).
//
// Without --export and --copy nothing is kept: the entries are parsed, filtered and formatted on the
// stream's reading thread and written by a thread of their own (LogStreamPrinter). With them, the
// console's own path keeps the newest entries for the export (SimulatorLogStreamService, five batches a
// second). Either way a reader that is slower than the log makes the log wait instead of losing entries;
// only a reader that takes nothing for a while loses them, and their number is reported on stderr.
#include <CLI/CLI.hpp>

#include <cerrno>
#include <memory>
#include <ostream>
#include <sstream>

#include "cli/commands.hpp"
#include "app/environment.hpp"
#include "cli/target_resolution.hpp"
#include "apps/simulator_app_service.hpp"
#include "capture/console/console_logs.hpp"
#include "capture/console/console_printer.hpp"
#include "capture/console/log_stream_printer.hpp"
#include "capture/console/simulator_log_stream_service.hpp"
#include "support/file_error.hpp"
#include "support/number_text.hpp"
#include "support/output_writer.hpp"

namespace orvanta {
namespace {

struct LogsOptions {
  std::string levels;
  std::string search;
  std::string app;
  std::string exportFile;
  bool copy = false;
  bool raw = false;
  std::optional<double> duration;
};

// Entries waiting for the next delivery (the export's path) are bounded by this many bytes; beyond it the
// log stream waits until the main thread has taken them (a full buffer asks for that at once).
constexpr std::size_t kPendingByteLimit = 4u << 20;
// Formatted output waiting for the reader: the budget past which the log waits for it.
constexpr std::size_t kOutputBudget = 16u << 20;
// A reader that takes nothing for this long has stalled: entries are dropped (and counted) until it
// reads again.
constexpr std::chrono::milliseconds kStallLimit{2000};
// Once the stream is stopped, what is still queued is written for at most this long.
constexpr std::chrono::milliseconds kStopGrace{500};

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

std::string entries(std::size_t count) { return std::to_string(count) + (count == 1 ? " entry" : " entries"); }

// What the writer could not print, one sentence per cause.
void reportDrops(CommandContext& context, const OutputWriter::Counts& counts) {
  if (counts.droppedStalled > 0) {
    context.err << "orvanta: " << entries(counts.droppedStalled)
                << " not printed: the output was not read for " << kStallLimit.count() / 1000
                << " s or more, and entries were dropped until it was read again.\n";
  }
  if (counts.droppedStopped > 0) {
    context.err << "orvanta: " << entries(counts.droppedStopped)
                << " not printed: the stream was stopped before the output had taken them.\n";
  }
}

// How the stream ended, from the main thread's point of view.
struct StreamEnd {
  std::optional<ConsoleError> ended;  // the log stream ended by itself
  bool outputFailed = false;
};

// Runs the main loop until Ctrl-C, the duration, the end of the stream or a failed output. `ended` is
// set by the stream (on the main thread).
void runStream(CommandContext& context, const LogsOptions& options, OutputWriter& writer, StreamEnd& end) {
  MainLoop& loop = context.environment.mainLoop();
  // A reader that went away (orvanta logs | head) ends the stream too.
  TimerHandle watchOutput = loop.addRepeatingTimer(MainLoop::Seconds(0.1), [&] {
    if (writer.failed()) {
      end.outputFailed = true;
      loop.quit();
    }
  });
  const auto limit = options.duration ? MainLoop::Seconds(*options.duration) : MainLoop::Seconds::max();
  (void)loop.runUntil([&] { return end.ended.has_value() || end.outputFailed || context.stop.stop_requested(); },
                      limit);
}

// The outcome once the output is finished: an output that failed for another reason than a reader that
// went away is a failure of its own.
std::optional<CommandFailure> outputFailure(const OutputWriter::Counts& counts) {
  if (!counts.failure || *counts.failure == EPIPE) return std::nullopt;
  return CommandFailure::failure("outputFailed", "Couldn't write the output: " + systemMessage(*counts.failure) + ".");
}

CommandOutcome finishOutcome(std::optional<CommandFailure> failure, const StreamEnd& end,
                             const OutputWriter::Counts& counts) {
  if (end.ended) failure = failureOf(*end.ended);
  if (!failure) failure = outputFailure(counts);
  if (failure) return unexpected(std::move(*failure));
  return {};
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
  const ConsoleExportService exporter;
  if (!options.exportFile.empty()) {
    if (auto checked = exporter.checkDestination(options.exportFile); !checked) {
      return unexpected(failureOf(checked.error()));
    }
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

  if (context.options.json) context.printsJsonLines();
  const ConsoleEntryFormat format{context.options.json ? ConsoleEntryFormat::Kind::json : ConsoleEntryFormat::Kind::text,
                                  options.raw};
  context.out.flush();
  OutputWriter::Options writerOptions{kOutputBudget, kStallLimit};
  std::optional<OutputWriter> writerStorage;
  if (context.outFd >= 0) {
    writerStorage.emplace(context.outFd, writerOptions);
  } else {
    writerStorage.emplace(context.out, writerOptions);
  }
  OutputWriter& writer = *writerStorage;
  MainLoop& loop = context.environment.mainLoop();
  const ProcessRunner& runner = context.environment.processRunner();
  auto makeProcess = [&runner] {
    return std::make_unique<LogStreamProcess>(makeStartLongRunningFunction(runner, false));
  };
  // Ctrl-C (also while the output is finished after the end) lets the writer go on only briefly.
  orvanta::stop_callback onInterrupt(context.stop, [&loop, &writer] {
    loop.quit();
    writer.stopBy(std::chrono::steady_clock::now() + kStopGrace);
  });
  auto announce = [&] {
    if (context.options.json) return;
    context.err << "Streaming the log of " << device->name << ". "
                << (options.duration ? "Stops after " + formatGeneral(*options.duration) + " s or on Ctrl-C."
                                     : std::string("Press Ctrl-C to stop."))
                << '\n'
                << std::flush;
  };
  StreamEnd end;
  const bool keep = !options.exportFile.empty() || options.copy;

  if (!keep) {
    LogStreamPrinter printer(makeProcess, context.environment.xcrunPath(), writer, filter, format);
    printer.onEnd = [&loop, &end](LogStreamTerminationReason reason) {
      loop.post([&end, &loop, reason] {
        end.ended = ConsoleError::processExited(reason.status);
        loop.quit();
      });
    };
    if (auto started = printer.start(device->udid); !started) return unexpected(failureOf(started.error()));
    announce();
    runStream(context, options, writer, end);
    if (!end.ended) {
      writer.stopBy(std::chrono::steady_clock::now() + kStopGrace);
      printer.stop();
    }
    const auto counts = writer.finish();
    reportDrops(context, counts);
    return finishOutcome(std::nullopt, end, counts);
  }

  RetainedLogEntries kept;
  ConsoleEntryPrinter printer(writer, format);
  {
    SimulatorLogStreamService service(loop, makeProcess, context.environment.xcrunPath(),
                                      SimulatorLogStreamService::defaultFlushInterval, kPendingByteLimit);
    service.onEvent = [&](SimulatorLogStreamService::Event event) {
      if (event.kind == SimulatorLogStreamService::Event::Case::terminated) {
        end.ended = ConsoleError::processExited(event.reason.status);
        loop.quit();
        return;
      }
      std::vector<SimulatorLogEntry> shown;
      shown.reserve(event.entries.size());
      for (auto& entry : event.entries) {
        if (filter.matches(entry)) shown.push_back(std::move(entry));
      }
      for (const auto& entry : shown) printer.print(entry.view());
      printer.flush();
      kept.append(std::move(shown));
    };
    if (auto started = service.start(device->udid); !started) return unexpected(failureOf(started.error()));
    announce();
    runStream(context, options, writer, end);
    if (!end.ended) writer.stopBy(std::chrono::steady_clock::now() + kStopGrace);
    service.stop();
  }
  printer.flush();
  const auto counts = writer.finish();
  reportDrops(context, counts);

  std::optional<CommandFailure> failure;
  const std::string text = ConsoleExportService::render(kept.entries());
  if (!options.exportFile.empty()) {
    if (auto written = exporter.write(text, options.exportFile); !written) {
      failure = failureOf(written.error());
    } else {
      context.err << "Wrote " << entries(kept.entries().size()) << " to " << options.exportFile << ".\n";
    }
  }
  if (options.copy) {
    if (auto copied = exporter.copy(text, context.environment.hostPasteboard()); !copied && !failure) {
      failure = failureOf(copied.error());
    }
  }
  return finishOutcome(std::move(failure), end, counts);
}

}  // namespace

void registerLogsCommands(CLI::App& app, CommandRegistry& registry) {
  auto options = std::make_shared<LogsOptions>();
  auto* logs = app.add_subcommand("logs", "Stream the target simulator's log, filtered, until Ctrl-C");
  logs->add_option("--level", options->levels, "Show only these levels: debug,info,notice,error,fault (commas)");
  logs->add_option("--search", options->search, "Show only entries whose message, subsystem, category or process contains TEXT (ignoring case)");
  logs->add_option("--app", options->app, "Show only the processes inside this installed app's bundle");
  logs->add_flag("--raw", options->raw, "With --json, add each entry's line as the log tool wrote it (\"raw\")");
  logs->add_option("--export", options->exportFile, "When the stream ends, write the kept entries to FILE as text");
  logs->add_flag("--copy", options->copy, "When the stream ends, put the kept entries on the host's clipboard as text");
  logs->add_option("--duration", options->duration, "Stop after SECONDS (Ctrl-C still stops earlier)");
  logs->footer(
      "Runs 'simctl spawn <udid> log stream --style ndjson --level debug' and prints the entries as they come, one\n"
      "line each: \"HH:mm:ss.SSS LEVEL process: message\" (local time; \"--:--:--.---\" without a time, \"-\" without a\n"
      "level or process). Lines the log tool prints that are not JSON are kept as plain entries. Ctrl-C, SIGTERM,\n"
      "SIGHUP or the end of --duration stop the stream (exit 0); when it ends by itself, what it delivered is\n"
      "printed and the command fails (exit 1).\n"
      "Filters: with --level, entries without a level (the tool's banner, activity events) are hidden; --search\n"
      "ignores ASCII case; --app keeps entries whose process runs from inside the app's bundle folder.\n"
      "--export and --copy use the kept entries: the newest 4,000 that passed the filters (64 MiB at most). The\n"
      "export's folder is checked before the stream starts.\n"
      "Output that is read slowly makes the log wait; nothing is lost. Only while the output is not read at all\n"
      "for 2 s are entries dropped; their number is reported on stderr at the end.\n"
      "Examples:\n"
      "  orvanta logs --app com.example.myapp --level error,fault\n"
      "  orvanta logs --search network --duration 30 --export ~/Desktop/Orvanta-Console.txt\n"
      "--json: NDJSON, one object per entry: {id, timestamp? (RFC 3339 with the device's offset and microseconds),\n"
      "level?, processID?, processImagePath?, subsystem?, category?, message, raw? (only with --raw)}.");
  registry.on(logs, [options](CommandContext& context) { return ::orvanta::logs(context, *options); });
}

}  // namespace orvanta
