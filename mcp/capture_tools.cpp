// take_screenshot
#include <chrono>
#include <thread>

#include "capture/recording/simulator_recording_service.hpp"
#include "capture/screenshot/screenshot_studio.hpp"
#include "mcp/tool_support.hpp"
#include "support/atomic_file.hpp"
#include "support/png_scaling.hpp"
#include "tools/app_data/structured_document.hpp"

namespace orvanta {

namespace {

// The longest side of the image an agent is shown; the saved file keeps every pixel.
constexpr std::uint32_t previewSide = 2000;
// Far above any screen's PNG, so that only a file that is not a screenshot is refused.
constexpr std::size_t screenshotBudget = 256 * 1024 * 1024;

CommandFailure screenshotFailure(const ToolCall& call, const ScreenshotError& error) {
  auto failure = failureOf(call, error);
  if (!error.message.empty() && error.kind != ScreenshotError::Case::saveFailed) failure.hints.push_back(error.message);
  return failure;
}

ToolResult takeScreenshot(ToolCall& call) {
  auto device = targetDevice(call);
  if (!device) return ToolResult::failed(device.error());
  auto& environment = call.environment;
  ScreenshotCaptureService captureService(environment.run(), ScreenshotCaptureService::defaultTemporaryDirectory(), true,
                                          environment.xcrunPath());
  ScreenshotDestinationStore destinations(environment.settings());
  ScreenshotStudio studio(captureService, destinations, environment.hostPasteboard());
  auto captured = studio.capture({device->udid, device->name, true}, call.stop);
  if (!captured) return ToolResult::failed(screenshotFailure(call, captured.error()));
  auto saved = studio.save();
  if (!saved) {
    auto failure = screenshotFailure(call, saved.error());
    if (auto current = destinations.currentFolder()) failure.hints.push_back("Folder: " + current->string());
    return ToolResult::failed(std::move(failure));
  }
  ToolResult result = ToolResult::of(screenshotJson(*captured, *saved));
  auto bytes = readFile(*saved, screenshotBudget);
  if (!bytes || !*bytes) {
    return ToolResult::failed(CommandFailure::failure(
        "readFailed", "The screenshot was saved to " + saved->string() + " but could not be read back.",
        {bytes ? std::string("The file is gone.") : bytes.error().description()}));
  }
  auto preview = fitPng(**bytes, previewSide);
  if (!preview) {
    return ToolResult::failed(CommandFailure::failure(
        "invalidImage", "The screenshot was saved to " + saved->string() + " but is not a readable PNG.", {preview.error()}));
  }
  result.extraContent.push_back({{"type", "image"}, {"data", base64Text(preview->bytes)}, {"mimeType", "image/png"}});
  return result;
}

CommandFailure recordingFailure(const ToolCall& call, const RecordingError& error) {
  auto failure = failureOf(call, error);
  if (error.kind == RecordingError::Case::recordingAlreadyInProgress && !error.message.empty()) {
    failure.hints.push_back("Held by: " + error.message + ".");
  } else if (!error.message.empty() && error.kind != RecordingError::Case::saveFailed) {
    failure.hints.push_back(error.message);
  }
  return failure;
}

// Records for the given seconds (reporting progress each second), then saves the movie into the remembered
// recordings folder. A cancellation stops the recorder at once; no recorder outlives the call.
ToolResult recordVideo(ToolCall& call) {
  const double seconds = *call.number("durationSeconds");
  const std::string codec = call.string("codec").value_or("hevc");
  auto device = targetDevice(call);
  if (!device) return ToolResult::failed(device.error());
  auto& environment = call.environment;
  RecordingDestinationStore destinations(environment.settings());
  // The folder is checked before recording, so that a movie is never made that cannot be saved.
  auto folder = destinations.prepareFolder();
  if (!folder) {
    auto failure = recordingFailure(call, RecordingError::of(RecordingError::Case::destinationUnavailable));
    failure.hints.push_back(folder.error());
    return ToolResult::failed(std::move(failure));
  }
  SimulatorRecordingService service(makeStartLongRunningFunction(environment.processRunner()),
                                    SimulatorRecordingService::defaultTemporaryDirectory(), true,
                                    environment.xcrunPath(), &environment.gate());
  auto session = service.start({device->udid, device->name}, true, {*recordingCodecFromRawValue(codec)}, call.stop);
  if (!session) return ToolResult::failed(recordingFailure(call, session.error()));
  const auto began = std::chrono::steady_clock::now();
  int reported = 0;
  for (;;) {
    const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
    if (call.stop.stop_requested() || elapsed >= seconds) break;
    if (auto ended = service.checkRecorder(**session)) return ToolResult::failed(recordingFailure(call, *ended));
    if (static_cast<int>(elapsed) > reported) {
      reported = static_cast<int>(elapsed);
      call.progress(reported, seconds, "recording " + device->name);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  auto artifact = service.stop(**session);
  if (!artifact) return ToolResult::failed(recordingFailure(call, artifact.error()));
  if (call.stop.stop_requested()) return ToolResult::failed(CommandFailure::interrupted());
  auto saved = RecordingExportService().save(*artifact, *folder);
  if (!saved) return ToolResult::failed(recordingFailure(call, saved.error()));
  return ToolResult::of(recordingJson(*artifact, *saved, codec));
}

}  // namespace

std::vector<ToolDefinition> captureTools() {
  return {
      {"take_screenshot", "Take a screenshot",
       "Capture the simulator's screen, save it as a PNG in the remembered screenshot folder, and return the image "
       "(scaled down to fit 2000 pixels on its long side) with the saved file's path and full size.",
       schema::object({}),
       schema::result({{"path", {{"type", "string"}}},
                       {"pixelWidth", {{"type", "integer"}}},
                       {"pixelHeight", {{"type", "integer"}}},
                       {"fileSize", {{"type", "integer"}}},
                       {"simulatorUDID", {{"type", "string"}}},
                       {"simulatorName", {{"type", "string"}}}}),
       {}, true, false, takeScreenshot},
      {"record_video", "Record the screen",
       "Record the simulator's screen for a number of seconds (progress each second) and save the movie in the "
       "remembered recordings folder.",
       schema::object({{"durationSeconds", schema::number("How long to record, in seconds", 0.5, 600)},
                       {"codec", schema::stringOf({"hevc", "h264"}, "The codec (default hevc)")}},
                      {"durationSeconds"}),
       schema::result({{"path", {{"type", "string"}}},
                       {"duration", {{"type", "number"}}},
                       {"pixelWidth", {{"type", "integer"}}},
                       {"pixelHeight", {{"type", "integer"}}},
                       {"fileSize", {{"type", "integer"}}},
                       {"codec", {{"type", "string"}}}}),
       {}, true, false, recordVideo},
  };
}

}  // namespace orvanta
