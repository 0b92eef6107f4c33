#include <gtest/gtest.h>

#include "support/file_lock.hpp"
#include "tests/viewmodels/panel_fixture.hpp"
#include "viewmodels/apps_model.hpp"
#include "viewmodels/devices_model.hpp"

namespace orvanta::testing {
namespace {

class DeviceModelsTest : public PanelModelTest {};

TEST_F(DeviceModelsTest, TheTargetIsNeverChosenSilentlyAndAChoiceListsItsApps) {
  auto& panel = session(nullptr);
  // Two simulators are booted: the panel says so and acts on neither.
  EXPECT_EQ(panel.status().kind, SimulatorTargetStatus::Case::needsChoice);
  EXPECT_NE(panel.statusLine().find("2 Simulators booted"), std::string::npos) << panel.statusLine();
  EXPECT_TRUE(panel.apps().empty());
  EXPECT_EQ(panel.target().error(), "Select a simulator first.");

  DevicesModel devices(panel);
  EXPECT_EQ(devices.rows().size(), panel.devices().size());
  devices.choose(kIPhone16);
  EXPECT_EQ(panel.status().kind, SimulatorTargetStatus::Case::selected);
  EXPECT_EQ(messageOf(devices), "Target: iPhone 16");
  settle();
  ASSERT_NE(panel.app(kCafe), nullptr);
  const auto rows = devices.rows();
  const auto target = std::find_if(rows.begin(), rows.end(), [](const DeviceRow& row) { return row.isTarget; });
  ASSERT_NE(target, rows.end());
  EXPECT_EQ(target->device.udid, kIPhone16);
  EXPECT_EQ(target->detail, "Booted \xC2\xB7 iOS 18.2");

  // A remembered target that is shut down is named, not replaced.
  devices.choose(kIPhone15);
  EXPECT_EQ(panel.status().kind, SimulatorTargetStatus::Case::lost);
  EXPECT_EQ(panel.target().error(), "The selected simulator is no longer booted.");
  EXPECT_TRUE(panel.apps().empty());
}

TEST_F(DeviceModelsTest, LifecycleChangesReadBackAndABusySimulatorIsRefusedAtOnce) {
  auto& panel = session();
  DevicesModel devices(panel);
  devices.boot(kIPhone15);
  EXPECT_TRUE(devices.busy());
  settle();
  EXPECT_FALSE(devices.busy());
  EXPECT_EQ(messageOf(devices), "iPhone 15 is booted.");
  const auto rows = devices.rows();
  EXPECT_TRUE(std::any_of(rows.begin(), rows.end(), [](const DeviceRow& row) {
    return row.device.udid == kIPhone15 && row.device.state == SimulatorState::booted;
  }));

  EXPECT_EQ(devices.eraseQuestion(kIPhone16), std::string("Erase all content and settings of iPhone 16 (") + kIPhone16 + ")?");
  devices.erase(kIPhone16);
  settle();
  EXPECT_TRUE(failed(devices));
  EXPECT_EQ(messageOf(devices), "Shut down iPhone 16 before erasing it.");

  // Another orvanta process holds the simulator: refused before anything runs, nothing waits.
  auto held = FileLock::acquire(root_ / "runtime" / "orvanta" / (std::string("gate-") + kIPhone16 + ".lock"),
                                FileLock::Wait::nonBlocking);
  ASSERT_TRUE(held && *held);
  devices.shutdown(kIPhone16);
  EXPECT_FALSE(devices.busy());
  EXPECT_EQ(messageOf(devices), "Another change to this simulator is in progress.");

  devices.open(kIPhone16);
  settle();
  EXPECT_TRUE(failed(devices));  // no device windows on this platform
}

TEST_F(DeviceModelsTest, AppsFilterActAndReportAsTheCommandLineDoes) {
  auto& panel = session();
  AppsModel apps(panel);
  settle();
  ASSERT_GT(apps.rows().size(), 2u);
  EXPECT_NE(apps.icon(kCafe), nullptr);  // the seeded app has an icon; the system apps do not

  apps.setFilterText("CAFE");
  ASSERT_EQ(apps.rows().size(), 1u);
  EXPECT_EQ(apps.rows().front().bundleIdentifier, kCafe);
  apps.setFilterText("no such app");
  EXPECT_EQ(apps.placeholder(), "No apps match.");
  apps.setFilterText("");
  apps.setKindFilter(SimulatorAppFilter::system);
  const auto systemRows = apps.rows();
  EXPECT_TRUE(std::none_of(systemRows.begin(), systemRows.end(),
                           [](const SimulatorApp& app) { return app.bundleIdentifier == kCafe; }));
  apps.setKindFilter(SimulatorAppFilter::all);

  apps.launch(kCafe);
  settle();
  EXPECT_EQ(messageOf(apps).rfind("Launched Caf\xC3\xA9 \"Bar\" on iPhone 16 (process ", 0), 0u) << messageOf(apps);
  apps.terminate(kCafe);
  settle();
  EXPECT_EQ(messageOf(apps), "Terminated Caf\xC3\xA9 \"Bar\" on iPhone 16.");

  apps.showContainer(kCafe);
  settle();
  ASSERT_TRUE(apps.containerPath());
  EXPECT_TRUE(std::filesystem::is_directory(*apps.containerPath()));

  EXPECT_EQ(apps.uninstallQuestion(kCafe),
            "Uninstall Caf\xC3\xA9 \"Bar\" (com.example.cafe) from iPhone 16? Its data is deleted with it.");
  apps.uninstall(kCafe);
  settle();
  EXPECT_EQ(messageOf(apps), "Uninstalled Caf\xC3\xA9 \"Bar\" from iPhone 16.");
  EXPECT_EQ(panel.app(kCafe), nullptr);  // listed again after the change
  apps.launch(kCafe);
  EXPECT_EQ(messageOf(apps), "Choose an installed app.");
}

}  // namespace
}  // namespace orvanta::testing
