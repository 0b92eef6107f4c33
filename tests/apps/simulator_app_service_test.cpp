#include "apps/simulator_app_service.hpp"

#include <functional>

#include <gtest/gtest.h>

#include "apps/simulator_app_discovery_service.hpp"
#include "tests/core/fake_run.hpp"

namespace orvanta {
namespace {

using testing::FakeRun;
using testing::readFixture;
using Case = SimulatorAppError::Case;
using Arguments = std::vector<std::string>;

constexpr const char* kUDID = "3BC9A608-0042-414F-B35C-7ADB869BC572";

// The error of a result that must have failed; a success is reported as a test failure.
template <class T>
SimulatorAppError errorOf(const expected<T, SimulatorAppError>& result) {
  if (result) {
    ADD_FAILURE() << "the operation succeeded";
    return SimulatorAppError::of(Case::cancelled);
  }
  return result.error();
}

SimulatorApp notes() {
  SimulatorApp app;
  app.bundleIdentifier = "com.example.notes";
  app.displayName = "Field Notes";
  app.kind = SimulatorAppKind::user;
  return app;
}

class SimulatorAppServiceTest : public ::testing::Test {
 protected:
  SimctlClient client() { return SimctlClient{fake.function(), "/usr/bin/xcrun"}; }
  SimulatorAppService service() { return SimulatorAppService(client(), gate); }

  FakeRun fake;
  SimulatorMutationGate gate;
};

TEST_F(SimulatorAppServiceTest, ArgumentListsAndResults) {
  auto apps = service();
  const std::string path = "/tmp/build/My App.app";
  fake.reply("com.example.notes: 4242\n");
  fake.reply("");
  fake.reply("");
  fake.reply("");
  fake.reply(readFixture("plist/listapps.txt"));
  fake.reply("/Users/dev/Devices/X/data/Containers/Data/Application/D4ED6A96\n");
  fake.reply(readFixture("plist/appinfo-missing.txt"));

  auto launched = apps.launch(kUDID, notes());
  ASSERT_TRUE(launched);
  EXPECT_EQ(launched->processIdentifier, 4242);
  EXPECT_TRUE(apps.terminate(kUDID, notes()));
  EXPECT_TRUE(apps.install(kUDID, path));
  EXPECT_TRUE(apps.uninstall(kUDID, notes()));
  auto container = apps.container(kUDID, notes());
  ASSERT_TRUE(container);
  EXPECT_EQ(*container, "/Users/dev/Devices/X/data/Containers/Data/Application/D4ED6A96");
  auto missing = apps.appInformation(kUDID, "com.apple.MobileSafari");
  ASSERT_TRUE(missing);
  EXPECT_FALSE(missing->app);  // the not-installed stub
  EXPECT_EQ(*missing->properties.findString("CFBundleIdentifier"), "com.apple.MobileSafari");

  const std::vector<Arguments> expected = {
      {"simctl", "launch", kUDID, "com.example.notes"},
      {"simctl", "terminate", kUDID, "com.example.notes"},
      {"simctl", "install", kUDID, path},
      {"simctl", "uninstall", kUDID, "com.example.notes"},
      {"simctl", "listapps", kUDID},
      {"simctl", "get_app_container", kUDID, "com.example.notes", "data"},
      {"simctl", "appinfo", kUDID, "com.apple.MobileSafari"},
  };
  ASSERT_EQ(fake.calls.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(fake.calls[i].executable, "/usr/bin/xcrun");
    EXPECT_EQ(fake.calls[i].arguments, expected[i]);
  }
}

// A launch failure with simctl's diagnostic, and "isn't running" read from simctl's real text, are checked
// end to end in apps_cli_test LaunchAndTerminate.
TEST_F(SimulatorAppServiceTest, EveryFailureHasItsSentence) {
  const auto exited = [](int status, std::string stderrText, std::string stdoutText = {}) -> ProcessRunner::Result {
    return ProcessRunner::Output{ByteBuffer(stdoutText), ByteBuffer(stderrText), status, false};
  };
  auto apps = service();
  auto launch = [&] { return errorOf(apps.launch(kUDID, notes())); };
  auto terminate = [&] { return errorOf(apps.terminate(kUDID, notes())); };
  auto uninstall = [&] { return errorOf(apps.uninstall(kUDID, notes())); };
  auto list = [&] { return errorOf(apps.listApps(kUDID)); };
  struct Step {
    std::function<SimulatorAppError()> run;
    std::vector<ProcessRunner::Result> replies;
    Case kind;
    std::string sentence;
  };
  const std::vector<Step> steps = {
      {launch, {exited(1, "")}, Case::launchFailed, "Couldn't launch Field Notes."},
      {terminate, {exited(1, "Simulator device returned an error.\n")}, Case::terminateFailed,
       "Couldn't terminate Field Notes: Simulator device returned an error."},
      {[&] { return errorOf(apps.install(kUDID, "/tmp/Nope.app")); },
       {exited(2, "Failed to install the requested application\n")}, Case::installFailed,
       "Install failed: Failed to install the requested application"},
      {uninstall, {exited(1, "", "details on stdout\n")}, Case::uninstallFailed,
       "Couldn't uninstall Field Notes: details on stdout"},
      // Hidden, but still there.
      {uninstall, {exited(0, ""), exited(0, "", "{ com.example.notes = { ApplicationType = Hidden; }; }")},
       Case::appStillInstalled, "The simulator did not remove the app: Field Notes"},
      {uninstall, {exited(0, ""), exited(165, "Unable to lookup in current state: Shutdown\n")}, Case::simctlFailed,
       "simctl failed (exit 165): Unable to lookup in current state: Shutdown"},
      {list, {exited(0, "", "{ a = \"caf\xe9\"; }")}, Case::unreadableOutput,
       "Couldn't read the app list: The output is not valid UTF-8."},
      {list, {unexpected(ProcessRunnerError::executableNotFound("/usr/bin/xcrun"))}, Case::simctlUnavailable,
       "Couldn't run simctl: Executable not found at /usr/bin/xcrun."},
      {uninstall, {unexpected(ProcessRunnerError::cancelled())}, Case::cancelled, "Cancelled."},
  };
  for (const auto& step : steps) {
    SCOPED_TRACE(step.sentence);
    fake.replies.assign(step.replies.begin(), step.replies.end());
    const auto error = step.run();
    EXPECT_EQ(error.kind, step.kind);
    EXPECT_EQ(error.description(), step.sentence);
    EXPECT_FALSE(gate.holder(kUDID)) << "the gate must be free after every operation";
  }
}

TEST_F(SimulatorAppServiceTest, NoAppChosenAndEarlyCancellationRunNothing) {
  auto apps = service();
  SimulatorApp none;
  EXPECT_EQ(errorOf(apps.launch(kUDID, none)).description(), "Choose an installed app.");
  EXPECT_EQ(errorOf(apps.terminate(kUDID, none)).kind, Case::noAppSelected);
  EXPECT_EQ(errorOf(apps.uninstall(kUDID, none)).kind, Case::noAppSelected);
  EXPECT_EQ(errorOf(apps.container(kUDID, none)).kind, Case::noAppSelected);

  orvanta::stop_source source;
  source.request_stop();
  EXPECT_EQ(errorOf(apps.launch(kUDID, notes(), source.get_token())).kind, Case::cancelled);
  EXPECT_EQ(errorOf(apps.install(kUDID, "/tmp/A.app", source.get_token())).kind, Case::cancelled);
  EXPECT_EQ(errorOf(apps.listApps(kUDID, source.get_token())).kind, Case::cancelled);
  EXPECT_TRUE(fake.calls.empty());
  EXPECT_FALSE(gate.holder(kUDID));
}

// The changing operations, each run once.
std::vector<std::pair<const char*, std::function<expected<void, SimulatorAppError>(SimulatorAppService&)>>> changes() {
  return {
      {"launch", [](SimulatorAppService& s) -> expected<void, SimulatorAppError> {
         auto r = s.launch(kUDID, notes());
         if (!r) return unexpected(r.error());
         return {};
       }},
      {"terminate", [](SimulatorAppService& s) { return s.terminate(kUDID, notes()); }},
      {"install", [](SimulatorAppService& s) { return s.install(kUDID, "/tmp/A.app"); }},
      {"uninstall", [](SimulatorAppService& s) { return s.uninstall(kUDID, notes()); }},
  };
}

TEST_F(SimulatorAppServiceTest, ABusySimulatorIsRefusedWithoutRunningSimctl) {
  auto apps = service();
  ASSERT_TRUE(gate.acquire(kUDID, gate_labels::scenario));
  for (const auto& [name, change] : changes()) {
    SCOPED_TRACE(name);
    const auto error = errorOf(change(apps));
    EXPECT_EQ(error.kind, Case::simulatorBusy);
    EXPECT_EQ(error.description(),
              "Another change to this simulator's apps is in progress. Try again when it finishes.");
    EXPECT_EQ(gate.holder(kUDID), "scenario");  // the refusal did not free the other holder
  }
  EXPECT_TRUE(fake.calls.empty());
  // Another simulator is not affected.
  EXPECT_TRUE(apps.terminate("OTHER-UDID", notes()));
}

TEST_F(SimulatorAppServiceTest, TheGateIsHeldWhileSimctlRunsAndReleasedAfter) {
  std::vector<std::optional<std::string>> heldDuring;
  SimctlClient watching{[&](const std::filesystem::path&, const std::vector<std::string>& arguments,
                            orvanta::stop_token) -> ProcessRunner::Result {
                          heldDuring.push_back(gate.holder(kUDID));
                          return ProcessRunner::Output{ByteBuffer(arguments[1] == "listapps" ? "{}" : ""), {}, 0, false};
                        },
                        "/usr/bin/xcrun"};
  SimulatorAppService apps(watching, gate);
  for (const auto& [name, change] : changes()) {
    SCOPED_TRACE(name);
    heldDuring.clear();
    EXPECT_TRUE(change(apps));
    ASSERT_EQ(heldDuring.size(), std::string_view(name) == "uninstall" ? 2u : 1u);  // uninstall lists again
    for (const auto& holder : heldDuring) EXPECT_EQ(holder, "apps");
    EXPECT_FALSE(gate.holder(kUDID));
  }
}

TEST(SimulatorAppDiscoveryServiceTest, KeepsTheListOfOneSimulatorAndCountsListings) {
  FakeRun fake;
  SimulatorAppDiscoveryService discovery(SimctlClient{fake.function(), "/usr/bin/xcrun"});
  EXPECT_EQ(discovery.listingRevision(), 0u);

  fake.reply(readFixture("plist/listapps.txt"));
  EXPECT_FALSE(discovery.refresh("A"));
  EXPECT_EQ(discovery.loadedForUDID(), "A");
  EXPECT_EQ(discovery.listingRevision(), 1u);
  ASSERT_NE(discovery.app("com.apple.Bridge"), nullptr);

  // A failed listing of the same simulator keeps its (stale) list.
  fake.reply("", 1, "boom\n");
  EXPECT_TRUE(discovery.refresh("A"));
  EXPECT_EQ(discovery.lastError(), "simctl failed (exit 1): boom");
  EXPECT_EQ(discovery.apps().size(), 2u);
  EXPECT_EQ(discovery.listingRevision(), 1u);

  // Of another simulator, it drops the list, which was not that simulator's.
  fake.reply("", 1, "boom\n");
  EXPECT_TRUE(discovery.refresh("B"));
  EXPECT_TRUE(discovery.apps().empty());
  EXPECT_FALSE(discovery.loadedForUDID());

  // An unchanged list still counts as a fresh listing.
  fake.reply("{}");
  EXPECT_FALSE(discovery.refresh("B"));
  EXPECT_EQ(discovery.listingRevision(), 2u);
  EXPECT_FALSE(discovery.lastError());
}

}  // namespace
}  // namespace orvanta
