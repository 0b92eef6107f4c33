#include "core/simctl_client.hpp"

#include <gtest/gtest.h>

#include "core/simulator_discovery_service.hpp"
#include "tests/core/fake_run.hpp"

namespace orvanta {
namespace {

using testing::FakeRun;
using testing::readFixture;

TEST(SimctlClientTest, ListsDevicesWithTheExactArgvAndDecodesACapturedList) {
  FakeRun fake;
  fake.reply(readFixture("simctl/list-devices.json"));
  SimctlClient client{fake.function(), "/usr/bin/xcrun"};
  auto devices = client.listDevices();
  ASSERT_TRUE(devices.has_value()) << devices.error().description();
  ASSERT_EQ(fake.calls.size(), 1u);
  EXPECT_EQ(fake.calls[0].executable, "/usr/bin/xcrun");
  EXPECT_EQ(fake.calls[0].arguments, (std::vector<std::string>{"simctl", "list", "devices", "--json"}));

  ASSERT_EQ(devices->size(), 2u);
  // Sorted by name: "iPad" before "iPhone".
  EXPECT_EQ((*devices)[0], (SimulatorDevice{"E386B311-8A47-4772-8679-FE21D12C20A8", "iPad Pro 11-inch (M4)",
                                            SimulatorState::shutdown, "com.apple.CoreSimulator.SimRuntime.iOS-18-2",
                                            "iOS 18.2", "com.apple.CoreSimulator.SimDeviceType.iPad-Pro-11-inch-M4-8GB"}));
  EXPECT_EQ((*devices)[1].name, "iPhone 16");
  EXPECT_EQ((*devices)[1].state, SimulatorState::booted);
}

TEST(SimctlClientTest, ConversionRulesOnAMixedList) {
  auto devices = decodeDeviceList(readFixture("simctl/list-devices-mixed.json"));
  ASSERT_TRUE(devices.has_value()) << devices.error().description();
  // The unavailable device is gone; one without the key stays. Code-point order puts upper case first.
  std::vector<std::string> names;
  for (const auto& device : *devices) names.push_back(device.name);
  EXPECT_EQ(names, (std::vector<std::string>{"Zed", "iPad Air", "iPhone 15", "iphone lower"}));

  EXPECT_EQ((*devices)[0].runtimeDisplayName, "");            // the bare prefix
  EXPECT_EQ((*devices)[1].runtimeDisplayName, "iOS 12.1");    // no prefix: shown as it is
  EXPECT_EQ((*devices)[1].state, SimulatorState::booting);
  EXPECT_EQ((*devices)[2].state, SimulatorState::unknown);    // "Creating"
  EXPECT_EQ((*devices)[3].state, SimulatorState::shuttingDown);
  EXPECT_FALSE((*devices)[3].deviceTypeIdentifier.has_value());
}

// A plain identifier (iOS-18-2), the bare prefix and a name without it are in the captured lists above.
TEST(SimctlClientTest, RuntimeDisplayNames) {
  struct Case {
    const char* identifier;
    const char* display;
  } cases[] = {
      {"com.apple.CoreSimulator.SimRuntime.xrOS-2-0-1", "xrOS 2.0.1"},
      {"com.apple.CoreSimulator.SimRuntime.iOS", "iOS"},
      {"com.apple.CoreSimulator.SimRuntime.--iOS--18--", "iOS 18"},
      {"com.apple.CoreSimulator.SimRuntime.---", "---"},
  };
  for (const auto& c : cases) EXPECT_EQ(runtimeDisplayName(c.identifier), c.display) << c.identifier;
}

TEST(SimctlClientTest, FailuresBecomeTheRightErrors) {
  FakeRun fake;
  fake.reply("", 3, "An error was encountered\n");
  fake.reply("", 1, "");
  fake.reply("", 2, std::string("bad \xff utf8"));
  fake.reply("Xcode license prompt\n{");
  fake.reply(R"({"devices": {"rt": [{"name": "x", "state": "Booted"}]}})");
  fake.reply(R"({"devices": {"rt": [{"udid": 5, "name": "x", "state": "Booted"}]}})");
  fake.fail(ProcessRunnerError::executableNotFound("/usr/bin/xcrun"));
  fake.replies.push_back(ProcessRunner::Output{ByteBuffer(""), ByteBuffer(""), 9, true});
  SimctlClient client{fake.function()};

  EXPECT_EQ(client.listDevices().error().description(), "Process exited with status 3: An error was encountered\n");
  EXPECT_EQ(client.listDevices().error().description(), "Process exited with status 1: ");
  EXPECT_EQ(client.listDevices().error().description(), "Process exited with status 2: ");
  auto garbage = client.listDevices().error();
  EXPECT_EQ(garbage.kind, ProcessRunnerError::Case::decodingFailed);
  EXPECT_TRUE(garbage.description().starts_with("Failed to decode process output: parse error at line 1, column 1"))
      << garbage.description();
  EXPECT_EQ(client.listDevices().error().description(),
            "Failed to decode process output: key 'udid' not found in device 0 of rt");
  EXPECT_EQ(client.listDevices().error().description(),
            "Failed to decode process output: 'udid' in device 0 of rt must be a string, but is number");
  EXPECT_EQ(client.listDevices().error().description(), "Executable not found at /usr/bin/xcrun.");
  EXPECT_EQ(client.listDevices().error().description(), "Process was killed by signal 9 (SIGKILL): ");
}

TEST(SimctlClientTest, EveryCallHasATimeOutSuitedToWhatItDoes) {
  struct Row {
    std::vector<std::string> arguments;
    double seconds;
  };
  for (const Row& row : {Row{{"simctl", "list", "devices", "--json"}, 60},
                         Row{{"simctl", "listapps", "U"}, 60},
                         Row{{"simctl", "status_bar", "U", "list"}, 60},
                         Row{{"simctl", "ui", "U", "appearance"}, 60},
                         Row{{"simctl", "ui", "U", "appearance", "dark"}, 120},
                         Row{{"simctl", "location", "U", "set", "1,2"}, 120},
                         Row{{"simctl", "boot", "U"}, 300},
                         Row{{"simctl", "install", "U", "/x.app"}, 900},
                         Row{{"-p"}, 60}}) {
    SCOPED_TRACE(row.arguments.back());
    EXPECT_EQ(simctlRunOptions(row.arguments).timeout, row.seconds);
    EXPECT_EQ(simctlRunOptions(row.arguments, 0.5).timeout, row.seconds / 2);
  }
}

TEST(SimulatorDiscoveryServiceTest, KeepsTheLastGoodListAndReportsTheLastError) {
  FakeRun fake;
  fake.reply(readFixture("simctl/list-devices.json"));
  fake.reply("", 4, "boom");
  fake.reply(readFixture("simctl/list-devices-mixed.json"));
  SimulatorDiscoveryService discovery(SimctlClient{fake.function()});
  int refreshed = 0;
  discovery.onRefresh = [&] { ++refreshed; };

  EXPECT_FALSE(discovery.refresh().has_value());
  EXPECT_EQ(discovery.devices().size(), 2u);
  EXPECT_TRUE(discovery.lastRefreshed().has_value());
  const auto stamp = *discovery.lastRefreshed();

  EXPECT_TRUE(discovery.refresh().has_value());
  EXPECT_EQ(discovery.lastError(), "Process exited with status 4: boom");
  EXPECT_EQ(discovery.devices().size(), 2u);
  EXPECT_EQ(*discovery.lastRefreshed(), stamp);
  EXPECT_EQ(refreshed, 1);

  EXPECT_FALSE(discovery.refresh().has_value());
  EXPECT_FALSE(discovery.lastError().has_value());
  EXPECT_EQ(discovery.devices().size(), 4u);
  EXPECT_EQ(refreshed, 2);
}

}  // namespace
}  // namespace orvanta
