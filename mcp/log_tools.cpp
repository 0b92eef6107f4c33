// read_logs
#include <deque>

#include "apps/simulator_app_service.hpp"
#include "capture/console/console_logs.hpp"
#include "capture/console/console_printer.hpp"
#include "capture/console/log_stream_process.hpp"
#include "capture/console/simulator_log_stream_service.hpp"
#include "mcp/tool_support.hpp"

namespace orvanta {

namespace {

using Json = nlohmann::json;

// Entries waiting for the next delivery are bounded by this many bytes; beyond it the stream waits.
constexpr std::size_t pendingByteLimit = 4u << 20;

CommandFailure consoleFailure(const ToolCall& call, const ConsoleError& error) {
  auto failure = failureOf(call, error);
  if (!error.message.empty()) failure.hints.push_back(error.message);
  return failure;
}

// Streams the simulator's log for a number of seconds and returns the newest matching entries, each in the
// shape of `orvanta logs --json`'s lines. A cancellation ends the stream at once and stops its child.
ToolResult readLogs(ToolCall& call) {
  const double seconds = *call.number("durationSeconds");
  const auto limit = static_cast<std::size_t>(call.integer("maxEntries").value_or(200));
  ConsoleLogFilter filter;
  filter.searchText = call.string("search").value_or("");
  if (auto levels = call.arguments.find("levels"); levels != call.arguments.end()) {
    filter.enabledLevels.clear();
    for (const auto& level : *levels) {
      auto parsed = level.is_string() ? simulatorLogLevelFromRawValue(level.get<std::string>()) : std::nullopt;
      if (!parsed) {
        return ToolResult::failed(
            CommandFailure::usage("Unknown level " + level.dump() + ": use debug, info, notice, error or fault."));
      }
      filter.enabledLevels.insert(*parsed);
    }
  }
  auto device = targetDevice(call);
  if (!device) return ToolResult::failed(device.error());
  if (auto bundle = call.string("app")) {
    auto apps = listInstalledApps(call.environment.simctl(), device->udid, call.stop, true);
    if (!apps) return ToolResult::failed(failureOf(call, apps.error()));
    const auto app = std::find_if(apps->begin(), apps->end(), [&](const SimulatorApp& each) { return each.bundleIdentifier == *bundle; });
    if (app == apps->end() || app->bundlePath.empty()) {
      auto failure = consoleFailure(call, ConsoleError::of(ConsoleError::Case::staleAppSelection));
      failure.hints.push_back("list_apps lists the installed apps.");
      return ToolResult::failed(std::move(failure));
    }
    filter.appFolder = app->bundlePath;
  }

  MainLoop& loop = call.environment.mainLoop();
  const ProcessRunner& runner = call.environment.processRunner();
  auto makeProcess = [&runner] { return std::make_unique<LogStreamProcess>(makeStartLongRunningFunction(runner, false)); };
  std::deque<std::string> kept;  // the newest `limit` entries, as JSON lines
  std::size_t matched = 0;
  std::optional<ConsoleError> ended;
  {
    SimulatorLogStreamService service(loop, makeProcess, call.environment.xcrunPath(),
                                      SimulatorLogStreamService::defaultFlushInterval, pendingByteLimit);
    service.onEvent = [&](SimulatorLogStreamService::Event event) {
      if (event.kind == SimulatorLogStreamService::Event::Case::terminated) {
        ended = ConsoleError::processExited(event.reason.status);
        loop.quit();
        return;
      }
      for (const auto& entry : event.entries) {
        if (!filter.matches(entry)) continue;
        ++matched;
        std::string line;
        appendEntryJsonLine(line, entry.view(), false);
        kept.push_back(std::move(line));
        if (kept.size() > limit) kept.pop_front();
      }
    };
    if (auto started = service.start(device->udid); !started) return ToolResult::failed(consoleFailure(call, started.error()));
    orvanta::stop_callback onCancel(call.stop, [&loop] { loop.quit(); });
    const auto began = std::chrono::steady_clock::now();
    TimerHandle progress = loop.addRepeatingTimer(MainLoop::Seconds(1), [&] {
      const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
      call.progress(elapsed, seconds, std::to_string(matched) + " entries so far");
    });
    (void)loop.runUntil([&] { return ended.has_value() || call.stop.stop_requested(); }, MainLoop::Seconds(seconds));
    service.stop();
  }
  if (call.stop.stop_requested()) return ToolResult::failed(CommandFailure::interrupted());
  if (ended) return ToolResult::failed(consoleFailure(call, *ended));
  Json entries = Json::array();
  for (const auto& line : kept) entries.push_back(Json::parse(line, nullptr, false));
  return ToolResult::of(std::move(entries));
}

}  // namespace

std::vector<ToolDefinition> logTools() {
  Json levelList = {{"type", "array"},
                    {"items", schema::stringOf({"debug", "info", "notice", "error", "fault"}, "A level")},
                    {"description", "The levels to keep (default all)"}};
  return {
      {"read_logs", "Read the log",
       "Stream the simulator's unified log for a number of seconds (progress each second) and return the newest "
       "matching entries as orvanta logs --json prints them. Structured content: {items: [...]}.",
       schema::object({{"durationSeconds", schema::number("How long to listen, in seconds", 0.1, 300)},
                       {"levels", levelList},
                       {"search", schema::string("Keep entries whose text contains this")},
                       {"app", schema::string("Keep entries of this app (bundle identifier)")},
                       {"maxEntries", schema::integer("Keep at most this many, the newest (default 200)", 1, 5000)}},
                      {"durationSeconds"}),
       schema::items({{"type", "object"}}), {.readOnly = true}, true, false, readLogs},
  };
}

}  // namespace orvanta
