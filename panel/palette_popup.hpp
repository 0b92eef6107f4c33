// The command palette's window: a search field over the list of matching actions. Enter performs the
// chosen one, the arrow keys choose, Escape closes.
#pragma once

#include <QDialog>
#include <QLineEdit>
#include <QListWidget>

#include "viewmodels/command_palette.hpp"

namespace orvanta {

class PalettePopup : public QDialog {
  Q_OBJECT
 public:
  PalettePopup(CommandPalette& palette, QWidget* parent = nullptr);
  QLineEdit* search() const { return search_; }
  QListWidget* list() const { return list_; }
  // Lists the actions again for the query typed.
  void update();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void performChosen();

  CommandPalette& palette_;
  QLineEdit* search_;
  QListWidget* list_;
};

}  // namespace orvanta
