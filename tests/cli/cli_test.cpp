#include <gtest/gtest.h>

#include <atomic>

#include "tests/cli/cli_harness.hpp"

namespace orvanta {
namespace {

using testing::CliTest;
using testing::contains;
using testing::kIPhone15Old;
using testing::kIPhone16;

TEST_F(CliTest, HelpVersionAndUsageErrors) {
  auto version = orvanta({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_TRUE(version.out.starts_with("orvanta ")) << version.out;

  auto help = orvanta({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_TRUE(contains(help.out, "devices"));
  EXPECT_TRUE(contains(help.out, "Exit status"));

  for (const auto& arguments : std::vector<std::vector<std::string>>{{"frobnicate"}, {"devices", "--bogus"}}) {
    auto bad = orvanta(arguments);
    EXPECT_EQ(bad.status, 2);
    EXPECT_TRUE(bad.err.starts_with("orvanta: ")) << bad.err;
    EXPECT_TRUE(contains(bad.err, "Run 'orvanta")) << bad.err;
  }
  EXPECT_EQ(orvanta({"--json", "frobnicate"}).json()["error"]["message"], "Unknown command \"frobnicate\".");
  EXPECT_TRUE(contains(orvanta({"ui", "appearance", "purple"}).err, "Run 'orvanta ui appearance --help' for usage."));
  auto unknown = orvanta({"target", "-d", "No Such Phone"});
  EXPECT_EQ(unknown.status, 2);
  EXPECT_TRUE(contains(unknown.err, "No listed simulator has the udid or name \"No Such Phone\".")) << unknown.err;
}

// Sorting and the conversion of each field are the simctl client's (tests/core/simctl_client_test.cpp).
TEST_F(CliTest, DevicesAreListedSortedWithoutUnavailableOnes) {
  auto text = orvanta({"devices"});
  ASSERT_EQ(text.status, 0) << text.err;
  EXPECT_TRUE(contains(text.out, "iPhone 16"));
  EXPECT_FALSE(contains(text.out, "iPhone 14"));  // its runtime is gone

  // Global options may follow the command.
  auto json = orvanta({"devices", "--json"});
  ASSERT_EQ(json.status, 0) << json.err;
  auto devices = json.json();
  ASSERT_EQ(devices.size(), 6u);
  EXPECT_EQ(devices[0]["name"], "Apple Watch Series 10 (46mm)");
  EXPECT_EQ(devices[0]["runtimeDisplayName"], "watchOS 11.2");
}

TEST_F(CliTest, TheTargetIsNeverChosenSilentlyAndFollowsTheDevice) {
  auto initial = orvanta({"target"});
  EXPECT_EQ(initial.out, "2 Simulators booted — choose a target in any tool\n");

  // Two devices share the name "iPhone 15": a usage error that lists both.
  auto ambiguous = orvanta({"target", "set", "iPhone 15"});
  EXPECT_EQ(ambiguous.status, 2);
  EXPECT_TRUE(contains(ambiguous.err, kIPhone15Old)) << ambiguous.err;

  auto set = orvanta({"target", "set", "iPhone 16"});
  ASSERT_EQ(set.status, 0) << set.err;
  EXPECT_EQ(set.out, "Target: iPhone 16\n");
  auto json = orvanta({"--json", "target"}).json();
  EXPECT_EQ(json["status"], "selected");
  EXPECT_EQ(json["udid"], kIPhone16);
  EXPECT_EQ(json["device"]["name"], "iPhone 16");

  // A duplicate name is labelled with its runtime.
  ASSERT_EQ(orvanta({"target", "set", kIPhone15Old}).out, "Target: iPhone 15 · iOS 17.5\n");
  ASSERT_EQ(orvanta({"target", "set", kIPhone16}).status, 0);

  ASSERT_EQ(simctl({"shutdown", kIPhone16}).status, 0);
  EXPECT_EQ(orvanta({"target"}).out, "iPhone 16 is no longer booted — choose another\n");
  ASSERT_EQ(simctl({"boot", kIPhone16}).status, 0);
  EXPECT_EQ(orvanta({"target"}).out, "Target: iPhone 16\n");

  ASSERT_EQ(simctl({"delete", kIPhone16}).status, 0);
  auto gone = orvanta({"--json", "target"}).json();
  EXPECT_EQ(gone["status"], "lost");
  EXPECT_EQ(gone["line"], "Simulator is no longer booted — choose another");
  EXPECT_FALSE(gone.contains("device"));

  EXPECT_EQ(orvanta({"target", "clear"}).status, 0);
  auto cleared = orvanta({"--json", "target"}).json();
  EXPECT_EQ(cleared["status"], "needsChoice");
  EXPECT_EQ(cleared["bootedCount"], 1);
}

TEST_F(CliTest, SimctlFailuresAreReportedWithTheirSentence) {
  // The sentences themselves are the simctl client's (tests/core/simctl_client_test.cpp).
  expectFailure(orvanta({"--json", "--xcrun", "/nonexistent/xcrun", "target"}), "executableNotFound",
                "Executable not found at /nonexistent/xcrun.");

  setEnvironment("ORVANTA_EMULATOR_FAULTS", R"({"list": {"exit": 0, "stdout": "not json"}})");
  auto garbled = orvanta({"--json", "devices"});
  EXPECT_EQ(garbled.status, 1);
  EXPECT_EQ(garbled.json()["error"]["kind"], "decodingFailed");
}

TEST_F(CliTest, CtrlCStopsTheRunningSimctlAndExits130) {
  setEnvironment("ORVANTA_EMULATOR_FAULTS", R"({"list": {"delaySeconds": 20}})");
  ProcessRunner runner;
  ProcessExecution execution(ORVANTA_BINARY, {"devices"}, std::nullopt, environmentForTest(), 30.0);
  // Ctrl-C once the simctl it waits for is running: two processes with the test's environment, orvanta
  // and its child (a fixed delay can come before the program is set up when the machine is loaded).
  std::atomic<std::chrono::steady_clock::time_point> sent{};
  orvanta::jthread interrupter([&] {
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(15);
    while (emulatorProcessesAlive() < 2 && std::chrono::steady_clock::now() < giveUp) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    sent = std::chrono::steady_clock::now();
    ::kill(execution.pid(), SIGINT);  // the program alone, as a terminal's Ctrl-C reaches it
  });
  auto result = runner.run(execution);
  const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - sent.load()).count();
  ASSERT_TRUE(result.has_value()) << result.error().description();
  EXPECT_EQ(result->terminationStatus, 130);
  EXPECT_FALSE(result->terminatedBySignal);
  EXPECT_LT(elapsed, 5.0);
  // The simctl it was waiting for went with it.
  EXPECT_LE(emulatorProcessesAlive(), 0);
}

TEST_F(CliTest, AnUnreadableSettingsFileIsMovedAsideAndReported) {
  const auto config = root() / "config" / "orvanta";
  std::filesystem::create_directories(config);
  { std::ofstream(config / "settings.json") << "{ this is not json"; }
  auto set = orvanta({"target", "set", testing::kIPhone16});
  EXPECT_EQ(set.status, 0) << set.err;
  EXPECT_TRUE(set.err.find("could not be read") != std::string::npos) << set.err;
  int movedAside = 0;
  for (const auto& entry : std::filesystem::directory_iterator(config)) {
    if (entry.path().filename().string().starts_with("settings.unreadable-")) ++movedAside;
  }
  EXPECT_EQ(movedAside, 1);
  EXPECT_EQ(orvanta({"target"}).out, "Target: iPhone 16\n");
}

}  // namespace
}  // namespace orvanta
