#include "panel/palette_popup.hpp"

#include <QKeyEvent>
#include <QVBoxLayout>

#include "panel/tool_page.hpp"

namespace orvanta {

PalettePopup::PalettePopup(CommandPalette& palette, QWidget* parent) : QDialog(parent), palette_(palette) {
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
  layout->addWidget(search_);
  layout->addWidget(list_, 1);
  search_->installEventFilter(this);
  connect(search_, &QLineEdit::textChanged, this, [this] { update(); });
  connect(list_, &QListWidget::itemActivated, this, [this] { performChosen(); });
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
