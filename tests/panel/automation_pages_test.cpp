// The Scenarios and Workspaces pages as standalone widgets against the simctl emulator.
#include <QApplication>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTest>

#include <gtest/gtest.h>

#include "automation/workspace_plan.hpp"
#include "automation/workspace_store.hpp"
#include "panel/automation_pages.hpp"
#include "tests/viewmodels/panel_fixture.hpp"

namespace orvanta::testing {
namespace {

class AutomationPagesTest : public PanelModelTest {
 protected:
  void SetUp() override {
    PanelModelTest::SetUp();
    questions_.confirm = [this](QWidget*, const QString& question, const QString& confirmTitle) {
      asked_.push_back(text(question));
      confirmTitles_.push_back(text(confirmTitle));
      return true;
    };
    questions_.chooseFile = [this](QWidget*, const QString&, const QString&, bool) { return chosenFile_; };
    questions_.saveFile = [this](QWidget*, const QString&, const QString&) { return chosenFile_; };
    questions_.askText = [this](QWidget*, const QString&, const QString&) { return typedText_; };
  }

  // Drains the session and the event loop (where the run's question waits) until both are quiet.
  void settlePage() {
    for (int round = 0; round < 3; ++round) {
      settle();
      QApplication::processEvents();
    }
    settle();
  }
  static void click(QWidget* page, const char* name) {
    auto* found = page->findChild<QPushButton*>(name);
    ASSERT_NE(found, nullptr) << name;
    ASSERT_TRUE(found->isEnabled()) << name;
    QTest::mouseClick(found, Qt::LeftButton);
  }
  static QStringList texts(const QListWidget* list) {
    QStringList found;
    for (int row = 0; row < list->count(); ++row) found << list->item(row)->text();
    return found;
  }

  PanelQuestions questions_;
  std::vector<std::string> asked_;
  std::vector<std::string> confirmTitles_;
  QString chosenFile_;
  QString typedText_;
};

TEST_F(AutomationPagesTest, AScenarioIsComposedEditedMarkedAndRunFromThePage) {
  ScenariosPage page(session(), questions_);
  page.resize(380, 900);
  page.show();
  EXPECT_EQ(page.title(), "Scenarios");

  typedText_ = "Smoke";
  click(&page, "new");
  EXPECT_EQ(texts(page.scenarios()), QStringList{"Smoke  (0 steps)"});
  // The description is saved when the field is left, and shown as the scenario's tooltip.
  page.description()->setText("The appearance, then a place");
  emit page.description()->editingFinished();
  EXPECT_EQ(page.model().selected()->description, "The appearance, then a place");
  EXPECT_EQ(page.scenarios()->item(0)->toolTip(), "The appearance, then a place");
  EXPECT_EQ(page.description()->text(), "The appearance, then a place");

  page.stepKinds()->setCurrentIndex(page.stepKinds()->findText("Set Location"));
  click(&page, "addStep");
  ASSERT_EQ(page.steps()->count(), 1);
  EXPECT_EQ(page.steps()->currentRow(), 0);
  auto* latitude = page.findChild<QLineEdit*>("latitude");
  auto* longitude = page.findChild<QLineEdit*>("longitude");
  ASSERT_NE(latitude, nullptr);
  ASSERT_NE(longitude, nullptr);
  latitude->setText("48.1");
  longitude->setText("11.5");
  click(&page, "applyStep");
  EXPECT_EQ(texts(page.steps()), QStringList{"1. Set Location: 48.1, 11.5"});

  // A push step whose payload is not a notification is marked with the check's sentence.
  page.stepKinds()->setCurrentIndex(page.stepKinds()->findText("Send Push Notification"));
  click(&page, "addStep");
  auto* payload = page.findChild<QPlainTextEdit*>("payload");
  ASSERT_NE(payload, nullptr);
  payload->setPlainText("{}");
  click(&page, "applyStep");
  page.apps()->setCurrentIndex(page.apps()->findData(kCafe));
  click(&page, "run");
  settlePage();
  EXPECT_TRUE(asked_.empty());
  const auto marked = page.steps()->item(1)->text();
  EXPECT_TRUE(marked.startsWith("2. Send Push Notification\n")) << text(marked);
  EXPECT_EQ(page.steps()->item(1)->foreground().color(), QColor("#b3261e"));
  EXPECT_EQ(page.steps()->item(0)->text(), "1. Set Location: 48.1, 11.5");

  page.steps()->setCurrentRow(1);
  click(&page, "removeStep");
  click(&page, "run");
  settlePage();
  ASSERT_EQ(asked_.size(), 1u);
  EXPECT_EQ(asked_[0].rfind("Run Scenario: Smoke\n", 0), 0u) << asked_[0];
  EXPECT_EQ(confirmTitles_[0], "Run 1 Step");
  ASSERT_EQ(page.runView()->steps()->count(), 1);
  EXPECT_TRUE(page.runView()->steps()->item(0)->text().startsWith(QString::fromUtf8("1. Set Location: 48.1, 11.5 \xE2\x80\x94 succeeded")))
      << text(page.runView()->steps()->item(0)->text());
  EXPECT_EQ(page.messageText(), "1 succeeded.");
  EXPECT_FALSE(page.runView()->cancel()->isVisible());
}

TEST_F(AutomationPagesTest, AWorkspaceIsSavedWithItsPinsAndRestored) {
  auto& panel = session();
  {
    ScenariosModel scenarios(panel);
    scenarios.create("Warm up");
  }
  WorkspacesPage page(panel, questions_);
  page.resize(380, 900);
  page.show();
  EXPECT_EQ(page.title(), "Workspaces");
  EXPECT_EQ(page.detail()->text(), "No workspaces yet. Save the target's setup below.");
  ASSERT_EQ(page.pins()->count(), 1);
  page.pins()->item(0)->setCheckState(Qt::Checked);

  typedText_ = "Desk";
  click(&page, "save");
  settlePage();
  EXPECT_EQ(page.messageText(), "Saved workspace \"Desk\" from iPhone 16.");
  EXPECT_EQ(texts(page.workspaces()), QStringList{"Desk  (iPhone 16)"});
  EXPECT_TRUE(page.detail()->text().startsWith("Pinned scenarios:\n  Warm up\nSimulator: iPhone 16\n"))
      << text(page.detail()->text());

  click(&page, "restore");
  settlePage();
  ASSERT_EQ(asked_.size(), 1u);
  EXPECT_EQ(asked_[0].rfind("Restore Workspace: Desk\n", 0), 0u) << asked_[0];
  ASSERT_GT(page.runView()->steps()->count(), 0);
  for (const auto& line : texts(page.runView()->steps())) {
    EXPECT_TRUE(line.contains(QString::fromUtf8("\xE2\x80\x94 succeeded"))) << text(line);
  }

  // Its simulator gone, the page offers the target instead, and restores there when that is accepted.
  auto gone = *page.model().selected();
  gone.simulator.udid = "00000000-0000-4000-8000-000000000000";
  auto store = WorkspaceStore::load(*WorkspaceStore::defaultFile());
  ASSERT_TRUE(store.update(gone));
  page.model().reload();
  asked_.clear();
  click(&page, "restore");
  settlePage();
  ASSERT_EQ(asked_.size(), 2u);
  EXPECT_EQ(asked_[0], workspaceSimulatorGoneText(gone.simulator) +
                           " Restore onto the target, \"iPhone 16\" (iOS 18.2), instead?");
  EXPECT_EQ(confirmTitles_[confirmTitles_.size() - 2], "Restore onto the target");
  EXPECT_EQ(asked_[1].rfind("Restore Workspace: Desk\n", 0), 0u) << asked_[1];
}

}  // namespace
}  // namespace orvanta::testing
