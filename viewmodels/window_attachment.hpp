// Where the tool panel goes relative to the simulator's device window.
//
// The window list is read about once a second (viewmodels/window_list.hpp) and handed to
// WindowAttachment::update, which says whether the panel shows beside a device window, hides, or stays where
// the user put it. While attached, the panel sits 8 points to the right of the device window (to its left
// when the right has no room), as tall as the device window (never below the panel's own minimum), and
// inside the available area of the screen that holds most of the device window. A detached panel is left
// alone; its place is remembered by DetachedPlacementStore for the next start.
//
// All coordinates are global desktop points with the origin at the top-left corner of the main display and
// y growing downwards: both the window server's window bounds and Qt's global coordinates use them, so no
// conversion happens anywhere. Nothing here calls the platform or Qt.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/expected.hpp"
#include "support/file_error.hpp"
#include "support/settings_store.hpp"

namespace orvanta {

// A rectangle in global desktop points.
struct DesktopRect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;

  [[nodiscard]] double right() const { return x + width; }
  [[nodiscard]] double bottom() const { return y + height; }
  bool operator==(const DesktopRect&) const = default;
};

// One window as the window server lists it.
struct WindowRecord {
  std::uint32_t windowNumber = 0;  // unique among the windows of the login session
  std::string ownerName;           // the owning application's name ("Device Hub", "Simulator", ...)
  int ownerPID = 0;
  int layer = 0;  // 0 for ordinary document windows; menus, panels and overlays sit higher
  DesktopRect bounds;
  bool operator==(const WindowRecord&) const = default;
};

// One display: its whole frame, and the area within it that windows may use (without the menu bar and Dock).
struct ScreenRecord {
  DesktopRect frame;
  DesktopRect availableFrame;
  bool operator==(const ScreenRecord&) const = default;
};

// The panel's frame (its window's outer frame, as Qt's move and resize take it), in whole points.
using PanelPlacement = DesktopRect;

// What the panel brings to a placement: the width it has and the least height its content takes.
struct PanelSize {
  double width = 0;
  double minimumHeight = 0;
};

// The applications whose windows show a simulator's device, the preferred one first.
inline constexpr std::string_view deviceWindowOwners[] = {"Device Hub", "Simulator"};
[[nodiscard]] bool isDeviceWindowOwner(std::string_view ownerName);

// Points between the device window and the panel beside it.
inline constexpr double panelGap = 8;

// Where the panel goes beside `device`: right of it when the panel fits there within the available area of
// the screen holding most of `device`, else left of it when it fits there, else on the side with more room,
// covering the device window's edge rather than leaving the screen. Its height is the device window's, at
// least `panel.minimumHeight`; its top is level with the device window's. The result is moved and, when
// larger, shrunk into the available area, and rounded to whole points. Without screens it is not clamped.
[[nodiscard]] PanelPlacement placementBeside(const DesktopRect& device, const std::vector<ScreenRecord>& screens,
                                             PanelSize panel);

// `placement` itself when at least 48 x 48 points of it (or all of it, when smaller) lie in some screen's
// available area; otherwise the same size moved (and shrunk if need be) into the available area of the
// screen nearest to it, so that a place remembered on a display that has since gone can still be reached.
[[nodiscard]] PanelPlacement keepOnScreen(const PanelPlacement& placement, const std::vector<ScreenRecord>& screens);

// What WindowAttachment remembers between polls.
struct AttachmentState {
  bool attached = true;
  // The device window the panel goes with; kept while that window is listed, so that the panel does not
  // jump between device windows as their order changes.
  std::optional<std::uint32_t> followedWindow;
  // While attached, the place last handed out by update(); while detached, the place the user left it at.
  std::optional<PanelPlacement> lastPlacement;
  bool operator==(const AttachmentState&) const = default;
};

struct AttachmentDecision {
  enum class Case {
    attach,        // show the panel at `placement`, beside the followed device window
    hide,          // attached, but no device window is listed (closed, minimised, on another space)
    stayDetached,  // detached: leave the panel where it is, shown
  };
  Case kind = Case::hide;
  // Set for attach only.
  std::optional<PanelPlacement> placement;
  // The device window followed, when one is listed (also while detached, so that re-attaching goes back to
  // the same window).
  std::optional<std::uint32_t> followedWindow;
  bool operator==(const AttachmentDecision&) const = default;
};

// The panel's attachment as a small state machine: attached or detached, the followed device window and
// the last placement. Plain state without locks: used from the thread that polls the window list (the
// main thread), like the panel it places.
class WindowAttachment {
 public:
  // Starts attached; or detached at `detachedPlacement` when the user had detached the panel before (as
  // DetachedPlacementStore::load returns it).
  explicit WindowAttachment(std::optional<PanelPlacement> detachedPlacement = std::nullopt);

  // Takes one poll of the window list (front to back, as the window server orders it) and the screens.
  // The followed device window is the one followed so far while it is listed; otherwise the frontmost
  // window of "Device Hub", else of "Simulator". Only windows of layer 0 with an area count.
  [[nodiscard]] AttachmentDecision update(const std::vector<WindowRecord>& frontToBack,
                                          const std::vector<ScreenRecord>& screens, PanelSize panel);

  // The user detached the panel, which is now at `currentPlacement`; update() leaves it alone from now on.
  void detach(const PanelPlacement& currentPlacement);
  // The panel goes back beside the device window at the next update().
  void reattach();

  // Whether the panel, found at `current`, was dragged away from where update() last put it: attached, and
  // both of its left and right edges, or both of its top and bottom edges, moved by more than 24 points.
  // Resizing the panel by one edge is not a drag.
  [[nodiscard]] bool draggedAway(const PanelPlacement& current) const;

  [[nodiscard]] const AttachmentState& state() const { return state_; }

 private:
  AttachmentState state_;
};

// The detached panel's place, kept under "Orvanta.ToolPanel.detachedPlacement" as
// {"x": 1500, "y": 120, "width": 320, "height": 700}. As thread-safe as the settings store; every call blocks
// on the store's file.
class DetachedPlacementStore {
 public:
  static constexpr std::string_view key = "Orvanta.ToolPanel.detachedPlacement";

  explicit DetachedPlacementStore(std::shared_ptr<SettingsStore> settings) : settings_(std::move(settings)) {}

  // The remembered place; nullopt when there is none, the store cannot be read, or the value is not an
  // object of four finite numbers within a million points, with a positive width and height.
  [[nodiscard]] std::optional<PanelPlacement> load() const;
  // Remembers `placement`, replacing what was there. Fails with the store's error.
  [[nodiscard]] expected<void, FileError> save(const PanelPlacement& placement);
  // Forgets the place (the panel was re-attached). Fails with the store's error.
  [[nodiscard]] expected<void, FileError> clear();

 private:
  std::shared_ptr<SettingsStore> settings_;
};

}  // namespace orvanta
