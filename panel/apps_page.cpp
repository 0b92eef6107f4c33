#include "panel/pages.hpp"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QVBoxLayout>

namespace orvanta {

void fillAppChoice(QComboBox* combo, const PanelSession& session, const QString& noneLabel) {
  const QString kept = combo->currentData().toString();
  QSignalBlocker quiet(combo);
  combo->clear();
  if (!noneLabel.isEmpty()) combo->addItem(noneLabel, QString());
  for (const auto& app : session.apps()) {
    combo->addItem(qt(app.displayName + "  (" + app.bundleIdentifier + ")"), qt(app.bundleIdentifier));
  }
  const int index = combo->findData(kept);
  combo->setCurrentIndex(index >= 0 ? index : (combo->count() > 0 ? 0 : -1));
}

AppsPage::AppsPage(PanelSession& session, PanelQuestions& questions, QWidget* parent)
    : ToolPage("Apps", questions, parent), model_(std::make_unique<AppsModel>(session)) {
  auto* filters = new QHBoxLayout;
  filter_ = new QLineEdit(this);
  filter_->setObjectName("filter");
  filter_->setPlaceholderText("Filter by name or bundle identifier");
  filter_->setClearButtonEnabled(true);
  kind_ = new QComboBox(this);
  kind_->addItem("All", static_cast<int>(SimulatorAppFilter::all));
  kind_->addItem("User", static_cast<int>(SimulatorAppFilter::user));
  kind_->addItem("System", static_cast<int>(SimulatorAppFilter::system));
  filters->addWidget(filter_, 1);
  filters->addWidget(kind_);
  body()->addLayout(filters);

  items_ = new AppListModel(this);
  list_ = new QListView(this);
  list_->setObjectName("apps");
  list_->setModel(items_);
  list_->setIconSize(QSize(32, 32));
  list_->setSpacing(2);
  body()->addWidget(list_, 1);
  placeholder_ = new QLabel(this);
  placeholder_->setWordWrap(true);
  placeholder_->setAlignment(Qt::AlignCenter);
  body()->addWidget(placeholder_);

  auto* buttons = new QGridLayout;
  auto* launch = new QPushButton("Launch", this);
  auto* terminate = new QPushButton("Terminate", this);
  auto* uninstall = new QPushButton(QString::fromUtf8("Uninstall\xE2\x80\xA6"), this);
  auto* container = new QPushButton("Container", this);
  auto* install = new QPushButton(QString::fromUtf8("Install\xE2\x80\xA6"), this);
  auto* refreshButton = new QPushButton("Refresh", this);
  buttons->addWidget(launch, 0, 0);
  buttons->addWidget(terminate, 0, 1);
  buttons->addWidget(uninstall, 0, 2);
  buttons->addWidget(container, 1, 0);
  buttons->addWidget(install, 1, 1);
  buttons->addWidget(refreshButton, 1, 2);
  body()->addLayout(buttons);
  appButtons_ = {launch, terminate, uninstall, container};

  auto* containerRow = new QHBoxLayout;
  container_ = new QLabel(this);
  container_->setWordWrap(true);
  container_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  reveal_ = new QPushButton("Reveal", this);
  containerRow->addWidget(container_, 1);
  containerRow->addWidget(reveal_);
  body()->addLayout(containerRow);

  connect(filter_, &QLineEdit::textChanged, this, [this](const QString& value) { model_->setFilterText(text(value)); });
  connect(kind_, &QComboBox::currentIndexChanged, this, [this] {
    model_->setKindFilter(static_cast<SimulatorAppFilter>(kind_->currentData().toInt()));
  });
  connect(launch, &QPushButton::clicked, this, [this] { model_->launch(selectedApp()); });
  connect(terminate, &QPushButton::clicked, this, [this] { model_->terminate(selectedApp()); });
  connect(container, &QPushButton::clicked, this, [this] { model_->showContainer(selectedApp()); });
  connect(reveal_, &QPushButton::clicked, this, [this] { model_->revealContainer(); });
  connect(refreshButton, &QPushButton::clicked, this, [this] { model_->refresh(); });
  connect(uninstall, &QPushButton::clicked, this, [this] {
    const auto bundle = selectedApp();
    const auto question = model_->uninstallQuestion(bundle);
    if (question.empty()) return;
    if (questions_.confirm(this, qt(question), "Uninstall")) model_->uninstall(bundle);
  });
  connect(install, &QPushButton::clicked, this, [this] {
    const QString bundle = questions_.chooseFile(this, "Install an app (.app folder)", QString(), true);
    if (!bundle.isEmpty()) model_->install(text(bundle));
  });
  connect(list_->selectionModel(), &QItemSelectionModel::currentChanged, this, [this] { refresh(); });
  bind(*model_);
  refresh();
}

std::string AppsPage::selectedApp() const {
  const auto index = list_->currentIndex();
  return index.isValid() ? text(index.data(identifierRole).toString()) : std::string();
}

void AppsPage::select(const std::string& bundleIdentifier) {
  const int row = items_->rowOf(bundleIdentifier);
  if (row >= 0) list_->setCurrentIndex(items_->index(row));
}

void AppsPage::refresh() {
  const auto kept = selectedApp();
  {
    QSignalBlocker quiet(list_->selectionModel());
    items_->reset(model_->rows(), *model_);
    if (!kept.empty()) select(kept);
  }
  const auto placeholder = model_->placeholder();
  placeholder_->setText(qt(placeholder));
  placeholder_->setVisible(!placeholder.empty());
  const bool chosen = list_->currentIndex().isValid();
  for (auto* button : appButtons_) button->setEnabled(chosen && !model_->busy());
  container_->setText(model_->containerPath() ? qt(*model_->containerPath()) : QString());
  reveal_->setVisible(model_->containerPath().has_value());
}

}  // namespace orvanta
