// take_screenshot
#include "capture/screenshot/screenshot_studio.hpp"
#include "mcp/tool_support.hpp"
#include "support/atomic_file.hpp"
#include "support/png_scaling.hpp"

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
  result.extraContent.push_back({{"type", "image"}, {"data", base64Encode(preview->bytes)}, {"mimeType", "image/png"}});
  return result;
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
  };
}

}  // namespace orvanta
