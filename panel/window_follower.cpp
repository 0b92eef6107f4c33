#include "panel/window_follower.hpp"

#include <QGuiApplication>
#include <QScreen>
#include <cmath>

namespace orvanta {

namespace {

DesktopRect rectOf(const QRect& rect) {
  return {static_cast<double>(rect.x()), static_cast<double>(rect.y()), static_cast<double>(rect.width()),
          static_cast<double>(rect.height())};
}

int whole(double value) { return static_cast<int>(std::lround(value)); }

}  // namespace

WindowFollower::WindowFollower(QWidget& panel, std::shared_ptr<SettingsStore> settings,
                               std::unique_ptr<WindowListReader> reader)
    : QObject(&panel), panel_(panel), places_(std::move(settings)), reader_(std::move(reader)) {
  auto remembered = places_.load();
  if (!reader_->available()) {
    // A free window: back where it was left, if that place is still on a screen.
    if (remembered) {
      const auto place = keepOnScreen(*remembered, screens());
      panel_.move(whole(place.x), whole(place.y));
      panel_.resize(whole(place.width), whole(place.height));
    }
    return;
  }
  attachment_ = WindowAttachment(remembered);
  timer_.setInterval(1000);
  connect(&timer_, &QTimer::timeout, this, [this] { poll(); });
  timer_.start();
}

std::vector<ScreenRecord> WindowFollower::screens() {
  std::vector<ScreenRecord> records;
  for (const auto* screen : QGuiApplication::screens()) {
    records.push_back({rectOf(screen->geometry()), rectOf(screen->availableGeometry())});
  }
  return records;
}

PanelPlacement WindowFollower::currentPlacement() const { return rectOf(panel_.frameGeometry()); }

void WindowFollower::poll() {
  if (!reader_->available()) return;
  if (attachment_.state().attached && panel_.isVisible() && attachment_.draggedAway(currentPlacement())) {
    attachment_.detach(currentPlacement());
    (void)places_.save(currentPlacement());
  }
  const PanelSize size{static_cast<double>(panel_.frameGeometry().width()),
                       static_cast<double>(panel_.minimumSizeHint().height())};
  const auto decision = attachment_.update(reader_->deviceWindows(), screens(), size);
  switch (decision.kind) {
    case AttachmentDecision::Case::attach: {
      const auto& place = *decision.placement;
      // move() places the outer frame; resize() takes the inside, without the title bar.
      const int frameHeight = panel_.frameGeometry().height() - panel_.height();
      panel_.move(whole(place.x), whole(place.y));
      panel_.resize(panel_.width(), std::max(panel_.minimumHeight(), whole(place.height) - frameHeight));
      if (!panel_.isVisible()) panel_.show();
      break;
    }
    case AttachmentDecision::Case::hide: panel_.hide(); break;
    case AttachmentDecision::Case::stayDetached:
      if (!panel_.isVisible()) panel_.show();
      break;
  }
}

void WindowFollower::reattach() {
  attachment_.reattach();
  (void)places_.clear();
  poll();
}

void WindowFollower::rememberPlace() {
  if (reader_->available() && attachment_.state().attached) return;
  (void)places_.save(currentPlacement());
}

}  // namespace orvanta
