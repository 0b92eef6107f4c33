#include "panel/panel_window.hpp"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QHBoxLayout>
#include <algorithm>

#include <QAbstractButton>
#include <QAction>
#include <QGridLayout>
#include <QResizeEvent>
#include <QPushButton>
#include <QShortcut>
#include <QStyle>
#include <QThread>
#include <QVBoxLayout>

#include "app/environment.hpp"
#include "core/simulator_discovery_service.hpp"
#include "panel/automation_pages.hpp"
#include "panel/pages.hpp"

namespace orvanta {
namespace {

// A button of the quick-actions bar: its words cut with an ellipsis when the column is narrower than
// they are (the whole title is in the tooltip), never widening the panel.
class QuickActionButton final : public QPushButton {
 public:
  QuickActionButton(QString label, QWidget* parent) : QPushButton(label, parent), label_(std::move(label)) {
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
  }

 protected:
  void resizeEvent(QResizeEvent* event) override {
    QPushButton::resizeEvent(event);
    const int room = event->size().width() - 2 * style()->pixelMetric(QStyle::PM_ButtonMargin, nullptr, this) - 4;
    setText(fontMetrics().elidedText(label_, Qt::ElideRight, room));
  }

 private:
  QString label_;
};

}  // namespace

PanelWindow::PanelWindow(Environment& environment, PanelQuestions questions, QWidget* parent)
    : QWidget(parent), questions_(std::move(questions)) {
  setWindowTitle("Orvanta");
  setMinimumWidth(360);
  resize(400, 760);
  // Results are handed back by name through the event queue: nothing of a worker's crosses over but the call.
  session_ = std::make_unique<PanelSession>(environment, [this] {
    QMetaObject::invokeMethod(this, "drainWork", Qt::QueuedConnection);
  });

  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 8, 0, 0);
  layout->setSpacing(4);
  auto* top = new QHBoxLayout;
  top->setContentsMargins(10, 0, 10, 0);
  targets_ = new QComboBox(this);
  targets_->setObjectName("target");
  targets_->setPlaceholderText("Choose a target simulator");
  targets_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  auto* refresh = new QPushButton(QString::fromUtf8("\xE2\x86\xBB"), this);
  refresh->setToolTip("List the simulators again");
  refresh->setFixedWidth(32);
  top->addWidget(targets_, 1);
  top->addWidget(refresh);
  layout->addLayout(top);
  status_ = new QLabel(this);
  status_->setObjectName("status");
  status_->setContentsMargins(12, 0, 12, 0);
  status_->setWordWrap(true);
  layout->addWidget(status_);
  quickBar_ = new QWidget(this);
  quickBar_->setObjectName("quickActions");
  auto* quickLayout = new QGridLayout(quickBar_);
  quickLayout->setContentsMargins(10, 0, 10, 0);
  quickLayout->setSpacing(4);
  quickBar_->hide();
  layout->addWidget(quickBar_);

  pageList_ = new QListWidget(this);
  pageList_->setObjectName("pages");
  pageList_->setFlow(QListView::LeftToRight);
  pageList_->setWrapping(true);
  pageList_->setResizeMode(QListView::Adjust);
  pageList_->setSpacing(2);
  pageList_->setFixedHeight(pageRows * pageItemHeight + 2 * pageList_->spacing());
  pageList_->setFrameShape(QFrame::NoFrame);
  pageList_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  pageList_->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  layout->addWidget(pageList_);
  stack_ = new QStackedWidget(this);
  layout->addWidget(stack_, 1);

  addPage(new DevicesPage(*session_, questions_, this));
  addPage(new AppsPage(*session_, questions_, this));
  addPage(new ControlsPage(*session_, questions_, this));
  addPage(new LocationPage(*session_, questions_, this));
  addPage(new PushPage(*session_, questions_, this));
  addPage(new PrivacyPage(*session_, questions_, this));
  addPage(new DeepLinksPage(*session_, questions_, this));
  addPage(new ConsolePage(*session_, questions_, this));
  addPage(new CapturesPage(*session_, questions_, this));
  addPage(new QuickInputPage(*session_, questions_, this));
  addPage(new ScenariosPage(*session_, questions_, this));
  addPage(new WorkspacesPage(*session_, questions_, this));

  connect(pageList_, &QListWidget::currentRowChanged, this, [this](int row) {
    if (row < 0 || row >= static_cast<int>(pages_.size())) return;
    stack_->setCurrentIndex(row);
    pages_[static_cast<std::size_t>(row)]->activate();
  });
  connect(targets_, &QComboBox::activated, this, [this] {
    const auto udid = text(targets_->currentData().toString());
    if (udid.empty()) return;
    if (auto problem = session_->chooseTarget(udid)) status_->setText(qt(*problem));
  });
  connect(refresh, &QPushButton::clicked, this, [this] { session_->refreshDevices(); });
  session_->listen(lifetime_, [this] { refreshTargets(); });

  deviceRefresh_.setInterval(static_cast<int>(SimulatorDiscoveryService::fallbackInterval * 1000));
  connect(&deviceRefresh_, &QTimer::timeout, this, [this] { session_->refreshDevices(); });
  deviceRefresh_.start();
  // The services' own timers (the console's batches) run on the environment's loop; Qt's loop turns it.
  mainLoopPump_.setInterval(40);
  connect(&mainLoopPump_, &QTimer::timeout, this,
          [this] { session_->environment().mainLoop().runFor(MainLoop::Seconds(0)); });
  mainLoopPump_.start();

  palette_ = std::make_unique<CommandPalette>(environment.settings());
  // Qt reads Ctrl as Cmd on macOS.
  auto* paletteKey = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_K), this);
  paletteKey->setContext(Qt::WindowShortcut);
  connect(paletteKey, &QShortcut::activated, this, [this] { openPalette(); });
  follower_ = new WindowFollower(*this, environment.settings());
  refreshQuickActions();
  pageList_->setCurrentRow(0);
  refreshTargets();
  session_->refreshDevices();
}

PanelWindow::~PanelWindow() {
  // The session's workers stop and are joined before the widgets they report to go.
  lifetime_.reset();
  session_.reset();
}

void PanelWindow::addPage(ToolPage* page) {
  pages_.push_back(page);
  stack_->addWidget(page);
  auto* item = new QListWidgetItem(page->title(), pageList_);
  item->setTextAlignment(Qt::AlignCenter);
  item->setSizeHint(QSize(84, pageItemHeight - 4));
}

ToolPage* PanelWindow::page(const QString& title, bool show) {
  for (std::size_t index = 0; index < pages_.size(); ++index) {
    if (pages_[index]->title() != title) continue;
    if (show) pageList_->setCurrentRow(static_cast<int>(index));
    return pages_[index];
  }
  return nullptr;
}

void PanelWindow::collectActions() {
  palette_->clearActions();
  if (follower_->following()) {
    palette_->add({"window/attach", "Window: Attach beside the simulator", [this] { follower_->reattach(); }});
  }
  for (auto* toolPage : pages_) {
    const auto title = text(toolPage->title());
    palette_->add({"page/" + title, "Go to " + title, [this, toolPage] { this->page(toolPage->title(), true); }});
    // Every button of every page is an action: the palette can never fall behind the pages.
    for (auto* button : toolPage->findChildren<QAbstractButton*>()) {
      auto label = button->text();
      label.remove('&');
      if (label.trimmed().isEmpty() || label.size() < 2) continue;
      const auto name = button->objectName().isEmpty() ? label : button->objectName();
      palette_->add({title + "/" + text(name), title + ": " + text(label), [this, toolPage, button] {
                       this->page(toolPage->title(), true);
                       if (button->isEnabled()) button->click();
                     }});
    }
  }
}

void PanelWindow::closeEvent(QCloseEvent* event) {
  follower_->rememberPlace();
  QWidget::closeEvent(event);
}

void PanelWindow::refreshQuickActions() {
  collectActions();
  auto* grid = static_cast<QGridLayout*>(quickBar_->layout());
  for (auto* old : quickBar_->findChildren<QPushButton*>(Qt::FindDirectChildrenOnly)) {
    grid->removeWidget(old);
    delete old;
  }
  const auto buttons = palette_->quickButtons();
  constexpr int columns = 3;
  int index = 0;
  for (const auto& quick : buttons) {
    auto* button = new QuickActionButton(qt(quick.label), quickBar_);
    button->setObjectName(qt("quick/" + quick.action->id));
    button->setToolTip(qt(quick.action->title));
    const auto id = quick.action->id;
    connect(button, &QPushButton::clicked, this, [this, id] { palette_->performPinned(id); });
    auto* takeOff = new QAction("Take Off the Quick Actions Bar", button);
    connect(takeOff, &QAction::triggered, this, [this, id] {
      if (auto problem = palette_->setQuickAction(id, false)) {
        status_->setText(qt(*problem));
        return;
      }
      // Not while the button's own signal is being delivered.
      QMetaObject::invokeMethod(this, [this] { refreshQuickActions(); }, Qt::QueuedConnection);
    });
    button->addAction(takeOff);
    button->setContextMenuPolicy(Qt::ActionsContextMenu);
    grid->addWidget(button, index / columns, index % columns);
    ++index;
  }
  for (int column = 0; column < columns; ++column) grid->setColumnStretch(column, 1);
  quickBar_->setVisible(!buttons.empty());
}

PalettePopup* PanelWindow::openPalette() {
  collectActions();
  if (popup_ == nullptr) popup_ = new PalettePopup(*palette_, [this] { refreshQuickActions(); }, this);
  popup_->search()->clear();
  popup_->update();
  popup_->show();
  popup_->raise();
  popup_->search()->setFocus();
  return popup_;
}

void PanelWindow::refreshTargets() {
  QSignalBlocker quiet(targets_);
  targets_->clear();
  const auto& devices = session_->devices();
  const auto& status = session_->status();
  for (const auto& device : devices) {
    targets_->addItem(qt(deviceLabel(device, devices) + "  \xE2\x80\x94  " + std::string(rawValue(device.state)) +
                         ", " + device.runtimeDisplayName),
                      qt(device.udid));
  }
  // Never a silent choice: the picker shows the remembered target or nothing.
  const bool remembered = status.kind == SimulatorTargetStatus::Case::selected ||
                          status.kind == SimulatorTargetStatus::Case::lost;
  targets_->setCurrentIndex(remembered ? targets_->findData(qt(status.udid)) : -1);
  std::string line = session_->statusLine();
  if (auto error = session_->devicesError()) line += "\n" + *error;
  status_->setText(qt(line));
}

void PanelWindow::resizeEvent(QResizeEvent* event) {
  QWidget::resizeEvent(event);
  // Three rows of four pages at any width the panel takes: every page in view, none behind a scroll bar.
  // The list spans the window (no side margins); its viewport may not have its new size yet.
  const int width = std::max(60, (event->size().width() - 2 * pageList_->spacing()) / pageColumns -
                                     2 * pageList_->spacing() - 1);
  for (int row = 0; row < pageList_->count(); ++row) pageList_->item(row)->setSizeHint(QSize(width, pageItemHeight - 4));
}

void PanelWindow::drainWork() { session_->work().drain(); }

bool PanelWindow::settle(int milliseconds) {
  QElapsedTimer clock;
  clock.start();
  for (;;) {
    QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    session_->work().drain();
    if (session_->work().idle()) {
      QCoreApplication::processEvents();
      if (session_->work().idle()) return true;
    }
    if (clock.elapsed() > milliseconds) return false;
    QThread::msleep(2);
  }
}

}  // namespace orvanta
