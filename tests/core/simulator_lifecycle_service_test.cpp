#include "core/simulator_lifecycle_service.hpp"

#include <gtest/gtest.h>

#include "tests/core/fake_run.hpp"

namespace orvanta {
namespace {

using Case = SimulatorLifecycleError::Case;
using testing::FakeRun;

const char* kUdid = "3BC9A608-0042-414F-B35C-7ADB869BC572";

std::string listing(const char* state) {
  return std::string(R"({"devices":{"com.apple.CoreSimulator.SimRuntime.iOS-18-2":[{"udid":")") + kUdid +
         R"(","name":"iPhone 16","state":")" + state + R"(","isAvailable":true}]}})";
}

SimulatorDevice iPhone16(SimulatorState state) {
  SimulatorDevice device;
  device.udid = kUdid;
  device.name = "iPhone 16";
  device.state = state;
  return device;
}

struct Fixture {
  FakeRun run;
  int sleeps = 0;
  SimulatorMutationGate gate;
  SimulatorLifecycleService service() {
    return SimulatorLifecycleService(SimctlClient{run.function(), "/usr/bin/xcrun"}, &gate, std::chrono::seconds(5),
                                     [this](std::chrono::milliseconds, orvanta::stop_token) { ++sleeps; });
  }
};

TEST(SimulatorLifecycleServiceTest, ReadsEveryChangeBackAndWaitsWhileTheDeviceIsOnItsWay) {
  Fixture f;
  f.run.reply("");
  f.run.reply(listing("Booting"));
  f.run.reply(listing("Booting"));
  f.run.reply(listing("Booted"));
  auto booted = f.service().boot(iPhone16(SimulatorState::shutdown));
  ASSERT_TRUE(booted.has_value()) << booted.error().description();
  EXPECT_FALSE(booted->alreadyDone);
  EXPECT_EQ(booted->device.state, SimulatorState::booted);
  EXPECT_EQ(f.sleeps, 2);
  EXPECT_EQ(f.run.calls[0].arguments, (std::vector<std::string>{"simctl", "boot", kUdid}));
  EXPECT_EQ(f.run.calls[1].arguments, (std::vector<std::string>{"simctl", "list", "devices", "--json"}));

  // simctl's own refusal of a boot that is already done counts as done (the real envelope, exit 149).
  Fixture again;
  again.run.reply("", 149,
                  "An error was encountered processing the command (domain=com.apple.CoreSimulator.SimError, "
                  "code=405):\nUnable to boot device in current state: Booted\n");
  again.run.reply(listing("Booted"));
  auto already = again.service().boot(iPhone16(SimulatorState::booted));
  ASSERT_TRUE(already.has_value());
  EXPECT_TRUE(already->alreadyDone);
}

TEST(SimulatorLifecycleServiceTest, FailuresSayWhatHappened) {
  using Operation = decltype(&SimulatorLifecycleService::boot);
  const std::string refused =
      "An error was encountered processing the command (domain=com.apple.CoreSimulator.SimError, code=405):\n";
  struct Row {
    const char* label;
    std::vector<std::pair<int, std::string>> replies;  // exit status and stdout (or stderr, when it fails)
    bool busy;
    Operation operation;
    SimulatorState state;
    Case kind;
    std::string sentence;
  };
  const Row rows[] = {
      {"the list never shows the wanted state", {{0, ""}, {0, listing("Shutdown")}}, false,
       &SimulatorLifecycleService::boot, SimulatorState::shutdown, Case::notConfirmed,
       "Sent boot to iPhone 16, but the device list still shows it as Shutdown instead of Booted."},
      {"the device went away", {{0, ""}, {0, R"({"devices":{}})"}}, false, &SimulatorLifecycleService::shutdown,
       SimulatorState::booted, Case::deviceDisappeared, "iPhone 16 is no longer listed."},
      {"erase of a booted device",
       {{149, refused + "Unable to erase contents and settings in current state: Booted\n"}}, false,
       &SimulatorLifecycleService::erase, SimulatorState::booted, Case::mustBeShutDown,
       "Shut down iPhone 16 before erasing it."},
      {"erase of a busy simulator runs nothing", {}, true, &SimulatorLifecycleService::erase,
       SimulatorState::shutdown, Case::simulatorBusy, "Another change to this simulator is in progress."},
      {"any other refusal is simctl's own text", {{148, "Invalid device: 3BC9A608-0042-414F-B35C-7ADB869BC572\n"}},
       false, &SimulatorLifecycleService::shutdown, SimulatorState::booted, Case::simctlFailed,
       "Invalid device: 3BC9A608-0042-414F-B35C-7ADB869BC572"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.label);
    Fixture f;
    for (const auto& [status, text] : row.replies) status == 0 ? f.run.reply(text) : f.run.reply("", status, text);
    if (row.busy) {
      ASSERT_TRUE(f.gate.acquire(kUdid, "apps"));
    }
    auto service = f.service();
    auto result = (service.*row.operation)(iPhone16(row.state), {});
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().kind, row.kind);
    EXPECT_EQ(result.error().description(), row.sentence);
    EXPECT_EQ(f.run.calls.size(), row.replies.size());
    EXPECT_EQ(f.gate.holder(kUdid), row.busy ? std::optional<std::string>("apps") : std::nullopt)
        << "the gate is released on failure";
  }
}

}  // namespace
}  // namespace orvanta
