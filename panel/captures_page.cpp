#include <QHBoxLayout>
#include <QPixmap>
#include <QVBoxLayout>

#include "panel/pages.hpp"
#include "tools/controls/simulator_controls_types.hpp"

namespace orvanta {

namespace {

QHBoxLayout* folderRow(QLabel*& label, QPushButton*& choose, QWidget* parent) {
  auto* row = new QHBoxLayout;
  label = new QLabel(parent);
  label->setWordWrap(true);
  label->setTextInteractionFlags(Qt::TextSelectableByMouse);
  label->setStyleSheet("color: palette(mid);");
  choose = new QPushButton(QString::fromUtf8("Folder\xE2\x80\xA6"), parent);
  row->addWidget(label, 1);
  row->addWidget(choose);
  return row;
}

}  // namespace

CapturesPage::CapturesPage(PanelSession& session, PanelQuestions& questions, QWidget* parent)
    : ToolPage("Captures", questions, parent), model_(std::make_unique<CapturesModel>(session)) {
  body()->addWidget(sectionLabel("Screenshot", this));
  auto* shotRow = new QHBoxLayout;
  statusBar_ = new QComboBox(this);
  statusBar_->setObjectName("statusBar");
  statusBar_->addItem("Status bar as it is", QString());
  for (const auto& preset : statusBarPresets()) {
    statusBar_->addItem(qt("Clean status bar: " + preset.title), qt(preset.id));
  }
  capture_ = new QPushButton("Capture", this);
  capture_->setObjectName("capture");
  shotRow->addWidget(statusBar_, 1);
  shotRow->addWidget(capture_);
  body()->addLayout(shotRow);
  thumbnail_ = new QLabel(this);
  thumbnail_->setObjectName("thumbnail");
  thumbnail_->setAlignment(Qt::AlignCenter);
  thumbnail_->setMinimumHeight(120);
  thumbnail_->setText("No screenshot yet.");
  thumbnail_->setStyleSheet("color: palette(mid); border: 1px solid palette(midlight);");
  body()->addWidget(thumbnail_);
  shotSummary_ = new QLabel(this);
  shotSummary_->setWordWrap(true);
  body()->addWidget(shotSummary_);
  auto* shotButtons = new QHBoxLayout;
  save_ = new QPushButton("Save", this);
  save_->setObjectName("save");
  copy_ = new QPushButton("Copy", this);
  copy_->setObjectName("copy");
  revealShot_ = new QPushButton("Reveal", this);
  shotButtons->addWidget(save_);
  shotButtons->addWidget(copy_);
  shotButtons->addWidget(revealShot_);
  body()->addLayout(shotButtons);
  QPushButton* chooseShots = nullptr;
  body()->addLayout(folderRow(shotFolder_, chooseShots, this));

  body()->addWidget(sectionLabel("Screen recording", this));
  auto* recordRow = new QHBoxLayout;
  codec_ = new QComboBox(this);
  codec_->setObjectName("codec");
  codec_->addItem("HEVC", static_cast<int>(RecordingCodec::hevc));
  codec_->addItem("H.264 (plays in more places)", static_cast<int>(RecordingCodec::h264));
  record_ = new QPushButton("Record", this);
  record_->setObjectName("record");
  recordRow->addWidget(codec_, 1);
  recordRow->addWidget(record_);
  body()->addLayout(recordRow);
  elapsed_ = new QLabel(this);
  elapsed_->setObjectName("elapsed");
  auto font = elapsed_->font();
  font.setPointSizeF(font.pointSizeF() * 1.6);
  font.setBold(true);
  elapsed_->setFont(font);
  body()->addWidget(elapsed_);
  movie_ = new QLabel(this);
  movie_->setObjectName("movie");
  movie_->setWordWrap(true);
  body()->addWidget(movie_);
  auto* movieRow = new QHBoxLayout;
  revealMovie_ = new QPushButton("Reveal movie", this);
  movieRow->addStretch(1);
  movieRow->addWidget(revealMovie_);
  body()->addLayout(movieRow);
  QPushButton* chooseMovies = nullptr;
  body()->addLayout(folderRow(movieFolder_, chooseMovies, this));
  body()->addStretch(1);

  connect(capture_, &QPushButton::clicked, this, [this] {
    model_->statusBarPreset = text(statusBar_->currentData().toString());
    model_->captureScreenshot();
  });
  connect(save_, &QPushButton::clicked, this, [this] { model_->saveScreenshot(); });
  connect(copy_, &QPushButton::clicked, this, [this] { model_->copyScreenshot(); });
  connect(revealShot_, &QPushButton::clicked, this, [this] { model_->revealScreenshot(); });
  connect(chooseShots, &QPushButton::clicked, this, [this] {
    const auto folder = questions_.chooseFile(this, "Save screenshots into", QString(), true);
    if (!folder.isEmpty()) model_->setScreenshotFolder(std::filesystem::path(text(folder)));
  });
  connect(record_, &QPushButton::clicked, this, [this] {
    if (model_->recording() == CapturesModel::Recording::recording) {
      model_->stopRecording();
    } else {
      model_->codec = static_cast<RecordingCodec>(codec_->currentData().toInt());
      model_->startRecording();
    }
  });
  connect(revealMovie_, &QPushButton::clicked, this, [this] { model_->revealMovie(); });
  connect(chooseMovies, &QPushButton::clicked, this, [this] {
    const auto folder = questions_.chooseFile(this, "Save recordings into", QString(), true);
    if (!folder.isEmpty()) model_->setRecordingFolder(std::filesystem::path(text(folder)));
  });
  // The running time: "0:07" ticks while recording, and a recorder that ends by itself is noticed.
  clock_.setInterval(250);
  connect(&clock_, &QTimer::timeout, this, [this] { model_->checkRecorder(); });
  bind(*model_);
  refresh();
}

void CapturesPage::showcase() { model_->captureScreenshot(); }

void CapturesPage::refresh() {
  const auto& capture = model_->lastCapture();
  if (capture && capture->id != shownCapture_) {
    shownCapture_ = capture->id;
    QPixmap image(qt(capture->temporaryURL.string()));
    if (!image.isNull()) {
      thumbnail_->setPixmap(image.scaled(QSize(360, 200), Qt::KeepAspectRatio, Qt::SmoothTransformation));
    }
  }
  shotSummary_->setVisible(capture.has_value());
  shotSummary_->setText(capture ? qt(screenshotSummary(*capture) + (model_->savedScreenshot()
                                                                         ? "\nSaved as " + model_->savedScreenshot()->filename().string()
                                                                         : std::string()))
                                : QString());
  capture_->setEnabled(!model_->capturing());
  save_->setEnabled(capture.has_value());
  copy_->setEnabled(capture.has_value());
  revealShot_->setEnabled(model_->savedScreenshot().has_value());
  shotFolder_->setText(qt(model_->screenshotFolder()));

  using Recording = CapturesModel::Recording;
  const auto state = model_->recording();
  record_->setText(state == Recording::recording ? "Stop" : "Record");
  record_->setEnabled(state == Recording::idle || state == Recording::recording);
  codec_->setEnabled(state == Recording::idle);
  switch (state) {
    case Recording::idle: elapsed_->setText(QString()); break;
    case Recording::starting: elapsed_->setText(QString::fromUtf8("Starting\xE2\x80\xA6")); break;
    case Recording::recording: elapsed_->setText(QString::fromUtf8("\xE2\x97\x8F ") + qt(model_->recordingElapsed())); break;
    case Recording::stopping: elapsed_->setText(QString::fromUtf8("Finishing the movie\xE2\x80\xA6")); break;
  }
  if (state == Recording::recording && !clock_.isActive()) clock_.start();
  if (state != Recording::recording) clock_.stop();
  const auto& saved = model_->savedMovie();
  movie_->setText(saved ? qt(saved->filename().string() + "\n" + model_->movieSummary().value_or("")) : QString());
  // Empty lines would leave a gap between the recording's controls and its folder.
  elapsed_->setVisible(!elapsed_->text().isEmpty());
  movie_->setVisible(saved.has_value());
  revealMovie_->setEnabled(saved.has_value());
  movieFolder_->setText(qt(model_->recordingFolder()));
}

}  // namespace orvanta
