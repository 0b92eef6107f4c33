// orvanta record [--codec hevc|h264] [--out FOLDER] [--duration SECONDS] [--copy] [--reveal],
// orvanta record folder [PATH]
//
// Records until Ctrl-C (or SIGTERM, SIGHUP), the duration, or the recorder's own end. Any of the signals
// while recording stops the recorder cleanly and saves the movie (exit 0); while starting, it cancels
// (exit 130). The movie is made in a private temporary folder, saved into the destination folder, and the
// temporary folder is removed when the command ends, so no recorder and no temporary movie outlive it.
#include <CLI/CLI.hpp>
#include <unistd.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <ostream>
#include <thread>

#include "cli/capture_folder.hpp"
#include "cli/commands.hpp"
#include "app/environment.hpp"
#include "app/result_json.hpp"
#include "cli/target_resolution.hpp"
#include "capture/recording/simulator_recording_service.hpp"
#include "core/file_reveal.hpp"
#include "support/number_text.hpp"

namespace orvanta {
namespace {

using Json = nlohmann::json;
using namespace std::chrono_literals;

struct RecordOptions {
  std::string codec = "hevc";
  std::string out;
  std::optional<double> duration;
  bool copy = false;
  bool reveal = false;
};

CommandFailure failureOf(const RecordingError& error) {
  if (error.kind == RecordingError::Case::cancelled) {
    return CommandFailure{CommandFailure::Kind::interrupted, "cancelled", error.description(), {}, nullptr};
  }
  std::vector<std::string> hints;
  if (error.kind == RecordingError::Case::recordingAlreadyInProgress && !error.message.empty()) {
    hints.push_back("Held by: " + error.message + ".");
  } else if (!error.message.empty() && error.kind != RecordingError::Case::saveFailed) {
    hints.push_back(error.message);
  }
  return CommandFailure::failure(std::string(error.caseName()), error.description(), std::move(hints));
}

expected<std::filesystem::path, CommandFailure> saveFolder(CommandContext& context, const std::string& out) {
  auto unavailable = [](std::string reason) {
    auto failure = failureOf(RecordingError::of(RecordingError::Case::destinationUnavailable));
    failure.hints.push_back(std::move(reason));
    return unexpected(std::move(failure));
  };
  if (out.empty()) {
    RecordingDestinationStore store(context.environment.settings());
    auto prepared = store.prepareFolder();
    if (!prepared) return unavailable(prepared.error());
    return *prepared;
  }
  CaptureDestinationStore explicitFolder(std::make_shared<InMemorySettingsStore>(), "folder", "");
  if (auto set = explicitFolder.setFolder(out); !set) return unavailable(set.error());
  auto prepared = explicitFolder.prepareFolder();
  if (!prepared) return unavailable(prepared.error());
  return *prepared;
}

CommandOutcome record(CommandContext& context, const RecordOptions& options) {
  if (options.duration && !(*options.duration > 0)) {
    return unexpected(CommandFailure::usage("The duration must be a number of seconds greater than 0."));
  }
  auto device = requireSelectedTarget(context);
  if (!device) return unexpected(device.error());
  // The folder is checked before recording, so that a movie is never made that cannot be saved.
  auto folder = saveFolder(context, options.out);
  if (!folder) return unexpected(folder.error());

  const RecordingConfiguration configuration{*recordingCodecFromRawValue(options.codec)};
  SimulatorRecordingService service(makeStartLongRunningFunction(context.environment.processRunner()),
                                    SimulatorRecordingService::defaultTemporaryDirectory(), true,
                                    context.environment.xcrunPath(), &context.environment.gate());
  const bool terminal = ::isatty(STDERR_FILENO) == 1;
  context.err << "Starting the recording on " << device->name << "…\n" << std::flush;
  auto session = service.start({device->udid, device->name}, true, configuration, context.stop);
  if (!session) return unexpected(failureOf(session.error()));

  if (!context.options.json) {
    context.err << "Recording " << device->name << " (" << options.codec << "). "
                << (options.duration ? "Stops after " + formatGeneral(*options.duration) + " s or on Ctrl-C."
                                     : std::string("Press Ctrl-C to stop."))
                << '\n'
                << std::flush;
  }
  const auto began = std::chrono::steady_clock::now();
  std::string lastShown;
  for (;;) {
    const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
    if (context.stop.stop_requested() || (options.duration && elapsed >= *options.duration)) break;
    if (auto ended = service.checkRecorder(**session)) {
      if (terminal) context.err << '\n';
      return unexpected(failureOf(*ended));
    }
    if (terminal) {
      auto shown = formatRecordingDuration(elapsed);
      if (shown != lastShown) {
        context.err << "\r● " << shown << std::flush;
        lastShown = std::move(shown);
      }
    }
    std::this_thread::sleep_for(50ms);
  }
  if (terminal) context.err << "\nFinishing the movie…\n" << std::flush;

  auto artifact = service.stop(**session);
  if (!artifact) return unexpected(failureOf(artifact.error()));
  auto saved = RecordingExportService().save(*artifact, *folder);
  if (!saved) return unexpected(failureOf(saved.error()));

  Json document = recordingJson(*artifact, *saved, options.codec);
  if (options.copy) {
    if (auto copied = context.environment.hostPasteboard().copyFile(artifact->temporaryURL, "video/quicktime"); !copied) {
      const auto error = RecordingError::of(RecordingError::Case::clipboardFailed);
      document["clipboardError"] = {{"kind", error.caseName()}, {"message", error.description()}};
      context.err << "orvanta: " << error.description() << ' ' << copied.error().description() << '\n';
    }
  }
  if (options.reveal) {
    if (auto revealed = revealInFileBrowser(context.environment.runWithOptions(), *saved); !revealed) {
      document["revealError"] = {{"kind", "revealFailed"}, {"message", revealed.error()}};
      context.err << "orvanta: " << revealed.error() << '\n';
    }
  }
  if (context.options.json) {
    context.emitJson(document);
  } else {
    context.out << saved->string() << '\n';
    context.err << recordingSummary(*artifact) << (options.copy && !document.contains("clipboardError") ? "; copied to the clipboard" : "") << ".\n";
  }
  return {};
}

}  // namespace

void registerRecordCommands(CLI::App& app, CommandRegistry& registry) {
  auto options = std::make_shared<RecordOptions>();
  auto* record = app.add_subcommand("record", "Record the target simulator's screen to a movie");
  record->add_option("--codec", options->codec, "hevc (default) or h264 (plays in more places)")
      ->check(CLI::IsMember({"hevc", "h264"}));
  record->add_option("--out", options->out, "Save into FOLDER (created when missing) instead of the remembered folder");
  record->add_option("--duration", options->duration, "Stop after SECONDS (Ctrl-C still stops earlier)");
  record->add_flag("--copy", options->copy, "Also put the movie on the host's clipboard");
  record->add_flag("--reveal", options->reveal, "Show the saved movie in the file browser");
  record->footer(
      "Waits (at most 15 s) until the simulator confirms that recording has begun, then records until Ctrl-C,\n"
      "SIGTERM or SIGHUP, or until --duration has passed; each of these stops the recording cleanly and saves\n"
      "the movie (exit 0). Ctrl-C while starting cancels (exit 130, \"Cancelled.\"). Prints the saved movie's\n"
      "path. Files are named \"<simulator> - yyyy-MM-dd HH.mm.ss.mov\" (the start time) and never replace a file.\n"
      "The folder is 'orvanta record folder' (by default ~/Movies/Orvanta) unless --out names one.\n"
      "Examples:\n"
      "  orvanta record --duration 10\n"
      "  orvanta record --codec h264 --out ~/Desktop\n"
      "--json: {path, duration (seconds), pixelWidth, pixelHeight, fileSize, codec,\n"
      "clipboardError?: {kind, message}, revealError?: {kind, message}}.");
  registry.on(record, [options](CommandContext& context) { return ::orvanta::record(context, *options); });

  auto folderPath = std::make_shared<std::string>();
  auto* folder = record->add_subcommand("folder", "Show or set the folder recordings are saved into");
  folder->add_option("PATH", *folderPath, "The new folder (remembered; created at the next save)");
  folder->footer("--json: {path}.");
  registry.on(folder, [folderPath](CommandContext& context) {
    RecordingDestinationStore store(context.environment.settings());
    return showOrSetCaptureFolder(context, store, *folderPath);
  });
}

}  // namespace orvanta
