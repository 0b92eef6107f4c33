#include "panel/pages.hpp"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QVBoxLayout>

#include "panel/route_canvas.hpp"
#include "tools/location/location_texts.hpp"

namespace orvanta {

LocationPage::LocationPage(PanelSession& session, PanelQuestions& questions, QWidget* parent)
    : ToolPage("Location", questions, parent), model_(std::make_unique<LocationModel>(session)) {
  body()->addWidget(sectionLabel("Point", this));
  auto* point = new QHBoxLayout;
  latitude_ = new QLineEdit(this);
  latitude_->setObjectName("latitude");
  latitude_->setPlaceholderText("Latitude");
  longitude_ = new QLineEdit(this);
  longitude_->setObjectName("longitude");
  longitude_->setPlaceholderText("Longitude");
  point->addWidget(latitude_);
  point->addWidget(longitude_);
  body()->addLayout(point);
  auto* pointButtons = new QHBoxLayout;
  auto* set = new QPushButton("Set", this);
  set->setObjectName("set");
  auto* clear = new QPushButton("Clear", this);
  auto* save = new QPushButton(QString::fromUtf8("Save preset\xE2\x80\xA6"), this);
  pointButtons->addWidget(set);
  pointButtons->addWidget(clear);
  pointButtons->addWidget(save);
  body()->addLayout(pointButtons);
  auto* lists = new QFormLayout;
  presets_ = new QComboBox(this);
  recents_ = new QComboBox(this);
  lists->addRow("Presets", presets_);
  lists->addRow("Recent", recents_);
  body()->addLayout(lists);

  body()->addWidget(sectionLabel("GPX route", this));
  canvas_ = new RouteCanvas(this);
  body()->addWidget(canvas_, 1);
  metrics_ = new QLabel(this);
  metrics_->setWordWrap(true);
  metrics_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  auto font = metrics_->font();
  font.setPointSizeF(font.pointSizeF() * 0.9);
  metrics_->setFont(font);
  body()->addWidget(metrics_);
  auto* routeRow = new QHBoxLayout;
  auto* openRoute = new QPushButton(QString::fromUtf8("Open GPX\xE2\x80\xA6"), this);
  speed_ = new QLineEdit(qt(model_->speedText), this);
  speed_->setMaximumWidth(70);
  auto* play = new QPushButton("Play", this);
  routeRow->addWidget(openRoute);
  routeRow->addWidget(new QLabel("m/s", this));
  routeRow->addWidget(speed_);
  routeRow->addWidget(play);
  body()->addLayout(routeRow);

  body()->addWidget(sectionLabel("Simulator scenarios", this));
  scenarios_ = new QListWidget(this);
  scenarios_->setMaximumHeight(90);
  body()->addWidget(scenarios_);
  auto* runScenario = new QPushButton("Run scenario", this);
  body()->addWidget(runScenario);

  connect(latitude_, &QLineEdit::textEdited, this, [this](const QString& value) { model_->latitudeText = text(value); });
  connect(longitude_, &QLineEdit::textEdited, this, [this](const QString& value) { model_->longitudeText = text(value); });
  connect(set, &QPushButton::clicked, this, [this] { model_->setPoint(); });
  connect(clear, &QPushButton::clicked, this, [this] { model_->clear(); });
  connect(save, &QPushButton::clicked, this, [this] {
    const QString label = questions_.askText(this, "Save preset", "Label");
    if (!label.isEmpty()) model_->addPreset(text(label));
  });
  connect(presets_, &QComboBox::activated, this, [this] { model_->usePreset(text(presets_->currentData().toString())); });
  connect(recents_, &QComboBox::activated, this, [this] { model_->useRecent(text(recents_->currentData().toString())); });
  connect(openRoute, &QPushButton::clicked, this, [this] {
    const QString path = questions_.chooseFile(this, "Open a GPX file", "GPX files (*.gpx);;All files (*)", false);
    if (!path.isEmpty()) model_->loadRoute(text(path));
  });
  connect(speed_, &QLineEdit::textEdited, this, [this](const QString& value) { model_->speedText = text(value); });
  connect(play, &QPushButton::clicked, this, [this] { model_->playRoute(); });
  connect(runScenario, &QPushButton::clicked, this, [this] {
    if (auto* item = scenarios_->currentItem()) model_->runScenario(text(item->data(Qt::UserRole).toString()));
  });
  bind(*model_);
  refresh();
}

void LocationPage::activate() {
  if (!scenariosListed_ && model_->scenarios().empty()) {
    scenariosListed_ = true;
    model_->listScenarios();
  }
}

void LocationPage::refresh() {
  if (!latitude_->hasFocus()) latitude_->setText(qt(model_->latitudeText));
  if (!longitude_->hasFocus()) longitude_->setText(qt(model_->longitudeText));
  {
    QSignalBlocker quiet(presets_);
    presets_->clear();
    for (const auto& preset : model_->presets()) {
      presets_->addItem(qt(preset.label + "  (" + coordinatesText(preset.coordinate) + ")"), qt(preset.id));
    }
    presets_->setPlaceholderText(presets_->count() > 0 ? QString::fromUtf8("Choose a preset\xE2\x80\xA6") : "No presets");
    presets_->setCurrentIndex(-1);
  }
  {
    QSignalBlocker quiet(recents_);
    recents_->clear();
    for (const auto& entry : model_->recents()) {
      recents_->addItem(qt(coordinatesText(entry.coordinate) + "  " + isoDateText(entry.setAt)), qt(entry.id));
    }
    recents_->setPlaceholderText(recents_->count() > 0 ? QString::fromUtf8("Choose a recent point\xE2\x80\xA6") : "None yet");
    recents_->setCurrentIndex(-1);
  }
  const auto& route = model_->route();
  canvas_->setRoute(route);
  if (route) {
    std::string lines = "\xE2\x80\x9C" + route->route.name + "\xE2\x80\x9D from " + route->route.source.filename;
    for (const auto& line : route->metricLines) lines += "\n" + line;
    for (const auto& note : route->notes) lines += "\nNote: " + note;
    if (route->unplayable) lines += "\nIt cannot be played: " + *route->unplayable;
    metrics_->setText(qt(lines));
  } else {
    metrics_->clear();
  }
  const QString kept = scenarios_->currentItem() ? scenarios_->currentItem()->data(Qt::UserRole).toString() : QString();
  scenarios_->clear();
  for (const auto& scenario : model_->scenarios()) {
    auto* item = new QListWidgetItem(qt(scenario.name + (scenario.summary.empty() ? "" : "  " + scenario.summary)),
                                     scenarios_);
    item->setData(Qt::UserRole, qt(scenario.name));
    if (item->data(Qt::UserRole).toString() == kept) scenarios_->setCurrentItem(item);
  }
}

}  // namespace orvanta
