// Keeps the panel beside the simulator's device window where the platform lists windows (macOS), and
// remembers where the user put it otherwise: attached, it follows the device window and hides while none
// is listed; dragged away, it stays where it was left, and that place is kept for the next start. On
// Linux there is no window list to follow, and the panel is a free window that comes back where it was.
#pragma once

#include <QObject>
#include <QTimer>
#include <QWidget>
#include <memory>

#include "support/settings_store.hpp"
#include "viewmodels/window_attachment.hpp"
#include "viewmodels/window_list.hpp"

namespace orvanta {

class WindowFollower : public QObject {
  Q_OBJECT
 public:
  WindowFollower(QWidget& panel, std::shared_ptr<SettingsStore> settings,
                 std::unique_ptr<WindowListReader> reader = makeWindowListReader());
  [[nodiscard]] bool following() const { return reader_->available(); }
  [[nodiscard]] const WindowAttachment& attachment() const { return attachment_; }
  // One poll of the window list (the timer calls it every second).
  void poll();
  // Puts the panel back beside the device window.
  void reattach();
  // Remembers where the panel is (when it is not attached): called as the window closes.
  void rememberPlace();

 private:
  [[nodiscard]] PanelPlacement currentPlacement() const;
  [[nodiscard]] static std::vector<ScreenRecord> screens();

  QWidget& panel_;
  DetachedPlacementStore places_;
  std::unique_ptr<WindowListReader> reader_;
  WindowAttachment attachment_;
  QTimer timer_;
};

}  // namespace orvanta
