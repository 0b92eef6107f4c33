#include "panel/pages.hpp"

#include <QHBoxLayout>
#include <QVBoxLayout>

#include "tools/location/location_texts.hpp"

namespace orvanta {

DeepLinksPage::DeepLinksPage(PanelSession& session, PanelQuestions& questions, QWidget* parent)
    : ToolPage("Deep links", questions, parent), session_(session), model_(std::make_unique<DeepLinksModel>(session)) {
  apps_ = new QComboBox(this);
  apps_->setObjectName("app");
  apps_->setPlaceholderText("No app");
  body()->addWidget(apps_);
  schemes_ = new QLabel(this);
  schemes_->setWordWrap(true);
  body()->addWidget(schemes_);
  url_ = new QLineEdit(this);
  url_->setObjectName("url");
  url_->setPlaceholderText("myapp://path or https://example.com/path");
  url_->setClearButtonEnabled(true);
  body()->addWidget(url_);
  check_ = new QLabel(this);
  check_->setObjectName("check");
  check_->setWordWrap(true);
  body()->addWidget(check_);
  auto* buttons = new QHBoxLayout;
  auto* open = new QPushButton("Open", this);
  open->setObjectName("open");
  auto* favorite = new QPushButton(QString::fromUtf8("Add favorite\xE2\x80\xA6"), this);
  auto* remove = new QPushButton("Remove favorite", this);
  buttons->addWidget(open);
  buttons->addWidget(favorite);
  buttons->addWidget(remove);
  body()->addLayout(buttons);
  body()->addWidget(sectionLabel("Favorites", this));
  favorites_ = new QListWidget(this);
  favorites_->setMaximumHeight(100);
  body()->addWidget(favorites_);
  body()->addWidget(sectionLabel("History", this));
  history_ = new QListWidget(this);
  body()->addWidget(history_, 1);

  connect(url_, &QLineEdit::textChanged, this, [this](const QString& value) {
    if (text(value) != model_->url()) model_->setURL(text(value));
  });
  connect(apps_, &QComboBox::currentIndexChanged, this, [this] {
    const auto chosen = text(apps_->currentData().toString());
    if (chosen != model_->bundleIdentifier()) model_->setBundleIdentifier(chosen);
  });
  connect(open, &QPushButton::clicked, this, [this] { model_->open(); });
  connect(favorite, &QPushButton::clicked, this, [this] {
    const QString label = questions_.askText(this, "Add favorite", "Label (optional)");
    model_->addFavorite(text(label));
  });
  connect(remove, &QPushButton::clicked, this, [this] {
    if (auto* item = favorites_->currentItem()) model_->removeFavorite(text(item->data(Qt::UserRole).toString()));
  });
  auto useURL = [this](QListWidgetItem* item) { url_->setText(item->data(Qt::UserRole + 1).toString()); };
  connect(favorites_, &QListWidget::itemClicked, this, useURL);
  connect(history_, &QListWidget::itemClicked, this, useURL);
  bind(*model_);
  refresh();
}

void DeepLinksPage::refresh() {
  fillAppChoice(apps_, session_);
  const auto chosen = text(apps_->currentData().toString());
  if (chosen != model_->bundleIdentifier()) model_->setBundleIdentifier(chosen);
  const auto& check = model_->check();
  std::string checkText = check.valid ? "Kind: " + check.text : check.text;
  for (const auto& note : model_->notes()) checkText += "\n" + note;
  check_->setText(qt(checkText));
  check_->setStyleSheet(check.valid ? "" : "color: #b3261e;");
  check_->setVisible(!checkText.empty());  // no gap while nothing is typed
  const auto& schemes = model_->schemes();
  if (!schemes) {
    schemes_->setText(model_->bundleIdentifier().empty() ? QString() : QString::fromUtf8("Reading its URL schemes\xE2\x80\xA6"));
  } else if (!*schemes) {
    schemes_->setText(qt(schemes->error().description()));
  } else if ((*schemes)->empty()) {
    schemes_->setText("It declares no URL schemes.");
  } else {
    std::string list = "Declares:";
    for (const auto& scheme : **schemes) list += " " + scheme.scheme + "://";
    schemes_->setText(qt(list));
  }
  const QString keptFavorite =
      favorites_->currentItem() ? favorites_->currentItem()->data(Qt::UserRole).toString() : QString();
  favorites_->clear();
  for (const auto& favorite : model_->favorites()) {
    auto* item = new QListWidgetItem(qt(favorite.label.empty() ? favorite.urlString
                                                               : favorite.label + "  " + favorite.urlString),
                                     favorites_);
    item->setData(Qt::UserRole, qt(favorite.id));
    item->setData(Qt::UserRole + 1, qt(favorite.urlString));
    if (item->data(Qt::UserRole).toString() == keptFavorite) favorites_->setCurrentItem(item);
  }
  history_->clear();
  for (const auto& entry : model_->history()) {
    auto* item = new QListWidgetItem(qt(entry.urlString + "  " + isoDateText(entry.openedAt)), history_);
    item->setData(Qt::UserRole + 1, qt(entry.urlString));
  }
}

}  // namespace orvanta
