// doctor, device boot|shutdown|erase|open and completion, end to end over the emulator.
#include <gtest/gtest.h>

#include "tests/cli/cli_harness.hpp"

namespace orvanta::testing {
namespace {

class DoctorDeviceCliTest : public CliTest {};

TEST_F(DoctorDeviceCliTest, DoctorReportsEachCheckAndFailsWhenOneFails) {
  auto ok = orvanta({"doctor", "--json"});
  ASSERT_EQ(ok.status, 0) << ok.err;
  const auto document = ok.json();
  std::vector<std::string> names;
  for (const auto& check : document["checks"]) {
    names.push_back(check["name"]);
    EXPECT_NE(check["status"], "failed") << check.dump();
  }
  EXPECT_EQ(names, (std::vector<std::string>{"xcrun", "developer folder", "simctl", "device list", "booted simulators",
                                             "settings folder", "application-support folder"}));
  EXPECT_EQ(document["checks"][2]["message"], "simctl of CoreSimulator 1010.10.");

  // Some Xcode versions printed empty JSON for the device list while the text listing worked.
  setEnvironment("ORVANTA_EMULATOR_FAULTS", R"({"list": {"exit": 0, "stdout": "{}\n"}})");
  auto empty = orvanta({"doctor"});
  EXPECT_EQ(empty.status, 1);
  EXPECT_NE(empty.out.find("failed  device list"), std::string::npos) << empty.out;

  setEnvironment("ORVANTA_EMULATOR_FAULTS", "");
  auto missing = orvanta({"doctor", "--xcrun", (root() / "no-xcrun").string()});
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.out.find("No executable xcrun at"), std::string::npos) << missing.out;
}

TEST_F(DoctorDeviceCliTest, LifecycleChangesAreReadBack) {
  setEnvironment("ORVANTA_EMULATOR_TRANSITION_SECONDS", "0.4");
  auto boot = orvanta({"device", "boot", "iPad Pro 11-inch (M4)", "--json"});
  ASSERT_EQ(boot.status, 0) << boot.err;
  EXPECT_EQ(boot.json()["device"]["state"], "Booted");
  auto again = orvanta({"device", "boot", kIPadPro});
  EXPECT_EQ(again.status, 0) << again.err;
  EXPECT_EQ(again.out, "iPad Pro 11-inch (M4) was already booted.\n");

  auto unconfirmed = orvanta({"device", "erase", kIPadPro});
  EXPECT_EQ(unconfirmed.status, 1);
  EXPECT_NE(unconfirmed.err.find("pass --yes"), std::string::npos);
  auto booted = orvanta({"device", "erase", kIPadPro, "--yes"});
  EXPECT_EQ(booted.status, 1);
  EXPECT_NE(booted.err.find("Shut down iPad Pro 11-inch (M4) before erasing it."), std::string::npos) << booted.err;

  ASSERT_EQ(orvanta({"device", "shutdown", kIPadPro}).status, 0);
  auto erased = orvanta({"device", "erase", kIPadPro, "--yes"});
  EXPECT_EQ(erased.status, 0) << erased.err;
  auto open = orvanta({"device", "open", kIPadPro});
  EXPECT_EQ(open.status, 1);
  EXPECT_NE(open.err.find("needs macOS"), std::string::npos);
}

// Each script loads in its shell and completes commands, enumerated values and device names.
TEST_F(DoctorDeviceCliTest, CompletionScriptsLoadAndComplete) {
  const auto binDir = root() / "bin";
  std::filesystem::create_directories(binDir);
  std::filesystem::create_symlink(ORVANTA_BINARY, binDir / "orvanta");
  setEnvironment("PATH", binDir.string() + ":/usr/bin:/bin");
  for (const char* shell : {"bash", "zsh", "fish"}) {
    auto script = orvanta({"completion", shell});
    ASSERT_EQ(script.status, 0) << script.err;
    std::ofstream(root() / (std::string("completion.") + shell)) << script.out;
  }
  const auto runShell = [&](const std::string& shell, const std::string& code) {
    ProcessRunner runner;
    ProcessRunner::Options options;
    options.environmentOverrides = environmentForTest();
    options.timeout = 60;
    auto output = runner.run("/usr/bin/" + shell, {"-c", code}, options);
    return output ? output->stdout.str() + output->stderr.str() : output.error().description();
  };
  // bash and zsh share the function; COMP_WORDS as the shell would set it.
  const std::string bashQuery =
      R"(_q() { COMP_WORDS=("$@"); COMP_CWORD=$(( ${#COMP_WORDS[@]} - 1 )); COMPREPLY=(); _orvanta; printf '%s\n' "${COMPREPLY[@]}"; echo ---; }
_q orvanta ap; _q orvanta ui appearance ""; _q orvanta --device iPhone\ 1; _q orvanta apps --filter u
_q orvanta device boot 'iPhone\ 1'; _q orvanta device boot '"iPhone 1')";
  const std::string names = "iPhone\\ 15\niPhone\\ 16\n---\n";
  const std::string expected = "apps\napp\n---\nlight\ndark\n---\n" + names + "user\n---\n" + names + names;
  EXPECT_EQ(runShell("bash", "source " + (root() / "completion.bash").string() + "\n" + bashQuery), expected);
  // zsh runs the same function through bashcompinit.
  EXPECT_EQ(runShell("zsh", "source " + (root() / "completion.zsh").string() + "\n" + bashQuery), expected);
  EXPECT_EQ(
      runShell("fish", "source " + (root() / "completion.fish").string() +
                           "; complete -C 'orvanta ui text-size ex'; complete -C 'orvanta target set iPhone\\ 1'"),
      "extra-extra-extra-large\nextra-extra-large\nextra-large\nextra-small\niPhone 15\niPhone 16\n");  // fish sorts
}

}  // namespace
}  // namespace orvanta::testing
