#include <QHBoxLayout>
#include <QVBoxLayout>

#include "panel/pages.hpp"

namespace orvanta {

namespace {

constexpr QuickInputFieldKind fieldKinds[] = {QuickInputFieldKind::email, QuickInputFieldKind::username,
                                               QuickInputFieldKind::password, QuickInputFieldKind::phone,
                                               QuickInputFieldKind::otp, QuickInputFieldKind::custom};

}  // namespace

QuickInputPage::QuickInputPage(PanelSession& session, PanelQuestions& questions, QWidget* parent)
    : ToolPage("Quick input", questions, parent), model_(std::make_unique<QuickInputPageModel>(session)) {
  auto* profileRow = new QHBoxLayout;
  profiles_ = new QComboBox(this);
  profiles_->setObjectName("profile");
  profiles_->setPlaceholderText("No profile");
  auto* addProfile = new QPushButton("New", this);
  auto* renameProfile = new QPushButton(QString::fromUtf8("Rename\xE2\x80\xA6"), this);
  auto* removeProfile = new QPushButton("Remove", this);
  profileRow->addWidget(profiles_, 1);
  profileRow->addWidget(addProfile);
  profileRow->addWidget(renameProfile);
  profileRow->addWidget(removeProfile);
  body()->addLayout(profileRow);

  fields_ = new QListWidget(this);
  fields_->setObjectName("fields");
  fields_->setMinimumHeight(150);
  body()->addWidget(fields_, 1);
  auto* fieldButtons = new QHBoxLayout;
  auto* copy = new QPushButton("Copy", this);
  copy->setToolTip("Put the field's value on the simulator's clipboard, and read it back");
  copy->setObjectName("copy");
  auto* removeField = new QPushButton("Remove field", this);
  auto* clear = new QPushButton("Clear clipboard", this);
  clear->setObjectName("clear");
  clear->setToolTip("Empties the simulator's clipboard if it still holds what was copied");
  fieldButtons->addWidget(copy);
  fieldButtons->addWidget(removeField);
  fieldButtons->addWidget(clear);
  body()->addLayout(fieldButtons);

  body()->addWidget(sectionLabel("Add a field", this));
  auto* kindRow = new QHBoxLayout;
  kind_ = new QComboBox(this);
  kind_->setObjectName("kind");
  for (auto kind : fieldKinds) kind_->addItem(qt(std::string(orvanta::title(kind))), static_cast<int>(kind));
  secret_ = new QCheckBox("Secret", this);
  secret_->setObjectName("secret");
  secret_->setToolTip("Kept in the secret store, never shown again");
  kindRow->addWidget(kind_, 1);
  kindRow->addWidget(secret_);
  body()->addLayout(kindRow);
  label_ = new QLineEdit(this);
  label_->setObjectName("label");
  label_->setPlaceholderText("Label");
  body()->addWidget(label_);
  value_ = new QLineEdit(this);
  value_->setObjectName("value");
  value_->setPlaceholderText("Value");
  body()->addWidget(value_);
  auto* add = new QPushButton("Add field", this);
  add->setObjectName("addField");
  body()->addWidget(add);
  body()->addStretch(1);

  auto chosenField = [this] {
    auto* item = fields_->currentItem();
    return item ? text(item->data(Qt::UserRole).toString()) : std::string();
  };
  auto chosenProfile = [this] { return text(profiles_->currentData().toString()); };
  connect(profiles_, &QComboBox::activated, this, [this, chosenProfile] { model_->selectProfile(chosenProfile()); });
  connect(addProfile, &QPushButton::clicked, this, [this] {
    const auto name = questions_.askText(this, "New profile", "Name of the profile:");
    if (!name.isEmpty()) model_->addProfile(text(name));
  });
  connect(renameProfile, &QPushButton::clicked, this, [this, chosenProfile] {
    if (chosenProfile().empty()) return;
    const auto name = questions_.askText(this, "Rename the profile", "New name:");
    if (!name.isEmpty()) model_->renameProfile(chosenProfile(), text(name));
  });
  connect(removeProfile, &QPushButton::clicked, this, [this, chosenProfile] {
    if (chosenProfile().empty()) return;
    if (questions_.confirm(this, "Remove the profile \u201C" + profiles_->currentText() + "\u201D and its fields?",
                           "Remove")) {
      model_->removeProfile(chosenProfile());
    }
  });
  connect(copy, &QPushButton::clicked, this, [this, chosenField] { model_->copy(chosenField()); });
  connect(fields_, &QListWidget::itemActivated, this, [this, chosenField] { model_->copy(chosenField()); });
  connect(removeField, &QPushButton::clicked, this, [this, chosenField] {
    if (!chosenField().empty()) model_->removeField(chosenField());
  });
  connect(clear, &QPushButton::clicked, this, [this] { model_->clear(); });
  // A secret is typed blind; the kinds that are secret by nature start so.
  connect(secret_, &QCheckBox::toggled, this,
          [this](bool on) { value_->setEchoMode(on ? QLineEdit::Password : QLineEdit::Normal); });
  connect(kind_, &QComboBox::currentIndexChanged, this, [this] {
    const auto kind = static_cast<QuickInputFieldKind>(kind_->currentData().toInt());
    secret_->setChecked(kind == QuickInputFieldKind::password || kind == QuickInputFieldKind::otp);
    if (label_->text().isEmpty() || isKindTitle(label_->text())) label_->setText(kind_->currentText());
  });
  connect(add, &QPushButton::clicked, this, [this] {
    QuickInputFieldDraft draft;
    draft.kind = static_cast<QuickInputFieldKind>(kind_->currentData().toInt());
    draft.label = text(label_->text());
    draft.valueKind = secret_->isChecked() ? QuickInputFieldDraft::ValueKind::secret : QuickInputFieldDraft::ValueKind::plain;
    draft.value = text(value_->text());
    // The typed secret leaves the widget at once; the model wipes its copy once it is stored.
    value_->clear();
    model_->addField(std::move(draft));
  });
  kind_->setCurrentIndex(0);
  label_->setText(kind_->currentText());
  bind(*model_);
  refresh();
}

bool QuickInputPage::isKindTitle(const QString& label) const {
  for (int index = 0; index < kind_->count(); ++index) {
    if (kind_->itemText(index) == label) return true;
  }
  return false;
}

void QuickInputPage::activate() {
  if (loaded_) return;
  loaded_ = true;
  model_->load();
}

void QuickInputPage::refresh() {
  {
    QSignalBlocker quiet(profiles_);
    profiles_->clear();
    for (const auto& profile : model_->document().profiles) profiles_->addItem(qt(profile.name), qt(profile.id));
    const auto* selected = model_->selectedProfile();
    profiles_->setCurrentIndex(selected ? profiles_->findData(qt(selected->id)) : -1);
  }
  const QString kept = fields_->currentItem() ? fields_->currentItem()->data(Qt::UserRole).toString() : QString();
  fields_->clear();
  if (const auto* profile = model_->selectedProfile()) {
    for (const auto& field : profile->fields) {
      auto* item = new QListWidgetItem(
          qt(field.label + "  [" + std::string(orvanta::title(field.kind)) + "]  " + QuickInputPageModel::valueText(field)),
          fields_);
      item->setData(Qt::UserRole, qt(field.id));
      if (item->data(Qt::UserRole).toString() == kept) fields_->setCurrentItem(item);
    }
  }
}

}  // namespace orvanta
