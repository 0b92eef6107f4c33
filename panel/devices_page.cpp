#include "panel/pages.hpp"

#include <QGridLayout>
#include <QVBoxLayout>

namespace orvanta {

DevicesPage::DevicesPage(PanelSession& session, PanelQuestions& questions, QWidget* parent)
    : ToolPage("Devices", questions, parent), session_(session), model_(std::make_unique<DevicesModel>(session)) {
  items_ = new DeviceListModel(this);
  list_ = new QListView(this);
  list_->setObjectName("devices");
  list_->setModel(items_);
  list_->setSpacing(2);
  list_->setUniformItemSizes(true);
  body()->addWidget(list_, 1);

  auto* buttons = new QGridLayout;
  choose_ = new QPushButton("Use as target", this);
  boot_ = new QPushButton("Boot", this);
  shutdown_ = new QPushButton("Shut down", this);
  erase_ = new QPushButton(QString::fromUtf8("Erase\xE2\x80\xA6"), this);
  open_ = new QPushButton("Open window", this);
  auto* refreshButton = new QPushButton("Refresh", this);
  buttons->addWidget(choose_, 0, 0);
  buttons->addWidget(boot_, 0, 1);
  buttons->addWidget(shutdown_, 0, 2);
  buttons->addWidget(erase_, 1, 0);
  buttons->addWidget(open_, 1, 1);
  buttons->addWidget(refreshButton, 1, 2);
  body()->addLayout(buttons);

  connect(choose_, &QPushButton::clicked, this, [this] { model_->choose(selectedUDID()); });
  connect(boot_, &QPushButton::clicked, this, [this] { model_->boot(selectedUDID()); });
  connect(shutdown_, &QPushButton::clicked, this, [this] { model_->shutdown(selectedUDID()); });
  connect(open_, &QPushButton::clicked, this, [this] { model_->open(selectedUDID()); });
  connect(refreshButton, &QPushButton::clicked, this, [this] { model_->refresh(); });
  connect(erase_, &QPushButton::clicked, this, [this] {
    const auto udid = selectedUDID();
    const auto question = model_->eraseQuestion(udid);
    if (question.empty()) return;
    if (questions_.confirm(this, qt(question), "Erase")) model_->erase(udid);
  });
  connect(list_, &QListView::doubleClicked, this, [this] { model_->choose(selectedUDID()); });
  connect(list_->selectionModel(), &QItemSelectionModel::currentChanged, this, [this] { refresh(); });
  bind(*model_);
  refresh();
}

std::string DevicesPage::selectedUDID() const {
  const auto index = list_->currentIndex();
  return index.isValid() ? text(index.data(identifierRole).toString()) : std::string();
}

void DevicesPage::select(const std::string& udid) {
  const int row = items_->rowOf(udid);
  if (row >= 0) list_->setCurrentIndex(items_->index(row));
}

void DevicesPage::refresh() {
  const auto kept = selectedUDID();
  {
    QSignalBlocker quiet(list_->selectionModel());
    items_->reset(model_->rows());
    if (!kept.empty()) {
      select(kept);
    } else if (session_.status().device) {
      select(session_.status().udid);  // the target, until the user picks another row
    }
  }
  const bool chosen = list_->currentIndex().isValid();
  for (auto* button : {choose_, boot_, shutdown_, erase_, open_}) button->setEnabled(chosen && !model_->busy());
}

}  // namespace orvanta
