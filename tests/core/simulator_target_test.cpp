#include "core/simulator_target.hpp"

#include <gtest/gtest.h>

namespace orvanta {
namespace {

SimulatorDevice device(std::string udid, std::string name, SimulatorState state, std::string runtime = "iOS 18.2") {
  return SimulatorDevice{std::move(udid), std::move(name), state, "rt", std::move(runtime), std::nullopt};
}

TEST(SimulatorTargetTest, StatusResolution) {
  const auto booted = device("A", "iPhone 16", SimulatorState::booted);
  const auto other = device("B", "iPad Air", SimulatorState::booted);
  const auto shutdown = device("C", "iPhone 15", SimulatorState::shutdown);
  struct Case {
    const char* what;
    std::optional<std::string> remembered;
    std::vector<SimulatorDevice> devices;
    SimulatorTargetStatus expected;
  } cases[] = {
      {"nothing chosen, nothing booted", std::nullopt, {shutdown}, SimulatorTargetStatus::noBootedSimulator()},
      {"nothing chosen, one booted: still a choice", std::nullopt, {booted, shutdown},
       SimulatorTargetStatus::needsChoice(1)},
      {"chosen and booted", "A", {booted, other}, SimulatorTargetStatus::selected(booted)},
      {"chosen, shut down", "C", {booted, shutdown}, SimulatorTargetStatus::lost("C", shutdown)},
      {"chosen, deleted", "Z", {booted}, SimulatorTargetStatus::lost("Z", std::nullopt)},
      {"udids compare exactly", "a", {booted}, SimulatorTargetStatus::lost("a", std::nullopt)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(resolveTargetStatus(c.remembered, c.devices), c.expected);
  }
}

// The other status lines and the runtime-qualified label are read end to end in tests/app/cli_test.cpp.
TEST(SimulatorTargetTest, StatusLinesAndLabels) {
  const auto a = device("AAAA1111-2222", "iPhone 15", SimulatorState::booted, "iOS 18.2");
  const auto b = device("BBBB1111-2222", "iPhone 15", SimulatorState::booted, "iOS 17.5");
  const auto c = device("CCCC1111-2222", "iPhone 15", SimulatorState::shutdown, "iOS 17.5");
  EXPECT_EQ(statusLine(SimulatorTargetStatus::noBootedSimulator(), {}),
            "No Simulator booted — boot one to use Orvanta's tools");
  // Same name and runtime: the udid's first group tells them apart.
  EXPECT_EQ(deviceLabel(b, {a, b, c}), "iPhone 15 · iOS 17.5 · BBBB1111");
}

}  // namespace
}  // namespace orvanta
