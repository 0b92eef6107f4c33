#include <QHBoxLayout>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QSignalBlocker>
#include <QTimer>
#include <QVBoxLayout>

#include "panel/automation_pages.hpp"
#include "panel/pages.hpp"

namespace orvanta {
namespace {

const char* const failureColor = "#b3261e";

QColor outcomeColor(ScenarioStepOutcome::Case kind) {
  switch (kind) {
    case ScenarioStepOutcome::Case::succeeded:
      return QColor("#1b6e20");
    case ScenarioStepOutcome::Case::partial:
      return QColor("#8a5a00");
    case ScenarioStepOutcome::Case::failed:
      return QColor(failureColor);
    case ScenarioStepOutcome::Case::running:
      return QColor("#1a4f9c");
    case ScenarioStepOutcome::Case::pending:
    case ScenarioStepOutcome::Case::notRun:
    case ScenarioStepOutcome::Case::cancelled:
      break;
  }
  return QColor("#6b6b6b");
}

QHBoxLayout* row(std::initializer_list<QWidget*> widgets) {
  auto* layout = new QHBoxLayout;
  for (auto* widget : widgets) layout->addWidget(widget);
  return layout;
}

const QString ellipsis = QString::fromUtf8("\xE2\x80\xA6");

}  // namespace

QComboBox* narrowCombo(QWidget* parent) {
  auto* combo = new QComboBox(parent);
  combo->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  combo->setMinimumContentsLength(8);
  return combo;
}

QPushButton* namedButton(const QString& label, const char* name, QWidget* parent) {
  auto* made = new QPushButton(label, parent);
  made->setObjectName(name);
  return made;
}

QComboBox* appChoiceRow(QVBoxLayout* layout, const QString& placeholder, const QString& clearTip, QWidget* parent) {
  auto* apps = narrowCombo(parent);
  apps->setObjectName("app");
  apps->setPlaceholderText(placeholder);
  auto* clear = namedButton("Clear", "noApp", parent);
  clear->setToolTip(clearTip);
  QObject::connect(clear, &QPushButton::clicked, apps, [apps] { apps->setCurrentIndex(-1); });
  auto* row = new QHBoxLayout;
  row->addWidget(apps, 1);
  row->addWidget(clear);
  layout->addLayout(row);
  return apps;
}

PlanRunView::PlanRunView(PlanRunModel& model, QWidget* parent) : QWidget(parent), model_(model) {
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  steps_ = new QListWidget(this);
  steps_->setObjectName("runSteps");
  steps_->setWordWrap(true);
  steps_->setMaximumHeight(140);
  layout->addWidget(steps_);
  summary_ = new QLabel(this);
  summary_->setObjectName("summary");
  summary_->setWordWrap(true);
  cancel_ = namedButton("Cancel", "cancel", this);
  // Ctrl-. (Cmd-. on a Mac) stops a run before its next step, as Cancel does. Only the shown page's
  // button takes it: Qt leaves the shortcuts of hidden widgets alone.
  cancel_->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Period));
  cancel_->setToolTip(QString("Stop before the next step (%1)").arg(cancel_->shortcut().toString(QKeySequence::NativeText)));
  auto* bottom = new QHBoxLayout;
  bottom->addWidget(summary_, 1);
  bottom->addWidget(cancel_);
  layout->addLayout(bottom);
  connect(cancel_, &QPushButton::clicked, this, [this] { model_.cancelRun(); });
  refresh();
}

void PlanRunView::refresh() {
  const auto& results = model_.stepResults();
  steps_->setVisible(!results.empty());
  if (steps_->count() != static_cast<int>(results.size())) {
    steps_->clear();
    for (std::size_t index = 0; index < results.size(); ++index) new QListWidgetItem(steps_);
  }
  for (std::size_t index = 0; index < results.size(); ++index) {
    auto* item = steps_->item(static_cast<int>(index));
    item->setText(qt(stepStateText(index, results[index])));
    item->setForeground(outcomeColor(results[index].outcome.kind));
    item->setData(Qt::UserRole, qt(results[index].id));
  }
  if (model_.cancelling()) {
    summary_->setText("Cancelling after the current step" + ellipsis);
  } else {
    summary_->setText(model_.summary() ? qt(*model_.summary()) : QString());
  }
  cancel_->setVisible(model_.running());
  cancel_->setEnabled(model_.running() && !model_.cancelling());
}

void askToRun(ToolPage* page, PanelQuestions& questions, PlanRunModel& model) {
  // Asked from the event loop, not from inside the drain of results that brought the plan.
  QTimer::singleShot(0, page, [page, &questions, &model] {
    if (!model.awaitingConfirmation()) return;
    if (questions.confirm(page, qt(model.confirmationText()), qt(model.confirmButtonTitle()))) {
      model.confirmRun();
    } else {
      model.discardRun();
    }
  });
}

ScenariosPage::ScenariosPage(PanelSession& session, PanelQuestions& questions, QWidget* parent)
    : ToolPage("Scenarios", questions, parent), session_(session), model_(std::make_unique<ScenariosModel>(session)) {
  scenarios_ = new QListWidget(this);
  scenarios_->setObjectName("scenarios");
  scenarios_->setMaximumHeight(130);
  body()->addWidget(scenarios_);
  auto* create = namedButton("New" + ellipsis, "new", this);
  auto* import = namedButton("Import" + ellipsis, "import", this);
  auto* exportButton = namedButton("Export" + ellipsis, "export", this);
  body()->addLayout(row({create, import, exportButton}));
  auto* duplicate = namedButton("Duplicate", "duplicate", this);
  auto* rename = namedButton("Rename" + ellipsis, "rename", this);
  auto* remove = namedButton("Delete" + ellipsis, "delete", this);
  body()->addLayout(row({duplicate, rename, remove}));
  auto* up = namedButton("Move up", "up", this);
  auto* down = namedButton("Move down", "down", this);
  body()->addLayout(row({up, down}));
  description_ = new QLineEdit(this);
  description_->setObjectName("description");
  description_->setPlaceholderText("Description (optional)");
  body()->addWidget(description_);

  body()->addWidget(sectionLabel("Steps", this));
  steps_ = new QListWidget(this);
  steps_->setObjectName("steps");
  steps_->setWordWrap(true);
  steps_->setMaximumHeight(150);
  body()->addWidget(steps_);
  kinds_ = narrowCombo(this);
  kinds_->setObjectName("stepKind");
  for (auto kind : allScenarioStepCases) kinds_->addItem(qt(stepKindName(kind)), static_cast<int>(kind));
  auto* add = namedButton("Add step", "addStep", this);
  auto* kindRow = new QHBoxLayout;
  kindRow->addWidget(kinds_, 1);
  kindRow->addWidget(add);
  body()->addLayout(kindRow);
  auto* stepUp = namedButton("Up", "stepUp", this);
  auto* stepDown = namedButton("Down", "stepDown", this);
  auto* stepRemove = namedButton("Remove", "removeStep", this);
  body()->addLayout(row({stepUp, stepDown, stepRemove}));
  editor_ = new QFormLayout;
  editor_->setRowWrapPolicy(QFormLayout::WrapLongRows);
  editor_->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
  body()->addLayout(editor_);
  apply_ = namedButton("Apply changes", "applyStep", this);
  body()->addWidget(apply_);

  body()->addWidget(sectionLabel("Run", this));
  apps_ = appChoiceRow(body(), "No app", "Run without an app", this);
  auto* runButton = namedButton("Run" + ellipsis, "run", this);
  body()->addWidget(runButton);
  run_ = new PlanRunView(*model_, this);
  body()->addWidget(run_);
  body()->addStretch(1);

  connect(scenarios_, &QListWidget::currentRowChanged, this, [this] {
    if (!filling_) model_->select(currentScenario());
  });
  connect(steps_, &QListWidget::currentRowChanged, this, [this] {
    if (!filling_) showEditor();
  });
  connect(create, &QPushButton::clicked, this, [this] {
    const QString name = questions_.askText(this, "New scenario", "Name");
    if (!name.isEmpty()) model_->create(text(name));
  });
  connect(import, &QPushButton::clicked, this, [this] {
    const QString file = questions_.chooseFile(this, "Import scenarios", "Scenarios (*.json)", false);
    if (!file.isEmpty()) model_->importFrom(text(file));
  });
  connect(exportButton, &QPushButton::clicked, this, [this] {
    const auto* scenario = model_->selected();
    if (scenario == nullptr) return;
    const QString file = questions_.saveFile(this, "Export scenario", qt(scenario->name + ".json"));
    if (!file.isEmpty()) model_->exportTo(scenario->id, text(file));
  });
  // Saved when the field is left or Return is pressed; emptied, it removes the description.
  connect(description_, &QLineEdit::editingFinished, this, [this] {
    if (!describedID_.empty()) model_->describe(describedID_, text(description_->text()));
  });
  connect(duplicate, &QPushButton::clicked, this, [this] { model_->duplicate(currentScenario()); });
  connect(rename, &QPushButton::clicked, this, [this] {
    const QString name = questions_.askText(this, "Rename scenario", "New name");
    if (!name.isEmpty()) model_->rename(currentScenario(), text(name));
  });
  connect(remove, &QPushButton::clicked, this, [this] {
    auto* item = scenarios_->currentItem();
    if (item == nullptr) return;
    if (questions_.confirm(this, "Delete " + item->text() + "?", "Delete")) model_->remove(currentScenario());
  });
  connect(up, &QPushButton::clicked, this, [this] { model_->move(currentScenario(), -1); });
  connect(down, &QPushButton::clicked, this, [this] { model_->move(currentScenario(), 1); });
  connect(add, &QPushButton::clicked, this, [this] {
    model_->addStep(static_cast<ScenarioStepKind::Case>(kinds_->currentData().toInt()));
    steps_->setCurrentRow(steps_->count() - 1);
  });
  connect(stepUp, &QPushButton::clicked, this, [this] { model_->moveStep(currentStep(), -1); });
  connect(stepDown, &QPushButton::clicked, this, [this] { model_->moveStep(currentStep(), 1); });
  connect(stepRemove, &QPushButton::clicked, this, [this] { model_->removeStep(currentStep()); });
  connect(apply_, &QPushButton::clicked, this, [this] { model_->editStep(currentStep(), editedFields()); });
  connect(apps_, &QComboBox::currentIndexChanged, this,
          [this] { model_->bundleIdentifier = text(apps_->currentData().toString()); });
  connect(runButton, &QPushButton::clicked, this, [this] {
    model_->check([this] { askToRun(this, questions_, *model_); });
  });
  bind(*model_);
  refresh();
}

void ScenariosPage::activate() { model_->reload(); }

std::string ScenariosPage::currentScenario() const {
  auto* item = scenarios_->currentItem();
  return item != nullptr ? text(item->data(Qt::UserRole).toString()) : std::string();
}

std::string ScenariosPage::currentStep() const {
  auto* item = steps_->currentItem();
  return item != nullptr ? text(item->data(Qt::UserRole).toString()) : std::string();
}

void ScenariosPage::refresh() {
  filling_ = true;
  {
    QSignalBlocker quiet(scenarios_);
    scenarios_->clear();
    for (const auto& entry : model_->library().entries) {
      QString label;
      if (entry.readable()) {
        const auto count = entry.record.steps.size();
        label = qt(entry.record.name + "  (" + std::to_string(count) + (count == 1 ? " step)" : " steps)"));
      } else {
        label = qt(entry.message());
      }
      auto* item = new QListWidgetItem(label, scenarios_);
      item->setData(Qt::UserRole, qt(entry.id()));
      if (entry.readable() && entry.record.description) item->setToolTip(qt(*entry.record.description));
      if (!entry.readable()) item->setForeground(QColor("#6b6b6b"));
      if (entry.id() == model_->selectedID()) scenarios_->setCurrentItem(item);
    }
  }
  {
    // The field is filled from the library unless it is being typed in for the same scenario.
    const auto* scenario = model_->selected();
    const std::string id = scenario != nullptr ? scenario->id : std::string();
    if (id != describedID_ || !description_->hasFocus()) {
      description_->setText(scenario != nullptr ? qt(scenario->description.value_or("")) : QString());
      description_->setCursorPosition(0);  // a long one shows its beginning, and its tooltip all of it
      description_->setToolTip(description_->text());
    }
    describedID_ = id;
    description_->setEnabled(scenario != nullptr);
  }
  const std::string keptStep = currentStep();
  {
    QSignalBlocker quiet(steps_);
    steps_->clear();
    if (const auto* scenario = model_->selected()) {
      for (std::size_t index = 0; index < scenario->steps.size(); ++index) {
        const auto& step = scenario->steps[index];
        std::string label = std::to_string(index + 1) + ". " + step.kind.title();
        const auto issues = model_->issuesOf(step.id);
        for (const auto& issue : issues) label += "\n   \xE2\x9A\xA0 " + issue.description();
        auto* item = new QListWidgetItem(qt(label), steps_);
        item->setData(Qt::UserRole, qt(step.id));
        if (!issues.empty()) item->setForeground(QColor(failureColor));
        if (step.id == keptStep) steps_->setCurrentItem(item);
      }
    }
  }
  filling_ = false;
  showEditor();
  fillAppChoice(apps_, session_);
  if (model_->bundleIdentifier.empty()) {
    QSignalBlocker quiet(apps_);
    apps_->setCurrentIndex(-1);
  }
  model_->bundleIdentifier = text(apps_->currentData().toString());
  const bool idle = !model_->busy() && !model_->running();
  for (auto* widget : findChildren<QPushButton*>()) {
    if (widget != run_->cancel()) widget->setEnabled(idle);
  }
  run_->refresh();
}

void ScenariosPage::showEditor() {
  const auto* scenario = model_->selected();
  const std::string id = currentStep();
  std::optional<ScenarioStep> step;
  if (scenario != nullptr) {
    for (const auto& each : scenario->steps) {
      if (each.id == id) step = each;
    }
  }
  // Rebuilt only when the step itself changed, so that a run's progress does not wipe what is being typed.
  if (step == shownStep_) return;
  shownStep_ = step;
  while (editor_->rowCount() > 0) editor_->removeRow(0);
  fieldWidgets_.clear();
  fields_ = step ? stepFields(step->kind, model_->routes()) : std::vector<StepField>();
  for (const auto& field : fields_) {
    QWidget* widget = nullptr;
    if (!field.choices.empty()) {
      auto* combo = narrowCombo(this);
      for (const auto& [value, label] : field.choices) combo->addItem(qt(label), qt(value));
      combo->setCurrentIndex(combo->findData(qt(field.value)));
      widget = combo;
    } else if (field.multiline) {
      auto* edit = new QPlainTextEdit(qt(field.value), this);
      edit->setMaximumHeight(90);
      widget = edit;
    } else {
      widget = new QLineEdit(qt(field.value), this);
    }
    widget->setObjectName(qt(field.key));
    editor_->addRow(qt(field.label), widget);
    fieldWidgets_.push_back(widget);
  }
  apply_->setVisible(!fields_.empty());
}

std::vector<StepField> ScenariosPage::editedFields() const {
  auto fields = fields_;
  for (std::size_t index = 0; index < fields.size(); ++index) {
    auto* widget = fieldWidgets_[index];
    if (auto* combo = qobject_cast<QComboBox*>(widget)) {
      fields[index].value = text(combo->currentData().toString());
    } else if (auto* edit = qobject_cast<QPlainTextEdit*>(widget)) {
      fields[index].value = text(edit->toPlainText());
    } else if (auto* line = qobject_cast<QLineEdit*>(widget)) {
      fields[index].value = text(line->text());
    }
  }
  return fields;
}

}  // namespace orvanta
