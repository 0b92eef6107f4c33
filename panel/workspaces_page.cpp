#include <QHBoxLayout>
#include <QSignalBlocker>
#include <QVBoxLayout>
#include <algorithm>

#include "automation/workspace_plan.hpp"
#include "panel/automation_pages.hpp"
#include "panel/pages.hpp"

namespace orvanta {
namespace {

const QString ellipsis = QString::fromUtf8("\xE2\x80\xA6");

}  // namespace

WorkspacesPage::WorkspacesPage(PanelSession& session, PanelQuestions& questions, QWidget* parent)
    : ToolPage("Workspaces", questions, parent),
      session_(session),
      model_(std::make_unique<WorkspacesModel>(session)) {
  workspaces_ = new QListWidget(this);
  workspaces_->setObjectName("workspaces");
  workspaces_->setMaximumHeight(130);
  body()->addWidget(workspaces_);
  auto* restore = namedButton("Restore" + ellipsis, "restore", this);
  auto* rename = namedButton("Rename" + ellipsis, "rename", this);
  auto* remove = namedButton("Delete" + ellipsis, "delete", this);
  auto* actions = new QHBoxLayout;
  actions->addWidget(restore);
  actions->addWidget(rename);
  actions->addWidget(remove);
  body()->addLayout(actions);
  auto* import = namedButton("Import" + ellipsis, "import", this);
  auto* exportButton = namedButton("Export" + ellipsis, "export", this);
  auto* files = new QHBoxLayout;
  files->addWidget(import);
  files->addWidget(exportButton);
  body()->addLayout(files);
  detail_ = new QLabel(this);
  detail_->setObjectName("detail");
  detail_->setWordWrap(true);
  detail_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  body()->addWidget(detail_);
  run_ = new PlanRunView(*model_, this);
  body()->addWidget(run_);

  body()->addWidget(sectionLabel("Save the target's setup", this));
  apps_ = appChoiceRow(body(), "No app to launch", "Save without an app to launch", this);
  body()->addWidget(new QLabel("Pinned scenarios:", this));
  pins_ = new QListWidget(this);
  pins_->setObjectName("pins");
  pins_->setMaximumHeight(90);
  body()->addWidget(pins_);
  auto* save = namedButton("Save as workspace" + ellipsis, "save", this);
  body()->addWidget(save);
  body()->addStretch(1);

  connect(workspaces_, &QListWidget::currentRowChanged, this, [this] {
    if (!filling_) model_->select(currentWorkspace());
  });
  connect(restore, &QPushButton::clicked, this, [this] {
    const auto ask = [this] { askToRun(this, questions_, *model_); };
    // The simulator it was saved from is gone: offer the target instead, as --device does on the command line.
    const auto* workspace = model_->selected();
    const auto& target = session_.status().device;
    if (workspace != nullptr && target && workspaceSavedDevice(workspace->simulator, session_.devices()) == nullptr) {
      const QString question = qt(workspaceSimulatorGoneText(workspace->simulator) + " Restore onto the target, \"" +
                                  target->name + "\" (" + target->runtimeDisplayName + "), instead?");
      if (questions_.confirm(this, question, "Restore onto the target")) model_->restore(workspace->id, ask, target->udid);
      return;
    }
    model_->restore(currentWorkspace(), ask);
  });
  connect(rename, &QPushButton::clicked, this, [this] {
    const QString name = questions_.askText(this, "Rename workspace", "New name");
    if (!name.isEmpty()) model_->rename(currentWorkspace(), text(name));
  });
  connect(remove, &QPushButton::clicked, this, [this] {
    auto* item = workspaces_->currentItem();
    if (item == nullptr) return;
    if (questions_.confirm(this, "Delete " + item->text() + "?", "Delete")) model_->remove(currentWorkspace());
  });
  connect(import, &QPushButton::clicked, this, [this] {
    const QString file = questions_.chooseFile(this, "Import workspaces", "Workspaces (*.json)", false);
    if (!file.isEmpty()) model_->importFrom(text(file));
  });
  connect(exportButton, &QPushButton::clicked, this, [this] {
    const auto* workspace = model_->selected();
    if (workspace == nullptr) return;
    const QString file = questions_.saveFile(this, "Export workspace", qt(workspace->name + ".json"));
    if (!file.isEmpty()) model_->exportTo(workspace->id, text(file));
  });
  connect(save, &QPushButton::clicked, this, [this] {
    const QString name = questions_.askText(this, "Save workspace", "Name");
    if (name.isEmpty()) return;
    std::vector<std::string> pinned;
    for (int index = 0; index < pins_->count(); ++index) {
      auto* item = pins_->item(index);
      if (item->checkState() == Qt::Checked) pinned.push_back(text(item->data(Qt::UserRole).toString()));
    }
    const auto app = text(apps_->currentData().toString());
    model_->save(text(name), app.empty() ? std::nullopt : std::optional(app), pinned);
  });
  bind(*model_);
  {
    QSignalBlocker quiet(apps_);
    fillAppChoice(apps_, session_);
    apps_->setCurrentIndex(-1);
  }
  refresh();
}

void WorkspacesPage::activate() { model_->reload(); }

std::string WorkspacesPage::currentWorkspace() const {
  auto* item = workspaces_->currentItem();
  return item != nullptr ? text(item->data(Qt::UserRole).toString()) : std::string();
}

void WorkspacesPage::refresh() {
  filling_ = true;
  {
    QSignalBlocker quiet(workspaces_);
    workspaces_->clear();
    for (const auto& entry : model_->store().entries) {
      QString label = entry.readable() ? qt(entry.record.name + "  (" + entry.record.simulator.name + ")")
                                       : qt(entry.message());
      auto* item = new QListWidgetItem(label, workspaces_);
      item->setData(Qt::UserRole, qt(entry.id()));
      if (!entry.readable()) item->setForeground(QColor("#6b6b6b"));
      if (entry.id() == model_->selectedID()) workspaces_->setCurrentItem(item);
    }
  }
  filling_ = false;

  std::string detail;
  if (const auto* workspace = model_->selected()) {
    // Pinned actions come first: they are what the workspace is for.
    const auto pinned = model_->pinned(*workspace);
    if (!pinned.empty()) {
      detail += "Pinned scenarios:\n";
      for (const auto& pin : pinned) detail += "  " + pin.name.value_or("(no longer in the library)") + "\n";
    }
    for (const auto& line : model_->detailLines(*workspace)) detail += line + "\n";
    if (!detail.empty()) detail.pop_back();
  } else if (model_->store().entries.empty()) {
    detail = "No workspaces yet. Save the target's setup below.";
  }
  detail_->setText(qt(detail));

  {
    // No app is a choice of its own here, which the list must not replace with its first app.
    const bool none = apps_->currentIndex() < 0;
    fillAppChoice(apps_, session_);
    QSignalBlocker quiet(apps_);
    if (none) apps_->setCurrentIndex(-1);
  }
  std::vector<std::string> checked;
  for (int index = 0; index < pins_->count(); ++index) {
    if (pins_->item(index)->checkState() == Qt::Checked) checked.push_back(text(pins_->item(index)->data(Qt::UserRole).toString()));
  }
  pins_->clear();
  for (const auto& entry : model_->scenarios().entries) {
    if (!entry.readable()) continue;
    auto* item = new QListWidgetItem(qt(entry.record.name), pins_);
    item->setData(Qt::UserRole, qt(entry.id()));
    item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
    const bool was = std::find(checked.begin(), checked.end(), entry.id()) != checked.end();
    item->setCheckState(was ? Qt::Checked : Qt::Unchecked);
  }
  pins_->setVisible(pins_->count() > 0);

  const bool idle = !model_->busy() && !model_->running();
  for (auto* widget : findChildren<QPushButton*>()) {
    if (widget != run_->cancel()) widget->setEnabled(idle);
  }
  run_->refresh();
}

}  // namespace orvanta
