// orvanta screenshot [--out FOLDER] [--copy] [--reveal] [--status-bar PRESET], orvanta screenshot folder [PATH]
//
// A screenshot is taken into a private temporary folder, saved into the destination folder under
// "<simulator> - <date>.png" (never replacing a file), and the temporary folder is removed when the command
// ends. Copying and revealing come after the save: when they fail the screenshot is still saved, so the
// failure is a warning on stderr (and a "clipboardError" / "revealError" member in --json output).
#include <CLI/CLI.hpp>
#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>

#include "cli/capture_folder.hpp"
#include "cli/commands.hpp"
#include "app/environment.hpp"
#include "cli/target_resolution.hpp"
#include "capture/screenshot/screenshot_studio.hpp"
#include "core/file_reveal.hpp"
#include "tools/controls/status_bar_for_capture.hpp"

namespace orvanta {
namespace {

using Json = nlohmann::json;

CommandFailure failureOf(const ScreenshotError& error) {
  std::vector<std::string> hints;
  if (!error.message.empty() && error.kind != ScreenshotError::Case::saveFailed) hints.push_back(error.message);
  return CommandFailure::failure(std::string(error.caseName()), error.description(), std::move(hints));
}

Json errorJson(std::string_view kind, const std::string& message) { return {{"kind", kind}, {"message", message}}; }

// Applies a status-bar preset for the capture and clears the overrides when it goes out of scope, whatever
// happened in between.
struct ScreenshotOptions {
  std::string out;
  bool copy = false;
  bool reveal = false;
  std::string statusBar;
};

expected<std::filesystem::path, CommandFailure> outFolder(const std::string& out) {
  CaptureDestinationStore explicitFolder(std::make_shared<InMemorySettingsStore>(), "folder", "");
  std::error_code error;
  auto absolute = std::filesystem::absolute(out, error);
  if (auto set = explicitFolder.setFolder(error ? std::filesystem::path(out) : absolute); !set) {
    return unexpected(failureOf(ScreenshotError::of(ScreenshotError::Case::destinationUnavailable)));
  }
  auto prepared = explicitFolder.prepareFolder();
  if (!prepared) {
    auto failure = failureOf(ScreenshotError::of(ScreenshotError::Case::destinationUnavailable));
    failure.hints.push_back(prepared.error());
    return unexpected(std::move(failure));
  }
  return *prepared;
}

CommandOutcome takeScreenshot(CommandContext& context, const ScreenshotOptions& options) {
  auto device = requireSelectedTarget(context);
  if (!device) return unexpected(device.error());

  std::optional<std::filesystem::path> folder;
  if (!options.out.empty()) {
    auto prepared = outFolder(options.out);
    if (!prepared) return unexpected(prepared.error());
    folder = *prepared;
  }

  ScreenshotCaptureService captureService(context.environment.run(),
                                          ScreenshotCaptureService::defaultTemporaryDirectory(), true,
                                          context.environment.xcrunPath());
  ScreenshotDestinationStore destinations(context.environment.settings());
  ScreenshotStudio studio(captureService, destinations, context.environment.hostPasteboard());

  expected<ScreenshotCapture, ScreenshotError> captured = unexpected(ScreenshotError{});
  {
    std::optional<StatusBarForCapture> statusBar;
    if (!options.statusBar.empty()) {
      statusBar.emplace(context.environment.simctl(), *device,
                        [&context](const std::string& note) { context.err << note << '\n'; });
      if (auto applied = statusBar->apply(*findStatusBarPreset(options.statusBar), context.stop); !applied) {
        return unexpected(CommandFailure::failure(std::string(applied.error().caseName()), applied.error().description()));
      }
    }
    captured = studio.capture({device->udid, device->name, true}, context.stop);
  }
  if (!captured) {
    if (context.stop.stop_requested()) return unexpected(CommandFailure::interrupted());
    return unexpected(failureOf(captured.error()));
  }
  auto saved = studio.save(folder);
  if (!saved) {
    auto failure = failureOf(saved.error());
    if (saved.error().kind == ScreenshotError::Case::destinationUnavailable) {
      if (auto current = destinations.currentFolder()) failure.hints.push_back("Folder: " + current->string());
      failure.hints.push_back("Choose another with 'orvanta screenshot folder PATH', or pass --out FOLDER.");
    }
    return unexpected(std::move(failure));
  }

  Json document = screenshotJson(*captured, *saved);
  // Warnings come after the saved file's path: the screenshot is there whatever they say.
  std::vector<std::string> warnings;
  if (options.copy) {
    if (auto copied = studio.copyToPasteboard(); !copied) {
      document["clipboardError"] = errorJson(copied.error().caseName(), copied.error().description());
      warnings.push_back(copied.error().description() +
                         (copied.error().message.empty() ? "" : " " + copied.error().message));
    }
  }
  if (options.reveal) {
    auto file = studio.fileToReveal();
    auto revealed = file ? revealInFileBrowser(context.environment.runWithOptions(), *file)
                         : expected<void, std::string>(unexpected(file.error().description()));
    if (!revealed) {
      document["revealError"] = errorJson("revealFailed", revealed.error());
      warnings.push_back(revealed.error());
    }
  }
  if (context.options.json) {
    context.emitJson(document);
  } else {
    context.out << saved->string() << '\n';
    context.err << screenshotSummary(*captured) << (options.copy && !document.contains("clipboardError") ? "; copied to the clipboard" : "")
                << ".\n";
  }
  for (const auto& warning : warnings) context.err << "orvanta: warning: " << warning << '\n';
  return {};
}


}  // namespace

void registerScreenshotCommands(CLI::App& app, CommandRegistry& registry) {
  auto options = std::make_shared<ScreenshotOptions>();
  auto* screenshot = app.add_subcommand("screenshot", "Capture the target simulator's screen and save it as a PNG");
  screenshot->add_option("--out", options->out, "Save into FOLDER (created when missing) instead of the remembered folder");
  screenshot->add_flag("--copy", options->copy, "Also put the image on the host's clipboard");
  screenshot->add_flag("--reveal", options->reveal, "Show the saved file in the file browser");
  std::vector<std::string> presetIds;
  for (const auto& preset : statusBarPresets()) presetIds.push_back(preset.id);
  screenshot->add_option("--status-bar", options->statusBar,
                         "Apply a status-bar preset for the capture, and clear the overrides afterwards")
      ->check(CLI::IsMember(presetIds));
  screenshot->footer(
      "Prints the saved file's path. Files are named \"<simulator> - yyyy-MM-dd HH.mm.ss.png\" and never replace\n"
      "a file: \" 2\", \" 3\", ... are added instead. The folder is 'orvanta screenshot folder' (by default\n"
      "~/Pictures/Orvanta) unless --out names one. --status-bar clean-screenshot|low-battery|no-signal applies the\n"
      "preset, reads it back, captures, then clears the overrides (also when the capture fails).\n"
      "A failed --copy or --reveal is a warning: the screenshot is saved all the same.\n"
      "Examples:\n"
      "  orvanta screenshot\n"
      "  orvanta screenshot --status-bar clean-screenshot --out ~/Desktop --copy\n"
      "--json: {path, pixelWidth, pixelHeight, fileSize, simulatorUDID, simulatorName,\n"
      "clipboardError?: {kind, message}, revealError?: {kind, message}}.");
  registry.on(screenshot, [options](CommandContext& context) { return takeScreenshot(context, *options); });

  auto folderPath = std::make_shared<std::string>();
  auto* folder = screenshot->add_subcommand("folder", "Show or set the folder screenshots are saved into");
  folder->add_option("PATH", *folderPath, "The new folder (remembered; created at the next save)");
  folder->footer("--json: {path}.");
  registry.on(folder, [folderPath](CommandContext& context) {
    ScreenshotDestinationStore store(context.environment.settings());
    return showOrSetCaptureFolder(context, store, *folderPath);
  });
}

}  // namespace orvanta
