#include "panel/tool_page.hpp"

#include <QFileDialog>
#include <QInputDialog>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

namespace orvanta {

PanelQuestions PanelQuestions::dialogs() {
  PanelQuestions questions;
  questions.confirm = [](QWidget* parent, const QString& question, const QString& confirmTitle) {
    QMessageBox box(QMessageBox::Warning, "Orvanta", question, QMessageBox::Cancel, parent);
    auto* confirm = box.addButton(confirmTitle, QMessageBox::DestructiveRole);
    box.setDefaultButton(QMessageBox::Cancel);
    box.exec();
    return box.clickedButton() == confirm;
  };
  questions.chooseFile = [](QWidget* parent, const QString& title, const QString& filter, bool folder) {
    if (folder) return QFileDialog::getExistingDirectory(parent, title);
    return QFileDialog::getOpenFileName(parent, title, QString(), filter);
  };
  questions.saveFile = [](QWidget* parent, const QString& title, const QString& suggestedName) {
    return QFileDialog::getSaveFileName(parent, title, suggestedName);
  };
  questions.askText = [](QWidget* parent, const QString& title, const QString& label) {
    return QInputDialog::getText(parent, title, label);
  };
  return questions;
}

ToolPage::ToolPage(QString title, PanelQuestions& questions, QWidget* parent)
    : QWidget(parent), questions_(questions), title_(std::move(title)) {
  auto* outer = new QVBoxLayout(this);
  outer->setContentsMargins(0, 0, 0, 8);
  // A page taller than the window scrolls rather than squeezing its widgets into each other.
  auto* scroll = new QScrollArea(this);
  scroll->setWidgetResizable(true);
  scroll->setFrameShape(QFrame::NoFrame);
  scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  auto* content = new QWidget(scroll);
  body_ = new QVBoxLayout(content);
  body_->setContentsMargins(10, 8, 10, 0);
  body_->setSpacing(6);
  scroll->setWidget(content);
  outer->addWidget(scroll, 1);
  busy_ = new QLabel(this);
  busy_->setObjectName("busy");
  busy_->setStyleSheet("color: palette(mid);");
  busy_->setContentsMargins(10, 0, 10, 0);
  outer->addWidget(busy_);
  message_ = new QLabel(this);
  message_->setObjectName("message");
  message_->setWordWrap(true);
  message_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  message_->setContentsMargins(10, 0, 10, 0);
  outer->addWidget(message_);
}

void ToolPage::bind(PageModel& model) {
  model_ = &model;
  model.onChanged([this] {
    showModelState();
    refresh();
  });
  showModelState();
}

void ToolPage::showModelState() {
  busy_->setText(model_->busy() ? QString::fromUtf8("Working\xE2\x80\xA6") : QString());
  const auto& message = model_->message();
  message_->setText(message ? qt(message->text) : QString());
  const bool failure = message && message->kind == PageMessage::Kind::failure;
  message_->setStyleSheet(failure ? "color: #b3261e;" : "color: #1b6e20;");
  message_->setProperty("failure", failure);
}

QLabel* sectionLabel(const QString& text, QWidget* parent) {
  auto* label = new QLabel(text, parent);
  auto font = label->font();
  font.setBold(true);
  label->setFont(font);
  return label;
}

}  // namespace orvanta
