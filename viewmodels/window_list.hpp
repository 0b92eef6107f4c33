// Reading the simulator's device windows from the window server, for WindowAttachment.
//
// On macOS the on-screen windows are listed with CoreGraphics (CGWindowListCopyWindowInfo), which gives
// every window's owner, layer and bounds without any permission; window titles would need the Screen
// Recording permission, so they are never read and a device window is never told apart by its title.
// Elsewhere the list is always empty and available() is false: the panel is then a free window that is
// never attached or hidden. The screens come from Qt, not from here.
#pragma once

#include <memory>
#include <vector>

#include "viewmodels/window_attachment.hpp"

namespace orvanta {

class WindowListReader {
 public:
  virtual ~WindowListReader() = default;

  // Whether this platform lists device windows at all; when false, deviceWindows() is always empty and the
  // panel should stay detached rather than hide.
  [[nodiscard]] virtual bool available() const = 0;
  // The on-screen windows (desktop elements left out) owned by an application named in deviceWindowOwners,
  // of any layer, front to back; empty when the list cannot be had. Blocks for a round trip to the window
  // server (a few milliseconds): meant for a poll about once a second. Any thread: a reader keeps no state.
  [[nodiscard]] virtual std::vector<WindowRecord> deviceWindows() = 0;
};

// The platform's reader.
[[nodiscard]] std::unique_ptr<WindowListReader> makeWindowListReader();

}  // namespace orvanta
