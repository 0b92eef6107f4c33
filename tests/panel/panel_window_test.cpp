// The panel's window against the simctl emulator: clicks and keystrokes through the real widgets.
#include <QAbstractItemModelTester>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

#include "panel/pages.hpp"
#include "panel/panel_window.hpp"
#include "panel/render.hpp"
#include "panel/route_canvas.hpp"
#include "tests/panel/panel_window_fixture.hpp"

namespace orvanta::testing {
namespace {

TEST_F(PanelWindowTest, ThePickerListsEverySimulatorAndAChoiceIsRemembered) {
  auto& panel = window();
  auto* picker = panel.targetPicker();
  EXPECT_EQ(picker->count(), static_cast<int>(panel.session().devices().size()));
  EXPECT_EQ(picker->currentData().toString(), kIPhone16);
  EXPECT_EQ(panel.statusLine()->text(), "Target: iPhone 16");
  for (int index = 0; index < picker->count(); ++index) {
    EXPECT_TRUE(picker->itemText(index).contains(QString::fromUtf8("\xE2\x80\x94"))) << text(picker->itemText(index));
  }

  const int iPhone15 = picker->findData(QString(kIPhone15));
  ASSERT_GE(iPhone15, 0);
  picker->setCurrentIndex(iPhone15);
  emit picker->activated(iPhone15);
  settleWindow();
  EXPECT_EQ(environment_->selection().selectedUDID().value(), std::optional<std::string>(kIPhone15));
  EXPECT_TRUE(panel.statusLine()->text().contains("Shutdown") || panel.statusLine()->text().contains("not booted") ||
              panel.statusLine()->text().contains("iPhone 15"))
      << text(panel.statusLine()->text());
  // Tools refuse with their sentence while the target is not booted.
  auto& apps = show<AppsPage>("Apps");
  EXPECT_EQ(apps.list()->model()->rowCount(), 0);
}

TEST_F(PanelWindowTest, TheWindowKeepsResponsiveWhileSimctlIsSlow) {
  auto& panel = window();
  setFaults(R"({"list": {"delaySeconds": 2}})");
  int ticks = 0;
  QTimer timer;
  QObject::connect(&timer, &QTimer::timeout, [&] { ++ticks; });
  timer.start(20);
  QElapsedTimer clock;
  clock.start();
  panel.session().refreshDevices();
  EXPECT_TRUE(panel.session().refreshingDevices());
  EXPECT_LT(clock.elapsed(), 1000);  // the call returned long before the listing
  while (panel.session().refreshingDevices() && clock.elapsed() < 20'000) QTest::qWait(10);
  EXPECT_GE(clock.elapsed(), 1900);
  // A 20 ms timer fired all along: about 100 times in 2 s on an idle machine.
  EXPECT_GT(ticks, 40);
}

TEST_F(PanelWindowTest, EveryItemModelKeepsItsContract) {
  auto& panel = window();
  auto& devices = show<DevicesPage>("Devices");
  QAbstractItemModelTester deviceTester(devices.list()->model(), QAbstractItemModelTester::FailureReportingMode::Warning);
  auto& apps = show<AppsPage>("Apps");
  QAbstractItemModelTester appTester(apps.list()->model(), QAbstractItemModelTester::FailureReportingMode::Warning);
  QTest::keyClicks(apps.filter(), "cafe");
  settleWindow();
  apps.filter()->clear();
  panel.session().refreshDevices();
  panel.session().refreshApps();
  settleWindow();
  EXPECT_GT(apps.list()->model()->rowCount(), 2);
  // Decoration: the seeded app's icon, nothing for an app without one.
  const int cafe = static_cast<AppListModel*>(apps.list()->model())->rowOf(kCafe);
  ASSERT_GE(cafe, 0);
  EXPECT_FALSE(apps.list()->model()->index(cafe, 0).data(Qt::DecorationRole).value<QPixmap>().isNull());
}

TEST_F(PanelWindowTest, DevicesBootAndEraseOnlyAfterConfirming) {
  window();
  auto& devices = show<DevicesPage>("Devices");
  devices.select(kIPhone15);
  click(&devices, "Boot");
  EXPECT_EQ(devices.messageText(), "iPhone 15 is booted.");

  devices.select(kIPhone16);
  confirmAnswer_ = false;
  click(&devices, QString::fromUtf8("Erase\xE2\x80\xA6"));
  ASSERT_EQ(asked_.size(), 1u);
  EXPECT_EQ(asked_[0], std::string("Erase all content and settings of iPhone 16 (") + kIPhone16 + ")?");
  EXPECT_EQ(devices.messageText(), "iPhone 15 is booted.");  // declined: nothing ran
  confirmAnswer_ = true;
  click(&devices, QString::fromUtf8("Erase\xE2\x80\xA6"));
  EXPECT_EQ(devices.messageText(), "Shut down iPhone 16 before erasing it.");
}

TEST_F(PanelWindowTest, AppsFilterLaunchAndUninstall) {
  window();
  auto& apps = show<AppsPage>("Apps");
  QTest::keyClicks(apps.filter(), "cafe");
  settleWindow();
  ASSERT_EQ(apps.list()->model()->rowCount(), 1);
  apps.select(kCafe);
  click(&apps, "Launch");
  EXPECT_TRUE(apps.messageText().startsWith(QString::fromUtf8("Launched Caf\xC3\xA9"))) << text(apps.messageText());
  confirmAnswer_ = true;
  click(&apps, QString::fromUtf8("Uninstall\xE2\x80\xA6"));
  EXPECT_EQ(apps.messageText(), QString::fromUtf8("Uninstalled Caf\xC3\xA9 \"Bar\" from iPhone 16."));
  EXPECT_EQ(apps.list()->model()->rowCount(), 0);
}

TEST_F(PanelWindowTest, ControlsApplyAndShowTheReadBack) {
  window();
  auto& controls = show<ControlsPage>("Controls");
  click(&controls, "Dark");
  EXPECT_EQ(controls.messageText(), "Appearance set to Dark (confirmed).");
  click(&controls, "Low Battery");
  EXPECT_EQ(controls.messageText(), "Status bar override applied (confirmed).");
  click(&controls, "Clear overrides");
  EXPECT_EQ(controls.messageText(), "Status bar overrides cleared (confirmed).");
  click(&controls, "A+");
  EXPECT_TRUE(controls.messageText().startsWith("Text size set to")) << text(controls.messageText());
}

TEST_F(PanelWindowTest, LocationTakesTypedPointsAndDrawsARoute) {
  window();
  auto& location = show<LocationPage>("Location");
  auto* latitude = location.findChild<QLineEdit*>("latitude");
  auto* longitude = location.findChild<QLineEdit*>("longitude");
  QTest::keyClicks(latitude, "48.8584");
  QTest::keyClicks(longitude, "2.2945");
  click(&location, "Set");
  EXPECT_EQ(location.messageText(), "Location of iPhone 16 set to 48.8584, 2.2945.");
  chosenFile_ = QString(ORVANTA_FIXTURES) + "/gpx/gpx10_track.gpx";
  click(&location, QString::fromUtf8("Open GPX\xE2\x80\xA6"));
  ASSERT_TRUE(location.model().route());
  // The canvas drew something other than its empty text: some pixels in the route's colour.
  auto* canvas = location.findChild<RouteCanvas*>("route");
  const QImage picture = canvas->grab().toImage();
  int blue = 0;
  for (int y = 0; y < picture.height(); ++y) {
    for (int x = 0; x < picture.width(); ++x) blue += picture.pixelColor(x, y) == QColor(0x1a, 0x73, 0xe8);
  }
  EXPECT_GT(blue, 20);
  click(&location, "Play");
  EXPECT_TRUE(location.messageText().startsWith(QString::fromUtf8("Started \xE2\x80\x9C"))) << text(location.messageText());
}

TEST_F(PanelWindowTest, PushMarksTheErrorWhereItIsAndSends) {
  window();
  auto& push = show<PushPage>("Push");
  push.editor()->clear();
  QTest::keyClicks(push.editor(), "{\"aps\": {,}}");
  auto* check = push.findChild<QLabel*>("check");
  EXPECT_TRUE(check->text().startsWith("Invalid JSON")) << text(check->text());
  ASSERT_EQ(push.editor()->extraSelections().size(), 1);
  EXPECT_EQ(push.editor()->extraSelections().front().cursor.selectionStart(), 9);
  click(&push, "Badge");
  EXPECT_TRUE(push.editor()->extraSelections().isEmpty());
  push.apps()->setCurrentIndex(push.apps()->findData(QString(kCafe)));
  click(&push, "Send");
  EXPECT_EQ(push.messageText(), "Notification sent to com.example.cafe on iPhone 16.");
}

TEST_F(PanelWindowTest, PrivacyGrantsForTheChosenAppAndService) {
  window();
  auto& privacy = show<PrivacyPage>("Privacy");
  privacy.apps()->setCurrentIndex(privacy.apps()->findData(QString(kCafe)));
  const auto photos = privacy.services()->findItems("Photos", Qt::MatchExactly);
  ASSERT_EQ(photos.size(), 1);
  privacy.services()->setCurrentItem(photos.front());
  click(&privacy, "Grant");
  EXPECT_TRUE(privacy.messageText().startsWith("Granted Photos for com.example.cafe on iPhone 16."))
      << text(privacy.messageText());
}

TEST_F(PanelWindowTest, DeepLinksValidateAsTypedAndOpen) {
  window();
  auto& links = show<DeepLinksPage>("Deep links");
  links.apps()->setCurrentIndex(links.apps()->findData(QString(kCafe)));
  settleWindow();
  QTest::keyClicks(links.url(), "cafe://menu");
  auto* check = links.findChild<QLabel*>("check");
  EXPECT_EQ(check->text(), QString::fromUtf8("Kind: custom scheme \xE2\x80\x9C" "cafe\xE2\x80\x9D"));
  click(&links, "Open");
  EXPECT_EQ(links.messageText(), "Opened cafe://menu on iPhone 16.");
}

TEST_F(PanelWindowTest, RenderWritesOnePicturePerPage) {
  auto& panel = window();
  auto written = renderPages(panel, root_ / "pictures");
  ASSERT_TRUE(written) << written.error();
  ASSERT_EQ(written->size(), panel.pages().size() + 1);
  EXPECT_EQ(written->back().filename(), "command-palette.png");
  EXPECT_EQ((*written)[panel.pages().size() - 1].filename(), "workspaces.png");
  EXPECT_EQ((*written)[7].filename(), "console.png");
  written->pop_back();  // the palette is a window of its own
  for (const auto& path : *written) {
    QImage picture(QString::fromStdString(path.string()));
    EXPECT_EQ(picture.width(), panel.width()) << path;
  }
}

}  // namespace
}  // namespace orvanta::testing
