#include <algorithm>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QHBoxLayout>
#include <QItemSelectionModel>
#include <QThread>
#include <QScrollBar>
#include <QVBoxLayout>

#include "panel/pages.hpp"

namespace orvanta {

ConsolePage::ConsolePage(PanelSession& session, PanelQuestions& questions, QWidget* parent)
    : ToolPage("Console", questions, parent), session_(session), model_(std::make_unique<ConsoleModel>(session)) {
  auto* controls = new QHBoxLayout;
  startStop_ = new QPushButton("Start", this);
  startStop_->setObjectName("startStop");
  pause_ = new QPushButton("Pause", this);
  pause_->setObjectName("pause");
  auto* clear = new QPushButton("Clear", this);
  controls->addWidget(startStop_);
  controls->addWidget(pause_);
  controls->addWidget(clear);
  body()->addLayout(controls);
  state_ = new QLabel(this);
  state_->setObjectName("state");
  state_->setWordWrap(true);
  body()->addWidget(state_);

  search_ = new QLineEdit(this);
  search_->setObjectName("search");
  search_->setPlaceholderText("Search messages, subsystems, categories, processes");
  search_->setClearButtonEnabled(true);
  body()->addWidget(search_);
  apps_ = new QComboBox(this);
  apps_->setObjectName("app");
  body()->addWidget(apps_);
  auto* levels = new QHBoxLayout;
  levels->setSpacing(4);
  for (auto level : allSimulatorLogLevels) {
    auto* box = new QCheckBox(qt(std::string(label(level))), this);
    box->setChecked(true);
    levels->addWidget(box);
    levels_.push_back(box);
    connect(box, &QCheckBox::toggled, this, [this, level](bool on) { model_->setLevelEnabled(level, on); });
  }
  levels->addStretch(1);
  body()->addLayout(levels);

  items_ = new ConsoleListModel(*model_, this);
  list_ = new QListView(this);
  list_->setObjectName("entries");
  list_->setModel(items_);
  // Every row one line high: the view lays out thousands of rows without asking each for its size.
  list_->setUniformItemSizes(true);
  list_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
  list_->setMinimumHeight(320);
  body()->addWidget(list_, 1);

  auto* bottom = new QHBoxLayout;
  autoScroll_ = new QCheckBox("Follow", this);
  autoScroll_->setObjectName("follow");
  autoScroll_->setToolTip("Keep the newest entry in view");
  autoScroll_->setChecked(model_->logs().autoScroll);
  auto* exportButton = new QPushButton(QString::fromUtf8("Export\xE2\x80\xA6"), this);
  exportButton->setObjectName("export");
  auto* copy = new QPushButton("Copy", this);
  copy->setObjectName("copy");
  bottom->addWidget(autoScroll_);
  bottom->addStretch(1);
  bottom->addWidget(exportButton);
  bottom->addWidget(copy);
  body()->addLayout(bottom);

  connect(startStop_, &QPushButton::clicked, this, [this] {
    if (model_->running()) {
      model_->stop();
    } else {
      model_->start();
    }
  });
  connect(pause_, &QPushButton::clicked, this, [this] {
    if (model_->state().kind == ConsoleStreamState::Case::paused) {
      model_->resume();
    } else {
      model_->pause();
    }
  });
  connect(clear, &QPushButton::clicked, this, [this] { model_->clear(); });
  connect(search_, &QLineEdit::textChanged, this, [this](const QString& typed) { model_->setSearchText(text(typed)); });
  connect(apps_, &QComboBox::activated, this, [this] {
    const auto chosen = text(apps_->currentData().toString());
    model_->setApp(chosen.empty() ? std::nullopt : std::optional<std::string>(chosen));
  });
  connect(autoScroll_, &QCheckBox::toggled, this, [this](bool on) {
    model_->setAutoScroll(on);
    if (on) list_->scrollToBottom();
  });
  connect(exportButton, &QPushButton::clicked, this, [this] {
    const auto file = questions_.saveFile(this, "Export the console", ConsoleExportService::defaultFileName);
    if (!file.isEmpty()) model_->exportTo(std::filesystem::path(text(file)));
  });
  connect(copy, &QPushButton::clicked, this, [this] { model_->copy(); });

  model_->onShownChanged = [this] { showEntries(); };
  bind(*model_);
  refresh();
}

void ConsolePage::showEntries() {
  // A batch replaces every row. What the reader looked at is found again by entry: the selection, the
  // current entry and, unless the list follows the newest, the entry at the top of the view, so that the
  // list stands still while entries arrive and fall out above.
  const bool following = model_->logs().autoScroll && model_->state().kind != ConsoleStreamState::Case::paused;
  std::vector<SimulatorLogEntryID> wanted;
  bool hasCurrent = false;
  bool hasTop = false;
  if (items_->rowCount() > 0) {
    for (const auto& index : list_->selectionModel()->selectedRows()) wanted.push_back(items_->idAt(index.row()));
    if (const auto current = list_->currentIndex(); current.isValid()) {
      wanted.push_back(items_->idAt(current.row()));
      hasCurrent = true;
    }
    if (const auto top = list_->indexAt(QPoint(0, 0)); !following && top.isValid()) {
      wanted.push_back(items_->idAt(top.row()));
      hasTop = true;
    }
  }
  items_->reset();
  if (!wanted.empty()) {
    auto rows = items_->rowsOf(wanted);
    const int top = hasTop ? rows.back() : -1;
    if (hasTop) rows.pop_back();
    const int current = hasCurrent ? rows.back() : -1;
    if (hasCurrent) rows.pop_back();
    if (current >= 0) list_->selectionModel()->setCurrentIndex(items_->index(current), QItemSelectionModel::NoUpdate);
    // Rows in order, selected a run at a time.
    std::erase(rows, -1);
    std::sort(rows.begin(), rows.end());
    QItemSelection selection;
    for (std::size_t first = 0; first < rows.size();) {
      std::size_t last = first;
      while (last + 1 < rows.size() && rows[last + 1] == rows[last] + 1) ++last;
      selection.select(items_->index(rows[first]), items_->index(rows[last]));
      first = last + 1;
    }
    if (!selection.isEmpty()) list_->selectionModel()->select(selection, QItemSelectionModel::Select);
    if (top >= 0) list_->scrollTo(items_->index(top), QAbstractItemView::PositionAtTop);
  }
  if (following) list_->scrollToBottom();
}

void ConsolePage::showcase() {
  model_->start();
  QElapsedTimer clock;
  clock.start();
  while (clock.elapsed() < 1500) {
    QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    QThread::msleep(10);
  }
  model_->stop();
}

void ConsolePage::refresh() {
  const auto kind = model_->state().kind;
  startStop_->setText(model_->running() ? "Stop" : "Start");
  pause_->setText(kind == ConsoleStreamState::Case::paused ? "Resume" : "Pause");
  pause_->setEnabled(kind == ConsoleStreamState::Case::streaming || kind == ConsoleStreamState::Case::paused);
  state_->setText(qt(model_->stateText()));

  fillAppChoice(apps_, session_, "Every process");
  // The model's choice wins: the list keeps the choice only while the app is listed.
  const auto& chosen = model_->logs().selectedAppFilterBundleID;
  QSignalBlocker quiet(apps_);
  const int index = apps_->findData(chosen ? qt(*chosen) : QString());
  apps_->setCurrentIndex(index >= 0 ? index : 0);
}

}  // namespace orvanta
