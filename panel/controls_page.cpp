#include "panel/pages.hpp"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QVBoxLayout>

namespace orvanta {
namespace {

// A spin box whose lowest value means "leave as it is".
QSpinBox* optionalSpin(int maximum, QWidget* parent) {
  auto* spin = new QSpinBox(parent);
  spin->setRange(-1, maximum);
  spin->setSpecialValueText(QString::fromUtf8("\xE2\x80\x94"));
  return spin;
}

std::optional<int> spinValue(const QSpinBox* spin) {
  return spin->value() < 0 ? std::nullopt : std::optional(spin->value());
}

std::optional<std::string> lineValue(const QLineEdit* line) {
  return line->text().isEmpty() ? std::nullopt : std::optional(text(line->text()));
}

std::string statusBarSummary(const StatusBarReading& reading) {
  if (!reading.hasOverrides) return "No overrides: the simulator shows its own status bar.";
  const auto& values = reading.values;
  std::string summary = "Overrides:";
  if (values.time) summary += " time " + *values.time + ";";
  if (values.dataNetwork) summary += " network " + std::string(rawValue(*values.dataNetwork)) + ";";
  if (values.wifiBars) summary += " Wi-Fi " + std::to_string(*values.wifiBars) + " bars;";
  if (values.cellularBars) summary += " cellular " + std::to_string(*values.cellularBars) + " bars;";
  if (values.operatorName) summary += " operator \xE2\x80\x9C" + *values.operatorName + "\xE2\x80\x9D;";
  if (values.batteryLevel) summary += " battery " + std::to_string(*values.batteryLevel) + "%;";
  if (summary.back() == ';') summary.back() = '.';
  return summary;
}

}  // namespace

ControlsPage::ControlsPage(PanelSession& session, PanelQuestions& questions, QWidget* parent)
    : ToolPage("Controls", questions, parent), model_(std::make_unique<ControlsModel>(session)) {
  body()->addWidget(sectionLabel("Appearance", this));
  auto* appearance = new QHBoxLayout;
  light_ = new QPushButton("Light", this);
  dark_ = new QPushButton("Dark", this);
  light_->setCheckable(true);
  dark_->setCheckable(true);
  appearance->addWidget(light_);
  appearance->addWidget(dark_);
  body()->addLayout(appearance);
  contrast_ = new QCheckBox("Increased contrast", this);
  body()->addWidget(contrast_);

  body()->addWidget(sectionLabel("Text size", this));
  auto* size = new QHBoxLayout;
  auto* smaller = new QPushButton(QString::fromUtf8("A\xE2\x88\x92"), this);
  auto* larger = new QPushButton("A+", this);
  smaller->setObjectName("smaller");
  larger->setObjectName("larger");
  textSize_ = new QLabel(this);
  sizes_ = new QComboBox(this);
  for (auto value : allContentSizes) sizes_->addItem(qt(displayName(value)), static_cast<int>(value));
  size->addWidget(smaller);
  size->addWidget(textSize_, 1);
  size->addWidget(larger);
  body()->addLayout(size);
  body()->addWidget(sizes_);

  body()->addWidget(sectionLabel("Status bar", this));
  auto* presets = new QHBoxLayout;
  for (const auto& preset : statusBarPresets()) {
    auto* button = new QPushButton(qt(preset.title), this);
    button->setToolTip(qt(preset.subtitle));
    presets->addWidget(button);
    connect(button, &QPushButton::clicked, this, [this, id = preset.id] { model_->applyPreset(id); });
  }
  body()->addLayout(presets);
  auto* form = new QFormLayout;
  time_ = new QLineEdit(this);
  time_->setPlaceholderText("9:41");
  operator_ = new QLineEdit(this);
  network_ = new QComboBox(this);
  network_->addItem(QString::fromUtf8("\xE2\x80\x94"), -1);
  for (auto value : allDataNetworks) network_->addItem(qt(std::string(rawValue(value))), static_cast<int>(value));
  wifiBars_ = optionalSpin(3, this);
  cellBars_ = optionalSpin(4, this);
  battery_ = optionalSpin(100, this);
  form->addRow("Time", time_);
  form->addRow("Operator", operator_);
  form->addRow("Network", network_);
  form->addRow("Wi-Fi bars", wifiBars_);
  form->addRow("Cellular bars", cellBars_);
  form->addRow("Battery %", battery_);
  body()->addLayout(form);
  auto* statusButtons = new QHBoxLayout;
  auto* apply = new QPushButton("Apply", this);
  auto* clear = new QPushButton("Clear overrides", this);
  statusButtons->addWidget(apply);
  statusButtons->addWidget(clear);
  body()->addLayout(statusButtons);
  statusBar_ = new QLabel(this);
  statusBar_->setWordWrap(true);
  body()->addWidget(statusBar_);
  body()->addStretch(1);

  connect(light_, &QPushButton::clicked, this, [this] { model_->setAppearance(SimulatorAppearance::light); });
  connect(dark_, &QPushButton::clicked, this, [this] { model_->setAppearance(SimulatorAppearance::dark); });
  connect(contrast_, &QCheckBox::clicked, this, [this](bool on) { model_->setIncreasedContrast(on); });
  connect(smaller, &QPushButton::clicked, this, [this] { model_->stepContentSize(SimulatorContentSizeStep::decrement); });
  connect(larger, &QPushButton::clicked, this, [this] { model_->stepContentSize(SimulatorContentSizeStep::increment); });
  connect(sizes_, &QComboBox::activated, this, [this] {
    model_->setContentSize(static_cast<SimulatorContentSize>(sizes_->currentData().toInt()));
  });
  for (auto* line : {time_, operator_}) connect(line, &QLineEdit::editingFinished, this, [this] { editDraft(); });
  connect(network_, &QComboBox::activated, this, [this] { editDraft(); });
  for (auto* spin : {wifiBars_, cellBars_, battery_}) {
    connect(spin, &QSpinBox::valueChanged, this, [this] { editDraft(); });
  }
  connect(apply, &QPushButton::clicked, this, [this] {
    editDraft();
    model_->applyDraft();
  });
  connect(clear, &QPushButton::clicked, this, [this] { model_->clearStatusBar(); });
  bind(*model_);
  refresh();
}

void ControlsPage::editDraft() {
  if (filling_) return;
  StatusBarEditorDraft draft = model_->draft();
  draft.time = lineValue(time_);
  draft.operatorName = lineValue(operator_);
  const int network = network_->currentData().toInt();
  draft.dataNetwork = network < 0 ? std::nullopt : std::optional(static_cast<StatusBarDataNetwork>(network));
  draft.wifiBars = spinValue(wifiBars_);
  draft.cellularBars = spinValue(cellBars_);
  draft.batteryLevel = spinValue(battery_);
  if (draft != model_->draft()) model_->setDraft(std::move(draft));
}

void ControlsPage::refresh() {
  const auto& reading = model_->reading();
  light_->setChecked(reading.appearance == SimulatorAppearance::light);
  dark_->setChecked(reading.appearance == SimulatorAppearance::dark);
  contrast_->setChecked(reading.increasedContrast.value_or(false));
  textSize_->setText(reading.contentSize ? qt(displayName(*reading.contentSize)) : QString::fromUtf8("\xE2\x80\x94"));
  textSize_->setAlignment(Qt::AlignCenter);
  if (reading.contentSize) sizes_->setCurrentIndex(sizes_->findData(static_cast<int>(*reading.contentSize)));
  statusBar_->setText(reading.statusBar ? qt(statusBarSummary(*reading.statusBar))
                                        : qt(reading.problem.value_or("")));
  // The draft, unless the user is editing a field of it.
  filling_ = true;
  const auto& draft = model_->draft();
  if (!time_->hasFocus()) time_->setText(qt(draft.time.value_or("")));
  if (!operator_->hasFocus()) operator_->setText(qt(draft.operatorName.value_or("")));
  network_->setCurrentIndex(draft.dataNetwork ? network_->findData(static_cast<int>(*draft.dataNetwork)) : 0);
  wifiBars_->setValue(draft.wifiBars.value_or(-1));
  cellBars_->setValue(draft.cellularBars.value_or(-1));
  battery_->setValue(draft.batteryLevel.value_or(-1));
  filling_ = false;
  const bool enabled = !model_->busy();
  for (auto* widget : std::initializer_list<QWidget*>{light_, dark_, contrast_, sizes_}) widget->setEnabled(enabled);
}

}  // namespace orvanta
