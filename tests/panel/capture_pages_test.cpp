// The console, captures and quick-input pages and the command palette, through their widgets.
#include <QAbstractItemModelTester>
#include <QKeyEvent>

#include "tests/panel/panel_window_fixture.hpp"

namespace orvanta::testing {
namespace {

class CapturePagesTest : public PanelWindowTest {};

SimulatorLogEntry logEntry(std::string message, SimulatorLogLevel level) {
  static SimulatorLogEntryIDGenerator ids;
  SimulatorLogEntry made;
  made.id = ids.next();
  made.message = std::move(message);
  made.level = level;
  made.processImagePath = "/usr/libexec/backboardd";
  made.raw = made.message;
  return made;
}

TEST_F(CapturePagesTest, TheConsoleListShowsEachBatchAndFollowsTheFilters) {
  window();
  auto& console = show<ConsolePage>("Console");
  QAbstractItemModelTester tester(console.items(), QAbstractItemModelTester::FailureReportingMode::Fatal);
  std::vector<SimulatorLogEntry> batch;
  for (int index = 0; index < 5000; ++index) {
    batch.push_back(logEntry("message\nnumber " + std::to_string(index),
                             index % 2 == 0 ? SimulatorLogLevel::info : SimulatorLogLevel::error));
  }
  console.model().receive(std::move(batch));
  ASSERT_EQ(console.items()->rowCount(), 4000);
  // One line a row, in the export's words; the newest at the bottom, in view.
  const auto last = console.items()->index(3999, 0).data().toString();
  EXPECT_TRUE(last.endsWith("ERROR backboardd: message number 4999")) << text(last);
  EXPECT_TRUE(console.list()->visualRect(console.items()->index(3999, 0)).intersects(console.list()->viewport()->rect()));

  // Not following: the list stands still while entries arrive below and fall out above, and the
  // selection stays on its entries.
  console.findChild<QCheckBox*>("follow")->setChecked(false);
  auto* list = console.list();
  list->selectionModel()->select(QItemSelection(console.items()->index(1000, 0), console.items()->index(1002, 0)),
                                 QItemSelectionModel::ClearAndSelect);
  list->selectionModel()->setCurrentIndex(console.items()->index(1001, 0), QItemSelectionModel::NoUpdate);
  list->scrollTo(console.items()->index(1500, 0), QAbstractItemView::PositionAtTop);
  ASSERT_EQ(list->selectionModel()->selectedRows().size(), 3);
  const auto topText = list->indexAt(QPoint(0, 0)).data().toString();
  const auto selectedText = console.items()->index(1000, 0).data().toString();
  std::vector<SimulatorLogEntry> more;
  for (int index = 5000; index < 5500; ++index) more.push_back(logEntry("number " + std::to_string(index), SimulatorLogLevel::error));
  console.model().receive(std::move(more));
  EXPECT_EQ(list->indexAt(QPoint(0, 0)).data().toString(), topText);
  EXPECT_EQ(list->indexAt(QPoint(0, 0)).row(), 1000);
  const auto selected = list->selectionModel()->selectedRows();
  ASSERT_EQ(selected.size(), 3);
  EXPECT_EQ(selected.front().data().toString(), selectedText);
  EXPECT_EQ(list->currentIndex().row(), 501);
  // An entry the filter hides leaves the selection; the others stay selected.
  console.levels()[1]->setChecked(false);  // Info
  EXPECT_EQ(console.items()->rowCount(), 1750 + 500);
  EXPECT_EQ(list->selectionModel()->selectedRows().size(), 1);
  console.search()->setText("number 4999");
  EXPECT_EQ(console.items()->rowCount(), 1);

  chosenFile_ = qt((root_ / "export.txt").string());
  click(&console, QString::fromUtf8("Export\xE2\x80\xA6"));
  EXPECT_EQ(text(console.messageText()), "Exported 1 entries to " + (root_ / "export.txt").string() + ".");
}

TEST_F(CapturePagesTest, ACaptureShowsItsThumbnailAndARecordingItsRunningTime) {
  window();
  auto& captures = show<CapturesPage>("Captures");
  captures.model().setScreenshotFolder(root_ / "shots");
  click(&captures, "Capture");
  ASSERT_TRUE(captures.model().lastCapture()) << text(captures.messageText());
  ASSERT_NE(captures.thumbnail()->pixmap().isNull(), true);
  EXPECT_LE(captures.thumbnail()->pixmap().height(), 200);

  captures.model().setRecordingFolder(root_ / "movies");
  click(&captures, "Record");
  ASSERT_EQ(captures.model().recording(), CapturesModel::Recording::recording) << text(captures.messageText());
  EXPECT_TRUE(captures.elapsed()->text().endsWith("0:00")) << text(captures.elapsed()->text());
  click(&captures, "Stop");
  EXPECT_TRUE(captures.model().savedMovie()) << text(captures.messageText());
}

TEST_F(CapturePagesTest, ASecretIsTypedBlindAndLeavesTheFieldAtOnce) {
  window();
  auto& input = show<QuickInputPage>("Quick input");
  auto* kind = input.findChild<QComboBox*>("kind");
  auto* secret = input.findChild<QCheckBox*>("secret");
  ASSERT_TRUE(kind && secret);
  kind->setCurrentIndex(kind->findText("Password"));
  EXPECT_TRUE(secret->isChecked());
  EXPECT_EQ(input.value()->echoMode(), QLineEdit::Password);
  input.value()->setText("hunter2");
  click(&input, "Add field");
  // No profile yet: refused, and the typed secret is gone from the widget all the same.
  EXPECT_EQ(input.value()->text(), QString());
  EXPECT_EQ(text(input.messageText()), "Choose a profile first.");
}

TEST_F(CapturePagesTest, ThePaletteFindsAnyPagesActionAsYouTypeAndRemembersIt) {
  auto& panel = window();
  QTest::keyClick(&panel, Qt::Key_K, Qt::ControlModifier);
  auto* popup = panel.findChild<PalettePopup*>("palette");
  ASSERT_NE(popup, nullptr);
  ASSERT_TRUE(popup->isVisible());
  // Every page and every button of each is there.
  EXPECT_GT(popup->list()->count(), 60);
  QTest::keyClicks(popup->search(), "consexp");
  ASSERT_GT(popup->list()->count(), 0);
  EXPECT_EQ(popup->list()->currentItem()->text(), QString::fromUtf8("Console: Export\xE2\x80\xA6"));
  chosenFile_.clear();  // the save question is cancelled
  QTest::keyClick(popup->search(), Qt::Key_Return);
  settleWindow();
  EXPECT_FALSE(popup->isVisible());
  EXPECT_EQ(panel.pageList()->currentItem()->text(), "Console");
  ASSERT_FALSE(panel.palette().recents().empty());
  EXPECT_EQ(panel.palette().recents().front(), "Console/export");
  // Opened again, the recent action comes first.
  panel.openPalette();
  EXPECT_EQ(popup->list()->item(0)->text(), QString::fromUtf8("Console: Export\xE2\x80\xA6"));
}

TEST_F(CapturePagesTest, AnActionPinnedFromThePaletteGetsAButtonThatStaysUntilTakenOff) {
  auto& panel = window();
  EXPECT_FALSE(panel.quickActionsBar()->isVisible());  // no empty bar
  auto* popup = panel.openPalette();
  QTest::keyClicks(popup->search(), "controls dark");
  ASSERT_EQ(popup->list()->currentItem()->text(), "Controls: Dark");
  EXPECT_EQ(popup->pinButton()->text(), "Pin to the Quick Actions Bar");
  QTest::mouseClick(popup->pinButton(), Qt::LeftButton);
  EXPECT_EQ(popup->pinButton()->text(), "Take Off the Quick Actions Bar");
  popup->reject();

  auto quick = [&] { return panel.quickActionsBar()->findChildren<QPushButton*>(); };
  ASSERT_EQ(quick().size(), 1u);
  EXPECT_TRUE(panel.quickActionsBar()->isVisible());
  EXPECT_EQ(quick().front()->text(), "Dark");
  EXPECT_EQ(quick().front()->toolTip(), "Controls: Dark");
  // Its button does what the page's does, from any page.
  show<DevicesPage>("Devices");
  QTest::mouseClick(quick().front(), Qt::LeftButton);
  settleWindow();
  EXPECT_EQ(panel.pageList()->currentItem()->text(), "Controls");
  EXPECT_EQ(panel.page("Controls")->messageText(), "Appearance set to Dark (confirmed).");

  // A full bar says so in the palette.
  for (const char* query : {"go to apps", "go to push", "go to privacy", "go to console", "go to captures"}) {
    popup = panel.openPalette();
    QTest::keyClicks(popup->search(), query);
    QTest::mouseClick(popup->pinButton(), Qt::LeftButton);
  }
  EXPECT_FALSE(popup->message()->isVisible());
  popup = panel.openPalette();
  QTest::keyClicks(popup->search(), "go to scenarios");
  QTest::mouseClick(popup->pinButton(), Qt::LeftButton);
  EXPECT_EQ(popup->message()->text(), "The quick actions bar holds 6 actions: take one off first.");
  popup->reject();
  EXPECT_EQ(quick().size(), 6u);

  // Another window shows the same bar; taking a button off closes the gap.
  window_.reset();
  auto& again = window();
  ASSERT_EQ(again.quickActionsBar()->findChildren<QPushButton*>().size(), 6u);
  auto* dark = again.quickActionsBar()->findChild<QPushButton*>("quick/Controls/Dark");
  ASSERT_NE(dark, nullptr);
  ASSERT_EQ(dark->actions().size(), 1);
  dark->actions().front()->trigger();
  settleWindow();
  EXPECT_EQ(again.quickActionsBar()->findChildren<QPushButton*>().size(), 5u);
  EXPECT_EQ(again.palette().quickActions().front(), "page/Apps");
}

}  // namespace
}  // namespace orvanta::testing
