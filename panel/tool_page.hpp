// What every page of the panel has: its view model's last sentence at the bottom, a busy mark while a call
// runs, and the questions it asks (a confirmation, a file) through hooks that tests replace.
#pragma once

#include <QLabel>
#include <QString>
#include <QWidget>
#include <functional>

#include "viewmodels/page_model.hpp"

class QVBoxLayout;

namespace orvanta {

// How the panel asks the user; the widget tests answer without a dialog.
struct PanelQuestions {
  // A yes/no confirmation of a change that cannot be undone: `question`, and the button that confirms.
  std::function<bool(QWidget* parent, const QString& question, const QString& confirmTitle)> confirm;
  // A file or folder to open; empty when the user cancelled. `filter` is a Qt name filter ("GPX (*.gpx)").
  std::function<QString(QWidget* parent, const QString& title, const QString& filter, bool folder)> chooseFile;
  // Where to save a file, `suggestedName` offered; empty when cancelled.
  std::function<QString(QWidget* parent, const QString& title, const QString& suggestedName)> saveFile;
  // A short text (a preset's or favourite's label); empty when cancelled.
  std::function<QString(QWidget* parent, const QString& title, const QString& label)> askText;

  static PanelQuestions dialogs();
};

class ToolPage : public QWidget {
  Q_OBJECT
 public:
  ToolPage(QString title, PanelQuestions& questions, QWidget* parent = nullptr);
  [[nodiscard]] const QString& title() const { return title_; }
  // The page's last sentence as shown (for tests and pictures).
  [[nodiscard]] QString messageText() const { return message_->text(); }

  // Called when the page is shown, so that it reads what it shows (a page loads lazily).
  virtual void activate() {}
  // Before a picture of the page is taken (--render): shows what the page looks like at work, without
  // changing the simulator (the console streams for a moment, a screenshot is taken but not saved).
  virtual void showcase() {}

 protected:
  // Connects the model's changes to refresh() and shows its message and busy state.
  void bind(PageModel& model);
  // Re-reads the model into the widgets.
  virtual void refresh() = 0;
  // The layout of the page's own widgets, above the message.
  [[nodiscard]] QVBoxLayout* body() const { return body_; }

  PanelQuestions& questions_;

 private:
  void showModelState();

  QString title_;
  QVBoxLayout* body_;
  QLabel* busy_;
  QLabel* message_;
  PageModel* model_ = nullptr;
};

// A bold section heading inside a page.
QLabel* sectionLabel(const QString& text, QWidget* parent = nullptr);

inline QString qt(const std::string& text) { return QString::fromStdString(text); }
inline std::string text(const QString& value) { return value.toStdString(); }

}  // namespace orvanta
