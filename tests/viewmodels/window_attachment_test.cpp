#include "viewmodels/window_attachment.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <ostream>

#include <nlohmann/json.hpp>

namespace orvanta {

void PrintTo(const DesktopRect& rect, std::ostream* out) {
  *out << "{" << rect.x << ", " << rect.y << ", " << rect.width << ", " << rect.height << "}";
}

void PrintTo(const AttachmentDecision& decision, std::ostream* out) {
  constexpr const char* names[] = {"attach", "hide", "stayDetached"};
  *out << names[static_cast<int>(decision.kind)] << " at ";
  if (decision.placement) {
    PrintTo(*decision.placement, out);
  } else {
    *out << "-";
  }
  *out << " following ";
  if (decision.followedWindow) {
    *out << *decision.followedWindow;
  } else {
    *out << "-";
  }
}

namespace {

using Case = AttachmentDecision::Case;
using Json = nlohmann::json;

// A 1440 x 900 display with a 25-point menu bar, and a 1920 x 1080 display to its right, raised by 180.
const ScreenRecord kLaptop{{0, 0, 1440, 900}, {0, 25, 1440, 875}};
const ScreenRecord kExternal{{1440, -180, 1920, 1080}, {1440, -180, 1920, 1080}};
const PanelSize kPanel{320, 400};

WindowRecord window(std::uint32_t number, std::string owner, DesktopRect bounds, int layer = 0) {
  return {number, std::move(owner), 4242, layer, bounds};
}

AttachmentDecision attachAt(PanelPlacement placement, std::uint32_t followed) {
  return {Case::attach, placement, followed};
}

TEST(WindowAttachmentTest, PlacesThePanelBesideTheDeviceWindowOfEachLayout) {
  const std::vector<ScreenRecord> laptop{kLaptop};
  const std::vector<ScreenRecord> both{kLaptop, kExternal};
  struct Row {
    const char* layout;
    std::vector<WindowRecord> frontToBack;
    std::vector<ScreenRecord> screens;
    AttachmentDecision expected;
  } rows[] = {
      {"room on the right", {window(7, "Device Hub", {100, 100, 400, 800})}, laptop, attachAt({508, 100, 320, 800}, 7)},
      {"no room on the right: the left side",
       {window(7, "Device Hub", {1000, 120, 400, 700})},
       laptop,
       attachAt({672, 120, 320, 700}, 7)},
      {"near the bottom: moved up into the available area",
       {window(7, "Device Hub", {200, 500, 400, 700})},
       laptop,
       attachAt({608, 200, 320, 700}, 7)},
      {"shorter than the panel's minimum: the minimum",
       {window(7, "Device Hub", {100, 200, 300, 250})},
       laptop,
       attachAt({408, 200, 320, 400}, 7)},
      {"taller than the available area: as tall as the area",
       {window(7, "Device Hub", {100, 0, 400, 1000})},
       laptop,
       attachAt({508, 25, 320, 875}, 7)},
      {"no room on either side: the roomier side, kept on the screen",
       {window(7, "Device Hub", {200, 100, 1100, 700})},
       laptop,
       attachAt({0, 100, 320, 700}, 7)},
      {"on the second screen: that screen's area",
       {window(7, "Device Hub", {2900, -100, 400, 800})},
       both,
       attachAt({2572, -100, 320, 800}, 7)},
      {"across two screens: the one holding most of it",
       {window(7, "Device Hub", {1300, 100, 400, 700})},
       both,
       attachAt({1708, 100, 320, 700}, 7)},
      {"off every screen: the nearest one",
       {window(7, "Device Hub", {-3000, 100, 400, 700})},
       both,
       attachAt({0, 100, 320, 700}, 7)},
      {"no screens: beside it, unclamped",
       {window(7, "Device Hub", {1300, 850.4, 400, 700})},
       {},
       attachAt({1708, 850, 320, 700}, 7)},
      {"several device windows: the frontmost",
       {window(21, "Device Hub", {800, 100, 300, 600}), window(22, "Device Hub", {100, 100, 400, 700})},
       laptop,
       attachAt({1108, 100, 320, 600}, 21)},
      {"Device Hub before a Simulator window in front of it",
       {window(3, "Simulator", {600, 100, 400, 700}), window(9, "Device Hub", {100, 100, 400, 700})},
       laptop,
       attachAt({508, 100, 320, 700}, 9)},
      {"other owners, other layers and empty windows left out",
       {window(1, "Finder", {500, 100, 400, 700}), window(2, "Device Hub", {700, 100, 200, 30}, 25),
        window(4, "Device Hub", {0, 0, 0, 0}), window(5, "Simulator", {100, 100, 400, 700})},
       laptop,
       attachAt({508, 100, 320, 700}, 5)},
      {"no device window: hidden",
       {window(1, "Finder", {500, 100, 400, 700}), window(2, "Simulator", {700, 100, 200, 30}, 3)},
       laptop,
       {Case::hide, std::nullopt, std::nullopt}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.layout);
    WindowAttachment attachment;
    EXPECT_EQ(attachment.update(row.frontToBack, row.screens, kPanel), row.expected);
  }
}

TEST(WindowAttachmentTest, FollowsOneWindowWhileItIsListed) {
  const std::vector<ScreenRecord> screens{kLaptop};
  const auto first = window(11, "Device Hub", {100, 100, 400, 700});
  const auto second = window(12, "Device Hub", {700, 100, 300, 600});
  auto firstMoved = first;
  firstMoved.bounds.x = 150;
  const auto simulator = window(13, "Simulator", {200, 100, 300, 600});
  WindowAttachment attachment;

  EXPECT_EQ(attachment.update({first, second}, screens, kPanel), attachAt({508, 100, 320, 700}, 11));
  // The other window coming to the front does not take the panel away.
  EXPECT_EQ(attachment.update({second, first}, screens, kPanel), attachAt({508, 100, 320, 700}, 11));
  EXPECT_EQ(attachment.update({second, firstMoved}, screens, kPanel), attachAt({558, 100, 320, 700}, 11));
  // Once it is gone, the frontmost remaining one is followed, and kept when the first one comes back.
  EXPECT_EQ(attachment.update({second}, screens, kPanel), attachAt({1008, 100, 320, 600}, 12));
  EXPECT_EQ(attachment.update({first, second}, screens, kPanel), attachAt({1008, 100, 320, 600}, 12));
  // A followed window of the less preferred owner is kept too.
  EXPECT_EQ(attachment.update({simulator}, screens, kPanel), attachAt({508, 100, 320, 600}, 13));
  EXPECT_EQ(attachment.update({first, simulator}, screens, kPanel), attachAt({508, 100, 320, 600}, 13));
}

TEST(WindowAttachmentTest, HidesWhileNoDeviceWindowIsListedAndComesBack) {
  const std::vector<ScreenRecord> screens{kLaptop};
  const auto device = window(11, "Device Hub", {100, 100, 400, 700});
  WindowAttachment attachment;
  ASSERT_EQ(attachment.update({device}, screens, kPanel).kind, Case::attach);

  EXPECT_EQ(attachment.update({}, screens, kPanel), (AttachmentDecision{Case::hide, std::nullopt, std::nullopt}));
  EXPECT_EQ(attachment.state().followedWindow, std::nullopt);
  EXPECT_EQ(attachment.update({device}, screens, kPanel), attachAt({508, 100, 320, 700}, 11));
}

TEST(WindowAttachmentTest, ADetachedPanelStaysUntilReattached) {
  const std::vector<ScreenRecord> screens{kLaptop};
  const auto device = window(11, "Device Hub", {100, 100, 400, 700});
  auto moved = device;
  moved.bounds.y = 150;
  WindowAttachment attachment;
  ASSERT_EQ(attachment.update({device}, screens, kPanel).kind, Case::attach);

  const PanelPlacement userPlace{900, 300, 320, 500};
  attachment.detach(userPlace);
  EXPECT_EQ(attachment.state(), (AttachmentState{false, 11, userPlace}));
  EXPECT_EQ(attachment.update({moved}, screens, kPanel),
            (AttachmentDecision{Case::stayDetached, std::nullopt, 11}));
  // Without a device window a detached panel stays shown.
  EXPECT_EQ(attachment.update({}, screens, kPanel),
            (AttachmentDecision{Case::stayDetached, std::nullopt, std::nullopt}));
  EXPECT_EQ(attachment.update({moved}, screens, kPanel),
            (AttachmentDecision{Case::stayDetached, std::nullopt, 11}));

  attachment.reattach();
  EXPECT_EQ(attachment.update({moved}, screens, kPanel), attachAt({508, 150, 320, 700}, 11));
  EXPECT_TRUE(attachment.state().attached);
}

TEST(WindowAttachmentTest, ARememberedPlacementStartsDetached) {
  const PanelPlacement remembered{1500, 120, 320, 700};
  WindowAttachment attachment(remembered);
  EXPECT_EQ(attachment.state(), (AttachmentState{false, std::nullopt, remembered}));
  EXPECT_EQ(attachment.update({window(11, "Device Hub", {100, 100, 400, 700})}, {kLaptop}, kPanel),
            (AttachmentDecision{Case::stayDetached, std::nullopt, 11}));
}

TEST(WindowAttachmentTest, TellsADragFromANudgeOrAResize) {
  WindowAttachment attachment;
  EXPECT_FALSE(attachment.draggedAway({900, 100, 320, 700}));  // nothing placed yet
  ASSERT_EQ(attachment.update({window(11, "Device Hub", {100, 100, 400, 700})}, {kLaptop}, kPanel),
            attachAt({508, 100, 320, 700}, 11));
  struct Row {
    const char* move;
    PanelPlacement found;
    bool dragged;
  } rows[] = {
      {"where it was put", {508, 100, 320, 700}, false},
      {"nudged by the window manager", {520, 90, 320, 700}, false},
      {"dragged to the right", {900, 100, 320, 700}, true},
      {"dragged down", {508, 160, 320, 700}, true},
      {"widened by its left edge", {408, 100, 420, 700}, false},
      {"lengthened by its bottom edge", {508, 100, 320, 800}, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.move);
    EXPECT_EQ(attachment.draggedAway(row.found), row.dragged);
  }
  attachment.detach({900, 100, 320, 700});
  EXPECT_FALSE(attachment.draggedAway({100, 100, 320, 700}));
}

TEST(WindowAttachmentTest, KeepOnScreenMovesOnlyAPlaceThatCannotBeReached) {
  const std::vector<ScreenRecord> laptop{kLaptop};
  struct Row {
    const char* place;
    PanelPlacement remembered;
    std::vector<ScreenRecord> screens;
    PanelPlacement expected;
  } rows[] = {
      {"on the screen", {100, 100, 320, 700}, laptop, {100, 100, 320, 700}},
      {"60 points showing at the right edge", {1380, 100, 320, 700}, laptop, {1380, 100, 320, 700}},
      {"20 points showing at the right edge", {1420, 100, 320, 700}, laptop, {1120, 100, 320, 700}},
      {"on a display that has gone", {2500, 300, 320, 700}, laptop, {1120, 200, 320, 700}},
      {"taller than the screen that is left", {2500, 0, 320, 1200}, laptop, {1120, 25, 320, 875}},
      {"on a display that is there", {2500, 300, 320, 700}, {kLaptop, kExternal}, {2500, 300, 320, 700}},
      {"no screens", {2500, 300, 320, 700}, {}, {2500, 300, 320, 700}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.place);
    EXPECT_EQ(keepOnScreen(row.remembered, row.screens), row.expected);
  }
}

// ---- DetachedPlacementStore --------------------------------------------------------------------------

TEST(DetachedPlacementStoreTest, RoundTripsAndClears) {
  auto settings = std::make_shared<InMemorySettingsStore>();
  DetachedPlacementStore store(settings);
  EXPECT_EQ(store.load(), std::nullopt);

  ASSERT_TRUE(store.save({1500, -120, 320, 700}).has_value());
  EXPECT_EQ(settings->value("Orvanta.ToolPanel.detachedPlacement").value(),
            (Json{{"x", 1500.0}, {"y", -120.0}, {"width", 320.0}, {"height", 700.0}}));
  EXPECT_EQ(store.load(), (PanelPlacement{1500, -120, 320, 700}));

  ASSERT_TRUE(store.clear().has_value());
  EXPECT_EQ(settings->value(DetachedPlacementStore::key).value(), std::nullopt);
  EXPECT_EQ(store.load(), std::nullopt);
}

TEST(DetachedPlacementStoreTest, AMalformedValueReadsAsNone) {
  struct Row {
    const char* value;
    std::optional<PanelPlacement> expected;
  } rows[] = {
      {R"({"x": 10, "y": 20, "width": 300, "height": 400})", PanelPlacement{10, 20, 300, 400}},
      {R"({"x": -0.5, "y": 20, "width": 300.5, "height": 400, "extra": true})", PanelPlacement{-0.5, 20, 300.5, 400}},
      {R"([10, 20, 300, 400])", std::nullopt},
      {R"("10,20,300,400")", std::nullopt},
      {R"(null)", std::nullopt},
      {R"({"x": 10, "y": 20, "width": 300})", std::nullopt},
      {R"({"x": 10, "y": 20, "width": "300", "height": 400})", std::nullopt},
      {R"({"x": 10, "y": null, "width": 300, "height": 400})", std::nullopt},
      {R"({"x": 10, "y": 20, "width": 0, "height": 400})", std::nullopt},
      {R"({"x": 10, "y": 20, "width": 300, "height": -400})", std::nullopt},
      {R"({"x": 1e300, "y": 20, "width": 300, "height": 400})", std::nullopt},
      {R"({"x": 10, "y": 20, "width": 300, "height": 2000000})", std::nullopt},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.value);
    auto settings = std::make_shared<InMemorySettingsStore>();
    ASSERT_TRUE(settings->setValue(DetachedPlacementStore::key, Json::parse(row.value)).has_value());
    EXPECT_EQ(DetachedPlacementStore(settings).load(), row.expected);
  }
}

TEST(DetachedPlacementStoreTest, AStoreThatCannotBeReadGivesNone) {
  class UnreadableStore final : public SettingsStore {
   public:
    expected<std::optional<Json>, FileError> value(std::string_view) const override {
      return unexpected(FileError::readFailed("settings.json", EIO));
    }
    expected<void, FileError> setValue(std::string_view, const Json&) override { return {}; }
    expected<void, FileError> removeValue(std::string_view) override { return {}; }
    expected<void, FileError> update(std::string_view, const Change&) override { return {}; }
  };
  EXPECT_EQ(DetachedPlacementStore(std::make_shared<UnreadableStore>()).load(), std::nullopt);
}

}  // namespace
}  // namespace orvanta
