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
  {
    SCOPED_TRACE("the list never shows the wanted state");
    Fixture f;
    f.run.reply("");
    f.run.reply(listing("Shutdown"));
    auto result = f.service().boot(iPhone16(SimulatorState::shutdown));
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().description(),
              "Sent boot to iPhone 16, but the device list still shows it as Shutdown instead of Booted.");
  }
  {
    SCOPED_TRACE("the device went away");
    Fixture f;
    f.run.reply("");
    f.run.reply(R"({"devices":{}})");
    auto result = f.service().shutdown(iPhone16(SimulatorState::booted));
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().kind, Case::deviceDisappeared);
  }
  {
    SCOPED_TRACE("erase of a booted device");
    Fixture f;
    f.run.reply("", 149,
                "An error was encountered processing the command (domain=com.apple.CoreSimulator.SimError, "
                "code=405):\nUnable to erase contents and settings in current state: Booted\n");
    auto result = f.service().erase(iPhone16(SimulatorState::booted));
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().description(), "Shut down iPhone 16 before erasing it.");
    EXPECT_FALSE(f.gate.holder(kUdid).has_value()) << "the gate is released on failure";
  }
  {
    SCOPED_TRACE("erase of a busy simulator runs nothing");
    Fixture f;
    ASSERT_TRUE(f.gate.acquire(kUdid, "apps"));
    auto result = f.service().erase(iPhone16(SimulatorState::shutdown));
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().description(), "Another change to this simulator is in progress.");
    EXPECT_TRUE(f.run.calls.empty());
  }
  {
    SCOPED_TRACE("any other refusal is simctl's own text");
    Fixture f;
    f.run.reply("", 148, "Invalid device: 3BC9A608-0042-414F-B35C-7ADB869BC572\n");
    auto result = f.service().shutdown(iPhone16(SimulatorState::booted));
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().description(), "Invalid device: 3BC9A608-0042-414F-B35C-7ADB869BC572");
  }
}

}  // namespace
}  // namespace orvanta
