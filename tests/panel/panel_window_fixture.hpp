// A panel window over the simctl emulator, its questions answered by the test.
#pragma once

#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

#include "panel/pages.hpp"
#include "panel/panel_window.hpp"
#include "tests/viewmodels/panel_fixture.hpp"

namespace orvanta::testing {

class PanelWindowTest : public PanelModelTest {
 protected:
  void SetUp() override {
    PanelModelTest::SetUp();
    ASSERT_TRUE(environment_->selection().setSelectedUDID(std::string(kIPhone16)));
    questions_.confirm = [this](QWidget*, const QString& question, const QString&) {
      asked_.push_back(text(question));
      return confirmAnswer_;
    };
    questions_.chooseFile = [this](QWidget*, const QString&, const QString&, bool) { return chosenFile_; };
    questions_.saveFile = [this](QWidget*, const QString&, const QString&) { return chosenFile_; };
    questions_.askText = [this](QWidget*, const QString&, const QString&) { return typedText_; };
  }
  void TearDown() override {
    window_.reset();
    PanelModelTest::TearDown();
  }

  PanelWindow& window() {
    window_ = std::make_unique<PanelWindow>(*environment_, questions_);
    window_->show();
    EXPECT_TRUE(window_->settle(60'000));
    return *window_;
  }
  void settleWindow() { ASSERT_TRUE(window_->settle(60'000)); }
  template <class Page>
  Page& show(const char* title) {
    auto* page = window_->page<Page>(title, true);
    EXPECT_NE(page, nullptr);
    settleWindow();
    return *page;
  }
  static QPushButton* button(QWidget* page, const QString& label) {
    for (auto* candidate : page->findChildren<QPushButton*>()) {
      if (candidate->text() == label) return candidate;
    }
    ADD_FAILURE() << "no button " << text(label);
    return nullptr;
  }
  void click(QWidget* page, const QString& label) {
    auto* found = button(page, label);
    if (found == nullptr) return;
    QTest::mouseClick(found, Qt::LeftButton);
    settleWindow();
  }

  PanelQuestions questions_;
  std::vector<std::string> asked_;
  bool confirmAnswer_ = false;
  QString chosenFile_;
  QString typedText_;
  std::unique_ptr<PanelWindow> window_;
};

}  // namespace orvanta::testing
