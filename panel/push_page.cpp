#include "panel/pages.hpp"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QTextBlock>
#include <QVBoxLayout>

#include "tools/location/location_texts.hpp"

namespace orvanta {

PushPage::PushPage(PanelSession& session, PanelQuestions& questions, QWidget* parent)
    : ToolPage("Push", questions, parent), session_(session), model_(std::make_unique<PushModel>(session)) {
  apps_ = new QComboBox(this);
  apps_->setObjectName("app");
  apps_->setPlaceholderText("No app");
  body()->addWidget(apps_);
  auto* presets = new QHBoxLayout;
  for (auto preset : allPushPresets) {
    auto* button = new QPushButton(qt(std::string(orvanta::title(preset))), this);
    presets->addWidget(button);
    connect(button, &QPushButton::clicked, this, [this, preset] { model_->usePreset(preset); });
  }
  body()->addLayout(presets);
  editor_ = new QPlainTextEdit(this);
  editor_->setObjectName("payload");
  editor_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  editor_->setPlainText(qt(model_->payload()));
  body()->addWidget(editor_, 1);
  check_ = new QLabel(this);
  check_->setObjectName("check");
  check_->setWordWrap(true);
  body()->addWidget(check_);
  auto* send = new QPushButton("Send", this);
  send->setObjectName("send");
  body()->addWidget(send);
  body()->addWidget(sectionLabel("History", this));
  history_ = new QListWidget(this);
  history_->setMaximumHeight(120);
  body()->addWidget(history_);

  connect(editor_, &QPlainTextEdit::textChanged, this, [this] {
    const auto typed = text(editor_->toPlainText());
    if (typed != model_->payload()) model_->setPayload(typed);
  });
  connect(apps_, &QComboBox::currentIndexChanged, this,
          [this] { model_->bundleIdentifier = text(apps_->currentData().toString()); });
  connect(send, &QPushButton::clicked, this, [this] { model_->send(); });
  connect(history_, &QListWidget::itemActivated, this, [this](QListWidgetItem* item) {
    model_->useHistoryEntry(text(item->data(Qt::UserRole).toString()));
  });
  bind(*model_);
  refresh();
}

void PushPage::markError() {
  QList<QTextEdit::ExtraSelection> marks;
  const auto& place = model_->check().place;
  if (place) {
    QTextEdit::ExtraSelection mark;
    const auto block = editor_->document()->findBlockByNumber(place->line - 1);
    if (block.isValid()) {
      QTextCursor cursor(block);
      cursor.movePosition(QTextCursor::Right, QTextCursor::MoveAnchor, std::max(0, place->column - 1));
      if (!cursor.movePosition(QTextCursor::Right, QTextCursor::KeepAnchor)) {
        cursor.movePosition(QTextCursor::Left, QTextCursor::KeepAnchor);
      }
      mark.cursor = cursor;
      mark.format.setUnderlineStyle(QTextCharFormat::WaveUnderline);
      mark.format.setUnderlineColor(QColor(0xb3, 0x26, 0x1e));
      mark.format.setBackground(QColor(0xfc, 0xe8, 0xe6));
      marks.push_back(mark);
    }
  }
  editor_->setExtraSelections(marks);
}

void PushPage::refresh() {
  fillAppChoice(apps_, session_);
  if (model_->bundleIdentifier.empty() || apps_->findData(qt(model_->bundleIdentifier)) < 0) {
    model_->bundleIdentifier = text(apps_->currentData().toString());
  } else {
    apps_->setCurrentIndex(apps_->findData(qt(model_->bundleIdentifier)));
  }
  if (text(editor_->toPlainText()) != model_->payload()) editor_->setPlainText(qt(model_->payload()));
  const auto& check = model_->check();
  check_->setText(qt(check.text));
  check_->setStyleSheet(check.valid ? "color: #1b6e20;" : "color: #b3261e;");
  markError();
  history_->clear();
  for (const auto& entry : model_->history()) {
    auto* item = new QListWidgetItem(qt(isoDateText(entry.sentAt) + "  " + entry.bundleIdentifier + "  " +
                                        entry.simulatorName),
                                     history_);
    item->setData(Qt::UserRole, qt(entry.id));
    item->setToolTip(qt(entry.payload));
  }
}

}  // namespace orvanta
