#include "panel/palette_popup.hpp"

#include <QKeyEvent>
#include <QVBoxLayout>

#include "panel/tool_page.hpp"

namespace orvanta {

PalettePopup::PalettePopup(CommandPalette& palette, std::function<void()> pinsChanged, QWidget* parent)
    : QDialog(parent), palette_(palette), pinsChanged_(std::move(pinsChanged)) {
  setObjectName("palette");
  setWindowTitle("Commands");
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(8, 8, 8, 8);
  search_ = new QLineEdit(this);
  search_->setObjectName("paletteSearch");
  search_->setPlaceholderText("Type a command");
  search_->setClearButtonEnabled(true);
  list_ = new QListWidget(this);
  list_->setObjectName("paletteList");
  pin_ = new QPushButton(this);
  pin_->setObjectName("palettePin");
  pin_->setAutoDefault(false);  // Enter performs the chosen action, never this
  pin_->setToolTip("A pinned action gets a button of its own under the target picker.");
  message_ = new QLabel(this);
  message_->setObjectName("paletteMessage");
  message_->setWordWrap(true);
  message_->hide();
  layout->addWidget(search_);
  layout->addWidget(list_, 1);
  layout->addWidget(pin_);
  layout->addWidget(message_);
  search_->installEventFilter(this);
  connect(search_, &QLineEdit::textChanged, this, [this] { update(); });
  connect(list_, &QListWidget::itemActivated, this, [this] { performChosen(); });
  connect(list_, &QListWidget::currentRowChanged, this, [this] { showPinned(); });
  connect(pin_, &QPushButton::clicked, this, [this] { togglePinned(); });
  resize(360, 420);
  update();
}

void PalettePopup::update() {
  list_->clear();
  for (const auto* action : palette_.search(text(search_->text()))) {
    auto* item = new QListWidgetItem(qt(action->title), list_);
    item->setData(Qt::UserRole, qt(action->id));
  }
  if (list_->count() > 0) list_->setCurrentRow(0);
  message_->hide();
  showPinned();
}

void PalettePopup::showPinned() {
  auto* item = list_->currentItem();
  pin_->setEnabled(item != nullptr);
  const bool pinned = item != nullptr && palette_.isQuickAction(text(item->data(Qt::UserRole).toString()));
  pin_->setText(pinned ? "Take Off the Quick Actions Bar" : "Pin to the Quick Actions Bar");
}

void PalettePopup::togglePinned() {
  auto* item = list_->currentItem();
  if (item == nullptr) return;
  const auto id = text(item->data(Qt::UserRole).toString());
  auto problem = palette_.setQuickAction(id, !palette_.isQuickAction(id));
  message_->setText(problem ? qt(*problem) : QString());
  message_->setVisible(problem.has_value());
  showPinned();
  search_->setFocus();
  if (!problem && pinsChanged_) pinsChanged_();
}

bool PalettePopup::eventFilter(QObject* watched, QEvent* event) {
  if (watched == search_ && event->type() == QEvent::KeyPress) {
    const auto key = static_cast<QKeyEvent*>(event)->key();
    if (key == Qt::Key_Down || key == Qt::Key_Up) {
      const int row = list_->currentRow() + (key == Qt::Key_Down ? 1 : -1);
      if (row >= 0 && row < list_->count()) list_->setCurrentRow(row);
      return true;
    }
    if (key == Qt::Key_Return || key == Qt::Key_Enter) {
      performChosen();
      return true;
    }
  }
  return QDialog::eventFilter(watched, event);
}

void PalettePopup::performChosen() {
  auto* item = list_->currentItem();
  if (item == nullptr) return;
  const auto id = text(item->data(Qt::UserRole).toString());
  // Closed first: the action may open a dialog of its own.
  accept();
  palette_.perform(id);
}

}  // namespace orvanta
