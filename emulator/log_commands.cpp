// spawn <device> log stream [--style ndjson] [--level L] ...  (spawn ... defaults: see app_data_commands.cpp)
//
// Streams log events in the shapes `log stream --style ndjson` prints: one JSON object per line with
// varying key order and missing keys, slashes written "\/", "\u" escapes, messages with escaped newlines,
// activity events without a messageType, and a line of the simulator's launchd chatter before the JSON
// starts. Events come from system daemons and from the executables of the device's installed user apps,
// inside their bundle folders. Unlike the other subcommands it prints while it runs; SIGINT ends it with
// status 0.
//
// Driven by the environment:
//   ORVANTA_EMULATOR_LOG_RATE        events per second (default 20)
//   ORVANTA_EMULATOR_LOG_COUNT       stop producing after this many events, then wait for SIGINT
//   ORVANTA_EMULATOR_LOG_FAIL_AFTER  after this many events, print an error on stderr and exit 1
//   ORVANTA_EMULATOR_LOG_REPLAY      a file whose bytes are written as fast as possible, then exit 0
//   ORVANTA_EMULATOR_LOG_REPLAY_HOLD with the replay: once it is written, wait for SIGINT instead of exiting
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "emulator/emulator.hpp"

namespace orvanta::emulator {
namespace {

volatile sig_atomic_t gStreamInterrupted = 0;
extern "C" void onStreamInterrupt(int) { gStreamInterrupted = 1; }

bool writeOut(const char* data, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t wrote = ::write(STDOUT_FILENO, data + done, size - done);
    if (wrote < 0 && errno == EINTR) {
      if (gStreamInterrupted) return false;
      continue;
    }
    if (wrote <= 0) return false;
    done += static_cast<std::size_t>(wrote);
  }
  return true;
}

std::optional<long long> environmentNumber(const char* name) {
  const char* text = std::getenv(name);
  if (text == nullptr || *text == '\0') return std::nullopt;
  char* end = nullptr;
  const long long value = std::strtoll(text, &end, 10);
  if (*end != '\0' || value < 0) return std::nullopt;
  return value;
}

std::string escapedPath(const std::string& path) {
  std::string text;
  for (char c : path) {
    if (c == '/') text += "\\/";
    else if (c == '"') text += "\\\"";
    else if (c == '\\') text += "\\\\";
    else text.push_back(c);
  }
  return text;
}

std::string timestampNow() {
  using namespace std::chrono;
  const auto now = system_clock::now();
  const auto micros = duration_cast<microseconds>(now.time_since_epoch()).count() % 1000000;
  const time_t seconds = system_clock::to_time_t(now);
  struct tm utc {};
  gmtime_r(&seconds, &utc);
  char buffer[96];
  std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d %02d:%02d:%02d.%06lld+0000", utc.tm_year + 1900, utc.tm_mon + 1,
                utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec, static_cast<long long>(micros));
  return buffer;
}

struct Process {
  std::string imagePath;  // already escaped for JSON
  int pid;
  std::string subsystem;
};

// The event for the `index`th line, cycling through the shapes the log tool prints.
std::string event(std::size_t index, const std::vector<Process>& processes, const std::string& runtimeRoot) {
  const Process& process = processes[index % processes.size()];
  const std::string time = timestampNow();
  const std::string number = std::to_string(index);
  switch (index % 5) {
    case 0:
      return R"({"timezoneName":"","messageType":"Info","eventType":"logEvent","source":null,"formatString":"Sending launch request: %{public}@","userID":501,"subsystem":"com.apple.runningboard","category":"general","threadID":626691,"processImagePath":")" +
             escapedPath(runtimeRoot + "/System/Library/CoreServices/SpringBoard.app/SpringBoard") +
             R"(","senderImagePath":"\/System\/Library\/PrivateFrameworks\/RunningBoardServices.framework\/RunningBoardServices","timestamp":")" +
             time + R"(","eventMessage":"Sending launch request: <RBSLaunchRequest| osservice<com.apple.PosterBoard>; \"FBApplicationProcess\"> #)" +
             number + R"(","processID":63313,"parentActivityIdentifier":0})";
    case 1:
      return R"({"eventMessage":"tap \"Save\" \u00e9 #)" + number + R"(\nsecond line","processID":)" +
             std::to_string(process.pid) + R"(,"timestamp":")" + time +
             R"(","messageType":"Debug","eventType":"logEvent","subsystem":")" + process.subsystem +
             R"(","category":"ui","threadID":4531207,"backtrace":{"frames":[{"imageOffset":52344,"imageUUID":"5C3F1A2B-3D4E-4F50-8162-7384A5B6C7D8"}]},"processImagePath":")" +
             process.imagePath + R"(","senderImagePath":")" + process.imagePath + R"(","machTimestamp":706567072091713,"traceID":258753568922927108})";
    case 2:
      return R"({"timezoneName":"","eventType":"activityCreateEvent","subsystem":"","category":"","processImagePath":"\/Applications\/PosterBoard.app\/PosterBoard","timestamp":")" +
             time + R"(","eventMessage":"Loading Preferences From User Session CFPrefsD #)" + number + R"(","processID":5222})";
    case 3:
      return R"({"messageType":"Default","processImagePath":")" + process.imagePath + R"(","timestamp":")" + time +
             R"(","processID":)" + std::to_string(process.pid) + R"(,"eventMessage":"request finished \/api\/items #)" +
             number + R"(","subsystem":")" + process.subsystem + R"(","category":"network","userID":501})";
    default:
      return R"({"timezoneName":"","messageType":"Fault","eventType":"logEvent","category":"xpc","subsystem":"com.apple.xpc","threadID":139361863,"processImagePath":"\/usr\/libexec\/xpcproxy","timestamp":")" +
             time + R"(","eventMessage":"connection invalidated \u001b[1m #)" + number +
             R"(","processID":1,"senderProgramCounter":1764,"parentActivityIdentifier":0})";
  }
}

int replay(const char* path, bool hold) {
  const int fd = ::open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return 1;
  std::vector<char> buffer(1 << 20);
  for (;;) {
    const ssize_t got = ::read(fd, buffer.data(), buffer.size());
    if (got <= 0 || gStreamInterrupted) break;
    if (!writeOut(buffer.data(), static_cast<std::size_t>(got))) break;
  }
  ::close(fd);
  while (hold && !gStreamInterrupted) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  return 0;
}

int spawn(Invocation& call) {
  int status = 0;
  Json* device = call.device(0, &status);
  if (device == nullptr) return status;
  const bool defaults = call.args.size() >= 2 && call.args[1] == "defaults";
  if (!defaults && (call.args.size() < 3 || call.args[1] != "log" || call.args[2] != "stream")) {
    return call.usage("Usage: simctl spawn <device> log stream [--style ndjson] [--level debug]\n"
                      "       simctl spawn <device> defaults export|write|delete <domain> ...");
  }
  if ((*device)["state"] != "Booted") {
    return call.fail(SimctlFailure{
        "com.apple.CoreSimulator.SimError", 405, "Process spawn via launchd failed because device is not booted.",
        "Underlying error (domain=com.apple.SimLaunchHostService.RequestError, code=3):\n\tBad or unknown session: "
        "com.apple.CoreSimulator.SimDevice." +
            (*device)["udid"].get<std::string>() + "\n"});
  }
  if (defaults) return spawnDefaults(call, *device);
  std::vector<Process> processes;
  if (Json* apps = deviceApps(call, *device, &status)) {
    int pid = 41000;
    const Json& installed = (*apps)["installed"];
    const Json& running = (*apps)["running"];
    for (const auto& [identifier, app] : installed.items()) {
      if (app.value("ApplicationType", "") != "User" || !app.contains("Path")) continue;
      // A running app logs under its own process identifier.
      const int appPid = running.contains(identifier) && running[identifier].is_object()
                             ? running[identifier].value("pid", pid++)
                             : pid++;
      processes.push_back({escapedPath(app["Path"].get<std::string>() + "/" + app.value("CFBundleExecutable", "")),
                           appPid, identifier});
    }
  } else {
    return status;
  }
  if (processes.empty()) processes.push_back({"\\/usr\\/bin\\/logger", 21314, ""});

  struct sigaction action {};
  action.sa_handler = onStreamInterrupt;
  sigemptyset(&action.sa_mask);
  ::sigaction(SIGINT, &action, nullptr);

  if (const char* path = std::getenv("ORVANTA_EMULATOR_LOG_REPLAY"); path && *path) {
    const char* hold = std::getenv("ORVANTA_EMULATOR_LOG_REPLAY_HOLD");
    return replay(path, hold != nullptr && *hold != '\0');
  }

  const std::string runtimeRoot = "/Library/Developer/CoreSimulator/Volumes/iOS_22A3351/Library/Developer/CoreSimulator/"
                                  "Profiles/Runtimes/iOS 18.0.simruntime/Contents/Resources/RuntimeRoot";
  const long long rate = std::max(1LL, environmentNumber("ORVANTA_EMULATOR_LOG_RATE").value_or(20));
  const auto count = environmentNumber("ORVANTA_EMULATOR_LOG_COUNT");
  const auto failAfter = environmentNumber("ORVANTA_EMULATOR_LOG_FAIL_AFTER");

  std::string preamble = "getpwuid_r did not find a match for uid 501\n";
  if (!writeOut(preamble.data(), preamble.size())) return 0;
  using Clock = std::chrono::steady_clock;
  const auto began = Clock::now();
  std::size_t written = 0;
  while (!gStreamInterrupted) {
    if (failAfter && written >= static_cast<std::size_t>(*failAfter)) {
      const std::string text = "log: Connection to logd was interrupted\n";
      [[maybe_unused]] auto ignored = ::write(STDERR_FILENO, text.data(), text.size());
      return 1;
    }
    if (count && written >= static_cast<std::size_t>(*count)) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
      continue;
    }
    const double elapsed = std::chrono::duration<double>(Clock::now() - began).count();
    const auto due = static_cast<std::size_t>(elapsed * static_cast<double>(rate)) + 1;
    std::string chunk;
    while (written < due && !(count && written >= static_cast<std::size_t>(*count)) &&
           !(failAfter && written >= static_cast<std::size_t>(*failAfter))) {
      chunk += event(written++, processes, runtimeRoot);
      chunk.push_back('\n');
    }
    if (!chunk.empty() && !writeOut(chunk.data(), chunk.size())) return 0;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return 0;
}

}  // namespace

void registerLogCommands(CommandTable& table) { table["spawn"] = spawn; }

}  // namespace orvanta::emulator
