// The command palette's window: a search field over the list of matching actions. Enter performs the
// chosen one, the arrow keys choose, Escape closes. The button below pins the chosen action to the
// quick-actions bar, or takes it off.
#pragma once

#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <functional>

#include "viewmodels/command_palette.hpp"

namespace orvanta {

class PalettePopup : public QDialog {
  Q_OBJECT
 public:
  // `pinsChanged` runs after the chosen action was pinned or taken off.
  PalettePopup(CommandPalette& palette, std::function<void()> pinsChanged, QWidget* parent = nullptr);
  QLineEdit* search() const { return search_; }
  QListWidget* list() const { return list_; }
  QPushButton* pinButton() const { return pin_; }
  QLabel* message() const { return message_; }
  // Lists the actions again for the query typed.
  void update();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void performChosen();
  void togglePinned();
  void showPinned();

  CommandPalette& palette_;
  std::function<void()> pinsChanged_;
  QLineEdit* search_;
  QListWidget* list_;
  QPushButton* pin_;
  QLabel* message_;
};

}  // namespace orvanta
