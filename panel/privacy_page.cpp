#include "panel/pages.hpp"

#include <QHBoxLayout>
#include <QVBoxLayout>

#include "tools/privacy/simulator_privacy_error.hpp"

namespace orvanta {

PrivacyPage::PrivacyPage(PanelSession& session, PanelQuestions& questions, QWidget* parent)
    : ToolPage("Privacy", questions, parent), session_(session), model_(std::make_unique<PrivacyModel>(session)) {
  apps_ = new QComboBox(this);
  apps_->setObjectName("app");
  apps_->setPlaceholderText("No app");
  body()->addWidget(apps_);
  services_ = new QListWidget(this);
  services_->setObjectName("services");
  body()->addWidget(services_, 1);
  auto* buttons = new QHBoxLayout;
  const struct {
    const char* title;
    SimulatorPrivacyAction action;
  } actions[] = {{"Grant", SimulatorPrivacyAction::grant},
                 {"Revoke", SimulatorPrivacyAction::revoke},
                 {"Reset", SimulatorPrivacyAction::reset}};
  for (const auto& entry : actions) {
    auto* button = new QPushButton(entry.title, this);
    buttons->addWidget(button);
    connect(button, &QPushButton::clicked, this, [this, action = entry.action] {
      model_->bundleIdentifier = text(apps_->currentData().toString());
      auto* item = services_->currentItem();
      model_->apply(action, item ? text(item->data(Qt::UserRole).toString()) : std::string());
    });
  }
  body()->addLayout(buttons);
  auto* note = new QLabel(qt(SimulatorPrivacyError(SimulatorPrivacyError::Case::privacyStateNotInspectable).description()),
                          this);
  note->setWordWrap(true);
  note->setStyleSheet("color: palette(mid);");
  body()->addWidget(note);
  bind(*model_);
  refresh();
}

void PrivacyPage::refresh() {
  fillAppChoice(apps_, session_);
  const QString kept = services_->currentItem() ? services_->currentItem()->data(Qt::UserRole).toString() : QString();
  services_->clear();
  for (const auto& service : model_->services().services) {
    auto* item = new QListWidgetItem(qt(service.label), services_);
    item->setData(Qt::UserRole, qt(service.name));
    if (service.note) item->setToolTip(qt(*service.note));
    if (item->data(Qt::UserRole).toString() == kept) services_->setCurrentItem(item);
  }
}

}  // namespace orvanta
