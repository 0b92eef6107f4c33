// The automation pages: Scenarios (the library, the step editor, check and run) and Workspaces (saved
// setups, save and restore). Both run a plan the same way, shown by PlanRunView.
#pragma once

#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWidget>
#include <memory>
#include <optional>
#include <vector>

#include "panel/tool_page.hpp"
#include "viewmodels/scenarios_model.hpp"
#include "viewmodels/workspaces_model.hpp"

namespace orvanta {

// The steps of the current or last run with their states, the summary, and Cancel.
class PlanRunView : public QWidget {
  Q_OBJECT
 public:
  PlanRunView(PlanRunModel& model, QWidget* parent = nullptr);
  void refresh();
  QListWidget* steps() const { return steps_; }
  QPushButton* cancel() const { return cancel_; }

 private:
  PlanRunModel& model_;
  QListWidget* steps_;
  QLabel* summary_;
  QPushButton* cancel_;
};

// A combo box that does not widen the page to its longest entry (an app's name with its bundle id).
QComboBox* narrowCombo(QWidget* parent);
QPushButton* namedButton(const QString& label, const char* objectName, QWidget* parent);
// A narrow app choice ("app", showing `placeholder` when none is chosen) beside a "Clear" button ("noApp",
// with `clearTip`) that unchooses it, added to `layout`. Returns the choice.
QComboBox* appChoiceRow(QVBoxLayout* layout, const QString& placeholder, const QString& clearTip, QWidget* parent);

// Asks the confirmation of the plan `model` holds, then runs it or drops it. Called once the check that made
// the plan has come back, outside the drain of results (a dialog runs an event loop of its own).
void askToRun(ToolPage* page, PanelQuestions& questions, PlanRunModel& model);

class ScenariosPage : public ToolPage {
  Q_OBJECT
 public:
  ScenariosPage(PanelSession& session, PanelQuestions& questions, QWidget* parent = nullptr);
  ScenariosModel& model() { return *model_; }
  QListWidget* scenarios() const { return scenarios_; }
  QLineEdit* description() const { return description_; }
  QListWidget* steps() const { return steps_; }
  QComboBox* stepKinds() const { return kinds_; }
  QComboBox* apps() const { return apps_; }
  // The editor of the chosen step: one row per field.
  QFormLayout* editor() const { return editor_; }
  PlanRunView* runView() const { return run_; }
  void activate() override;

 protected:
  void refresh() override;

 private:
  [[nodiscard]] std::string currentScenario() const;
  [[nodiscard]] std::string currentStep() const;
  void showEditor();
  [[nodiscard]] std::vector<StepField> editedFields() const;

  PanelSession& session_;
  std::unique_ptr<ScenariosModel> model_;
  QListWidget* scenarios_;
  QLineEdit* description_;
  std::string describedID_;  // the scenario whose description the field shows
  QListWidget* steps_;
  QComboBox* kinds_;
  QFormLayout* editor_;
  QPushButton* apply_;
  QComboBox* apps_;
  PlanRunView* run_;
  std::vector<StepField> fields_;          // as the editor shows them
  std::vector<QWidget*> fieldWidgets_;     // one per field
  std::optional<ScenarioStep> shownStep_;  // the step the editor was filled from
  bool filling_ = false;
};

class WorkspacesPage : public ToolPage {
  Q_OBJECT
 public:
  WorkspacesPage(PanelSession& session, PanelQuestions& questions, QWidget* parent = nullptr);
  WorkspacesModel& model() { return *model_; }
  QListWidget* workspaces() const { return workspaces_; }
  QLabel* detail() const { return detail_; }
  QComboBox* apps() const { return apps_; }
  // The scenarios to pin to a workspace being saved, checkable.
  QListWidget* pins() const { return pins_; }
  PlanRunView* runView() const { return run_; }
  void activate() override;

 protected:
  void refresh() override;

 private:
  [[nodiscard]] std::string currentWorkspace() const;

  PanelSession& session_;
  std::unique_ptr<WorkspacesModel> model_;
  QListWidget* workspaces_;
  QLabel* detail_;
  QComboBox* apps_;
  QListWidget* pins_;
  PlanRunView* run_;
  bool filling_ = false;
};

}  // namespace orvanta
