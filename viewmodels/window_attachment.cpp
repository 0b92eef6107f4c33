#include "viewmodels/window_attachment.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include <nlohmann/json.hpp>

namespace orvanta {
namespace {

using Json = nlohmann::json;

// How far the panel's edges must move before a move counts as the user dragging it away; the window
// manager may nudge a window by a few points when it is placed.
constexpr double dragDistance = 24;
// How much of a remembered place must be on a screen for it to count as reachable.
constexpr double reachableSide = 48;
// Beyond this a stored coordinate is damage, not a place: no desktop is a million points wide.
constexpr double largestCoordinate = 1'000'000;

double overlap(double start1, double end1, double start2, double end2) {
  return std::max(0.0, std::min(end1, end2) - std::max(start1, start2));
}

double overlapWidth(const DesktopRect& a, const DesktopRect& b) { return overlap(a.x, a.right(), b.x, b.right()); }
double overlapHeight(const DesktopRect& a, const DesktopRect& b) { return overlap(a.y, a.bottom(), b.y, b.bottom()); }

// The distance from the centre of `rect` to the nearest point of `area` (0 inside it).
double distanceToCentre(const DesktopRect& rect, const DesktopRect& area) {
  const double cx = rect.x + rect.width / 2;
  const double cy = rect.y + rect.height / 2;
  const double dx = std::max({area.x - cx, 0.0, cx - area.right()});
  const double dy = std::max({area.y - cy, 0.0, cy - area.bottom()});
  return std::hypot(dx, dy);
}

// The screen nearest to `rect` by `area` (the frame or the available frame); the first of equals.
template <class Area>
const ScreenRecord* nearestScreen(const DesktopRect& rect, const std::vector<ScreenRecord>& screens, Area area) {
  const ScreenRecord* nearest = nullptr;
  double best = std::numeric_limits<double>::infinity();
  for (const auto& screen : screens) {
    const double distance = distanceToCentre(rect, area(screen));
    if (distance < best) {
      best = distance;
      nearest = &screen;
    }
  }
  return nearest;
}

// The screen whose frame holds most of `rect`; when none holds any of it, the nearest one.
const ScreenRecord* screenHolding(const DesktopRect& rect, const std::vector<ScreenRecord>& screens) {
  const ScreenRecord* holding = nullptr;
  double most = 0;
  for (const auto& screen : screens) {
    const double area = overlapWidth(rect, screen.frame) * overlapHeight(rect, screen.frame);
    if (area > most) {
      most = area;
      holding = &screen;
    }
  }
  if (holding != nullptr) return holding;
  return nearestScreen(rect, screens, [](const ScreenRecord& screen) { return screen.frame; });
}

// `rect` shrunk to fit `area` and moved into it.
DesktopRect clampInto(DesktopRect rect, const DesktopRect& area) {
  rect.width = std::min(rect.width, area.width);
  rect.height = std::min(rect.height, area.height);
  rect.x = std::clamp(rect.x, area.x, area.right() - rect.width);
  rect.y = std::clamp(rect.y, area.y, area.bottom() - rect.height);
  return rect;
}

DesktopRect rounded(const DesktopRect& rect) {
  return {std::round(rect.x), std::round(rect.y), std::round(rect.width), std::round(rect.height)};
}

bool isCandidate(const WindowRecord& window) {
  return window.layer == 0 && window.bounds.width > 0 && window.bounds.height > 0 &&
         isDeviceWindowOwner(window.ownerName);
}

// The followed window while it is listed; otherwise the frontmost window of the first owner that has one.
const WindowRecord* chooseDeviceWindow(const std::vector<WindowRecord>& frontToBack,
                                       std::optional<std::uint32_t> followed) {
  if (followed) {
    for (const auto& window : frontToBack) {
      if (window.windowNumber == *followed && isCandidate(window)) return &window;
    }
  }
  for (const std::string_view owner : deviceWindowOwners) {
    for (const auto& window : frontToBack) {
      if (window.ownerName == owner && isCandidate(window)) return &window;
    }
  }
  return nullptr;
}

std::optional<double> coordinate(const Json& object, const char* name) {
  const auto found = object.find(name);
  if (found == object.end() || !found->is_number()) return std::nullopt;
  const double value = found->get<double>();
  if (!std::isfinite(value) || std::abs(value) > largestCoordinate) return std::nullopt;
  return value;
}

}  // namespace

bool isDeviceWindowOwner(std::string_view ownerName) {
  return std::find(std::begin(deviceWindowOwners), std::end(deviceWindowOwners), ownerName) !=
         std::end(deviceWindowOwners);
}

PanelPlacement placementBeside(const DesktopRect& device, const std::vector<ScreenRecord>& screens, PanelSize panel) {
  PanelPlacement placement{0, device.y, panel.width, std::max(device.height, panel.minimumHeight)};
  const ScreenRecord* screen = screenHolding(device, screens);
  const double rightSide = device.right() + panelGap;
  if (screen == nullptr) {
    placement.x = rightSide;
    return rounded(placement);
  }
  const DesktopRect& area = screen->availableFrame;
  placement.width = std::min(placement.width, area.width);
  placement.height = std::min(placement.height, area.height);
  // When the right has no room, the left has more whenever the panel fits there; when neither side has
  // room, the roomier one means the clamp below covers the least of the device window.
  const double roomRight = area.right() - rightSide;
  const double roomLeft = device.x - panelGap - area.x;
  const bool onTheRight = roomRight >= placement.width || roomRight >= roomLeft;
  placement.x = onTheRight ? rightSide : device.x - panelGap - placement.width;
  return rounded(clampInto(placement, area));
}

PanelPlacement keepOnScreen(const PanelPlacement& placement, const std::vector<ScreenRecord>& screens) {
  const double wantedWidth = std::min(reachableSide, placement.width);
  const double wantedHeight = std::min(reachableSide, placement.height);
  for (const auto& screen : screens) {
    if (overlapWidth(placement, screen.availableFrame) >= wantedWidth &&
        overlapHeight(placement, screen.availableFrame) >= wantedHeight) {
      return placement;
    }
  }
  const ScreenRecord* nearest =
      nearestScreen(placement, screens, [](const ScreenRecord& screen) { return screen.availableFrame; });
  if (nearest == nullptr) return placement;
  return rounded(clampInto(placement, nearest->availableFrame));
}

// ---- WindowAttachment --------------------------------------------------------------------------------

WindowAttachment::WindowAttachment(std::optional<PanelPlacement> detachedPlacement) {
  if (detachedPlacement) {
    state_.attached = false;
    state_.lastPlacement = detachedPlacement;
  }
}

AttachmentDecision WindowAttachment::update(const std::vector<WindowRecord>& frontToBack,
                                            const std::vector<ScreenRecord>& screens, PanelSize panel) {
  const WindowRecord* device = chooseDeviceWindow(frontToBack, state_.followedWindow);
  state_.followedWindow = device != nullptr ? std::optional(device->windowNumber) : std::nullopt;
  if (!state_.attached) return {AttachmentDecision::Case::stayDetached, std::nullopt, state_.followedWindow};
  if (device == nullptr) return {AttachmentDecision::Case::hide, std::nullopt, std::nullopt};
  state_.lastPlacement = placementBeside(device->bounds, screens, panel);
  return {AttachmentDecision::Case::attach, state_.lastPlacement, state_.followedWindow};
}

void WindowAttachment::detach(const PanelPlacement& currentPlacement) {
  state_.attached = false;
  state_.lastPlacement = currentPlacement;
}

void WindowAttachment::reattach() {
  state_.attached = true;
  // The detached place says nothing about where update() put the panel; draggedAway waits for the next one.
  state_.lastPlacement.reset();
}

bool WindowAttachment::draggedAway(const PanelPlacement& current) const {
  if (!state_.attached || !state_.lastPlacement) return false;
  const PanelPlacement& placed = *state_.lastPlacement;
  const auto moved = [](double a, double b) { return std::abs(a - b) > dragDistance; };
  return (moved(current.x, placed.x) && moved(current.right(), placed.right())) ||
         (moved(current.y, placed.y) && moved(current.bottom(), placed.bottom()));
}

// ---- DetachedPlacementStore --------------------------------------------------------------------------

std::optional<PanelPlacement> DetachedPlacementStore::load() const {
  auto stored = settings_->value(key);
  if (!stored || !*stored || !(*stored)->is_object()) return std::nullopt;
  const Json& object = **stored;
  const auto x = coordinate(object, "x");
  const auto y = coordinate(object, "y");
  const auto width = coordinate(object, "width");
  const auto height = coordinate(object, "height");
  if (!x || !y || !width || !height || *width <= 0 || *height <= 0) return std::nullopt;
  return PanelPlacement{*x, *y, *width, *height};
}

expected<void, FileError> DetachedPlacementStore::save(const PanelPlacement& placement) {
  return settings_->setValue(
      key, Json{{"x", placement.x}, {"y", placement.y}, {"width", placement.width}, {"height", placement.height}});
}

expected<void, FileError> DetachedPlacementStore::clear() { return settings_->removeValue(key); }

}  // namespace orvanta
