// Runs the real `orvanta` program against the simctl emulator, each test in folders of its own.
#pragma once

#include <signal.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "core/process_runner.hpp"

namespace orvanta::testing {

// The emulator's seeded devices.
inline constexpr const char* kIPhone16 = "3BC9A608-0042-414F-B35C-7ADB869BC572";
inline constexpr const char* kIPhone15Old = "9F8E7D6C-5B4A-4392-8170-6F5E4D3C2B1A";
inline constexpr const char* kIPadPro = "E386B311-8A47-4772-8679-FE21D12C20A8";

inline bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

struct CliResult {
  int status = -1;
  std::string out;
  std::string err;
  nlohmann::json json() const { return nlohmann::json::parse(out); }
};

class CliTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "orvanta-cli-XXXXXX").string();
    root_ = ::mkdtemp(pattern.data());
    environment_ = {
        {"ORVANTA_XCRUN", ORVANTA_EMULATOR},
        {"ORVANTA_EMULATOR_HOME", (root_ / "emulator").string()},
        {"ORVANTA_EMULATOR_FAULTS", ""},
        {"XDG_CONFIG_HOME", (root_ / "config").string()},
        {"XDG_DATA_HOME", (root_ / "data").string()},
        {"XDG_RUNTIME_DIR", (root_ / "runtime").string()},
        {"HOME", (root_ / "home").string()},
        {"TMPDIR", (root_ / "tmp").string()},
        {"NO_COLOR", "1"},
        // No clipboard tool of this computer's session: tests that want one install a fake.
        {"DISPLAY", ""},
        {"WAYLAND_DISPLAY", ""},
    };
    std::filesystem::create_directories(root_ / "tmp");
  }
  void TearDown() override { std::filesystem::remove_all(root_); }

  CliResult orvanta(std::vector<std::string> arguments, std::optional<std::string> input = std::nullopt) {
    return runProgram(ORVANTA_BINARY, std::move(arguments), std::move(input));
  }
  // Changes the emulator's devices behind orvanta's back, as another tool would.
  CliResult simctl(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "simctl");
    return runProgram(ORVANTA_EMULATOR, std::move(arguments), std::nullopt);
  }
  void setEnvironment(const std::string& key, const std::string& value) { environment_[key] = value; }

  // A refusal: exit 1, the sentence on stderr (after "orvanta: " and before any hints), and with --json the
  // error document with the case's name.
  static void expectFailure(const CliResult& result, const std::string& kind, const std::string& message) {
    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_NE(result.err.find("orvanta: " + message + "\n"), std::string::npos) << result.err;
    if (!result.out.empty()) {
      const auto document = result.json();
      EXPECT_EQ(document["error"]["kind"], kind);
      EXPECT_EQ(document["error"]["message"], message);
    }
  }
  const std::map<std::string, std::string>& environmentForTest() const { return environment_; }

  // How many processes still run with this test's emulator home in their environment (Linux only; -1
  // elsewhere).
  int emulatorProcessesAlive() const {
#ifdef __linux__
    const std::string marker = "ORVANTA_EMULATOR_HOME=" + (root_ / "emulator").string();
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
      const auto name = entry.path().filename().string();
      if (name.find_first_not_of("0123456789") != std::string::npos) continue;
      std::ifstream file(entry.path() / "environ", std::ios::binary);
      std::string environment((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
      if (environment.find(marker + '\0') != std::string::npos) ++count;
    }
    return count;
#else
    return -1;
#endif
  }
  const std::filesystem::path& root() const {
    return root_;
  }
  std::filesystem::path temporary() const {
    return root_ / "tmp";
  }

  // What the emulator keeps about a device under `key` (its "emulator" record); null when nothing.
  nlohmann::json emulatorState(const char* udid, const char* key) const {
    std::ifstream file(root_ / "emulator" / "devices.json");
    const auto document = nlohmann::json::parse(file, nullptr, false);
    if (!document.is_object()) return nullptr;
    for (const auto& runtime : document.value("runtimes", nlohmann::json::array())) {
      for (const auto& device : runtime.value("devices", nlohmann::json::array())) {
        if (device.value("udid", "") == udid && device.contains("emulator"))
          return device["emulator"].value(key, nlohmann::json());
      }
    }
    return nullptr;
  }

  // Runs orvanta, sends `signal` once the chosen stream contains `cue` (and `after` has passed), and
  // returns how it ended.
  CliResult orvantaInterrupted(std::vector<std::string> arguments, const std::string& cue, int signal,
                               OutputStream watched = OutputStream::standardError,
                               std::chrono::milliseconds after = std::chrono::milliseconds(0)) {
    ProcessExecution execution(ORVANTA_BINARY, std::move(arguments), std::nullopt, environment_, 60.0);
    std::atomic<bool> sent{false};
    std::string seen;
    execution.onOutput = [&](OutputStream stream, std::string_view bytes) {
      if (stream != watched) return;
      seen += bytes;
      if (!sent && seen.find(cue) != std::string::npos) {
        sent = true;
        std::this_thread::sleep_for(after);
        execution.sendSignal(signal);
      }
    };
    auto result = ProcessRunner().run(execution);
    EXPECT_TRUE(sent) << seen;
    if (!result) return {};
    return {result->terminationStatus, result->stdout.str(), result->stderr.str()};
  }

 private:
  CliResult runProgram(const char* program, std::vector<std::string> arguments, std::optional<std::string> input) {
    ProcessRunner runner;
    ProcessRunner::Options options;
    options.environmentOverrides = environment_;
    options.standardInput = std::move(input);
    options.timeout = 60;
    auto output = runner.run(program, arguments, options);
    if (!output) {
      ADD_FAILURE() << output.error().description();
      return {};
    }
    return CliResult{output->terminationStatus, output->stdout.str(), output->stderr.str()};
  }

  std::filesystem::path root_;
  std::map<std::string, std::string> environment_;
};

// A CliTest whose target is the booted iPhone 16.
class TargetedCliTest : public CliTest {
 protected:
  void SetUp() override {
    CliTest::SetUp();
    ASSERT_EQ(orvanta({"target", "set", kIPhone16}).status, 0);
  }
};

}  // namespace orvanta::testing
