#include "core/simulator_mutation_gate.hpp"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include <gtest/gtest.h>

namespace orvanta {
namespace {

std::filesystem::path freshDirectory() {
  std::string pattern = (std::filesystem::temp_directory_path() / "orvanta-gate-XXXXXX").string();
  return ::mkdtemp(pattern.data());
}

TEST(SimulatorMutationGateTest, OneHolderPerSimulatorWithinAProcess) {
  SimulatorMutationGate gate;
  EXPECT_TRUE(gate.acquire("SIM-1", gate_labels::scenario));
  EXPECT_FALSE(gate.acquire("SIM-1", gate_labels::apps));
  gate.release("SIM-1", gate_labels::apps);  // not the holder: nothing happens
  EXPECT_EQ(gate.holder("SIM-1"), "scenario");
  EXPECT_FALSE(gate.acquire("SIM-1", gate_labels::scenario));  // the same label twice is refused too

  EXPECT_TRUE(gate.acquire("SIM-2", gate_labels::apps));  // another simulator is independent
  gate.release("SIM-1", gate_labels::scenario);
  EXPECT_FALSE(gate.holder("SIM-1").has_value());
  EXPECT_TRUE(gate.acquire("SIM-1", gate_labels::apps));
}

TEST(SimulatorMutationGateTest, AnotherProcessIsRefusedUntilTheHolderDies) {
  const auto directory = freshDirectory();
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    SimulatorMutationGate holder(directory);
    char ok = holder.acquire("SIM-1", gate_labels::apps) ? 'y' : 'n';
    (void)::write(ready[1], &ok, 1);
    ::pause();
    std::_Exit(0);
  }
  ::close(ready[1]);
  char answer = 0;
  ASSERT_EQ(::read(ready[0], &answer, 1), 1);
  ::close(ready[0]);
  ASSERT_EQ(answer, 'y');

  SimulatorMutationGate gate(directory);
  EXPECT_FALSE(gate.acquire("SIM-1", gate_labels::scenario));
  EXPECT_EQ(gate.otherProcessHolder("SIM-1"), "apps (pid " + std::to_string(child) + ")");
  EXPECT_TRUE(gate.acquire("SIM-2", gate_labels::scenario));

  ::kill(child, SIGKILL);
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_FALSE(gate.otherProcessHolder("SIM-1").has_value());
  EXPECT_TRUE(gate.acquire("SIM-1", gate_labels::scenario));
  gate.release("SIM-1", gate_labels::scenario);
  std::filesystem::remove_all(directory);
}

}  // namespace
}  // namespace orvanta
