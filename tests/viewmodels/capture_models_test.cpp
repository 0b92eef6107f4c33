#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "tests/viewmodels/panel_fixture.hpp"
#include "viewmodels/captures_model.hpp"
#include "viewmodels/command_palette.hpp"
#include "viewmodels/console_model.hpp"
#include "viewmodels/quick_input_page_model.hpp"

namespace orvanta::testing {
namespace {

class CaptureModelsTest : public PanelModelTest {
 protected:
  // Turns the environment's loop (the stream service's batches) until `done`.
  bool pumpUntil(const std::function<bool()>& done) {
    return environment_->mainLoop().runUntil(done, MainLoop::Seconds(30));
  }
};

SimulatorLogEntry entry(std::string message, SimulatorLogLevel level, std::string image = "/usr/libexec/backboardd") {
  SimulatorLogEntry made;
  made.message = std::move(message);
  made.level = level;
  made.processImagePath = std::move(image);
  made.raw = made.message;
  return made;
}

TEST_F(CaptureModelsTest, ConsoleStreamsTheTargetFiltersPausesAndExports) {
  ::setenv("ORVANTA_EMULATOR_LOG_RATE", "400", 1);
  ::setenv("ORVANTA_EMULATOR_LOG_COUNT", "60", 1);
  auto& panel = session();
  {
    ConsoleModel console(panel);
    console.start();
    EXPECT_EQ(console.state().kind, ConsoleStreamState::Case::streaming) << console.stateText();
    ASSERT_TRUE(pumpUntil([&] { return console.logs().entries().size() >= 60; }));
    EXPECT_EQ(console.shown().size(), console.logs().entries().size());

    // Paused, the list holds still while entries keep coming and are kept.
    console.pause();
    const auto held = console.shown().size();
    console.receive({entry("after the pause", SimulatorLogLevel::error)});
    EXPECT_EQ(console.shown().size(), held);
    EXPECT_EQ(console.heldBack(), 1u);
    EXPECT_EQ(console.stateText(), "Paused (1 new entries held).");
    console.resume();
    EXPECT_EQ(console.shown().size(), held + 1);

    console.setLevelEnabled(SimulatorLogLevel::debug, false);
    console.setLevelEnabled(SimulatorLogLevel::info, false);
    console.setLevelEnabled(SimulatorLogLevel::notice, false);
    for (const auto* shown : console.shown()) {
      ASSERT_TRUE(shown->level);
      EXPECT_TRUE(*shown->level == SimulatorLogLevel::error || *shown->level == SimulatorLogLevel::fault);
    }
    console.setSearchText("AFTER THE");
    ASSERT_EQ(console.shown().size(), 1u);

    const auto file = root_ / "console.txt";
    console.exportTo(file);
    EXPECT_EQ(messageOf(console), "Exported 1 entries to " + file.string() + ".");
    std::ifstream in(file);
    std::stringstream written;
    written << in.rdbuf();
    EXPECT_EQ(written.str(), "--:--:--.--- ERROR backboardd: after the pause");
    console.exportTo(root_ / "missing" / "console.txt");
    EXPECT_TRUE(failed(console));
    EXPECT_EQ(messageOf(console).rfind("Export failed.", 0), 0u) << messageOf(console);

    console.stop();
    EXPECT_EQ(console.state().kind, ConsoleStreamState::Case::stopped);
  }
  ::unsetenv("ORVANTA_EMULATOR_LOG_RATE");
  ::unsetenv("ORVANTA_EMULATOR_LOG_COUNT");

  // A shut-down target is refused before anything starts.
  session_.reset();
  auto& shutDown = session(kIPhone15);
  ConsoleModel refused(shutDown);
  refused.start();
  EXPECT_EQ(refused.state().kind, ConsoleStreamState::Case::failed);
  EXPECT_EQ(messageOf(refused), "The selected simulator is no longer booted.");
}

TEST_F(CaptureModelsTest, ConsoleKeepsTheNewestAndTheChosenAppsEntriesUnderAFlood) {
  auto& panel = session();
  settle();
  ConsoleModel console(panel);
  const auto* cafe = panel.app(kCafe);
  ASSERT_NE(cafe, nullptr);
  console.setApp(std::string(kCafe));
  std::vector<SimulatorLogEntry> flood;
  for (int index = 0; index < 10'000; ++index) {
    flood.push_back(entry("line " + std::to_string(index), SimulatorLogLevel::info,
                          index % 100 == 0 ? cafe->bundlePath + "/Cafe" : "/usr/libexec/backboardd"));
  }
  console.receive(std::move(flood));
  EXPECT_EQ(console.logs().entries().size(), consoleRetainedEntryLimit);
  EXPECT_EQ(console.logs().entries().back().message, "line 9999");
  // The app's 100 entries survive the flood of the others.
  ASSERT_EQ(console.shown().size(), 100u);
  EXPECT_EQ(console.shown().front()->message, "line 0");

  console.setApp(std::string("com.example.gone"));
  EXPECT_EQ(messageOf(console), "The selected app is no longer installed on this simulator.");
}

TEST_F(CaptureModelsTest, ScreenshotsAreCapturedWithACleanStatusBarAndSaved) {
  auto& panel = session();
  CapturesModel captures(panel);
  captures.setScreenshotFolder(root_ / "shots");
  captures.statusBarPreset = "clean-screenshot";
  captures.captureScreenshot();
  EXPECT_TRUE(captures.capturing());
  settle();
  ASSERT_TRUE(captures.lastCapture()) << messageOf(captures);
  EXPECT_TRUE(std::filesystem::exists(captures.lastCapture()->temporaryURL));
  const auto message = messageOf(captures);
  EXPECT_NE(message.find("Applied the \""), std::string::npos) << message;
  EXPECT_NE(message.find("Cleared the status bar overrides."), std::string::npos) << message;

  captures.saveScreenshot();
  settle();
  ASSERT_TRUE(captures.savedScreenshot()) << messageOf(captures);
  EXPECT_EQ(captures.savedScreenshot()->parent_path(), root_ / "shots");
  EXPECT_TRUE(std::filesystem::exists(*captures.savedScreenshot()));

  // A folder that cannot be made refuses the save with the reason, and keeps the capture.
  std::ofstream(root_ / "file") << "x";
  captures.setScreenshotFolder(root_ / "file" / "below");
  captures.saveScreenshot();
  settle();
  EXPECT_TRUE(failed(captures));
  EXPECT_TRUE(captures.lastCapture());
}

TEST_F(CaptureModelsTest, ARecordingHoldsTheSimulatorUntilItsMovieIsSaved) {
  auto& panel = session();
  CapturesModel captures(panel);
  captures.setRecordingFolder(root_ / "movies");
  captures.codec = RecordingCodec::h264;
  captures.startRecording();
  settle();
  ASSERT_EQ(captures.recording(), CapturesModel::Recording::recording) << messageOf(captures);
  EXPECT_EQ(captures.recordingElapsed(), "0:00");

  // Another page, or another process, cannot record or change the simulator meanwhile.
  CapturesModel second(panel);
  second.startRecording();
  EXPECT_TRUE(failed(second));
  EXPECT_EQ(second.recording(), CapturesModel::Recording::idle);

  captures.stopRecording();
  settle();
  EXPECT_EQ(captures.recording(), CapturesModel::Recording::idle);
  ASSERT_TRUE(captures.savedMovie()) << messageOf(captures);
  EXPECT_EQ(captures.savedMovie()->parent_path(), root_ / "movies");
  ASSERT_TRUE(captures.movieSummary());
  EXPECT_NE(captures.movieSummary()->find(" pixels, "), std::string::npos);

  second.startRecording();  // free again
  settle();
  EXPECT_EQ(second.recording(), CapturesModel::Recording::recording) << messageOf(second);
}

TEST_F(CaptureModelsTest, QuickInputKeepsProfilesAndCopiesWithReadBack) {
  auto& panel = session();
  QuickInputPageModel input(panel);
  input.load();
  settle();
  EXPECT_TRUE(input.document().profiles.empty());
  input.addProfile("Tester");
  settle();
  ASSERT_NE(input.selectedProfile(), nullptr) << messageOf(input);
  input.addProfile("Tester");
  settle();
  EXPECT_TRUE(failed(input));  // names are unique

  QuickInputFieldDraft draft;
  draft.kind = QuickInputFieldKind::email;
  draft.label = "Email";
  draft.value = "dev@example.com";
  input.addField(draft);
  settle();
  ASSERT_EQ(input.selectedProfile()->fields.size(), 1u) << messageOf(input);
  const auto field = input.selectedProfile()->fields.front();
  EXPECT_EQ(QuickInputPageModel::valueText(field), "dev@example.com");

  input.copy(field.id);
  settle();
  // Read back from the simulator. (Remembering what was copied, for a later clear, needs the secret store's
  // key; the keyring tests cover that part.)
  EXPECT_EQ(messageOf(input).rfind("Copied \"Email\" to iPhone 16's clipboard.", 0), 0u) << messageOf(input);
  input.clear();
  settle();
  EXPECT_FALSE(failed(input)) << messageOf(input);
  input.clear();
  settle();
  EXPECT_EQ(messageOf(input), "Nothing Orvanta copied is waiting to be cleared.");

  input.removeField(field.id);
  settle();
  EXPECT_TRUE(input.selectedProfile()->fields.empty());
}

TEST(CommandPaletteTest, MatchesLettersInOrderAndRanksWordStartsFirst) {
  EXPECT_TRUE(fuzzyScore("", "Anything"));
  EXPECT_FALSE(fuzzyScore("xq", "Console: Export"));
  EXPECT_FALSE(fuzzyScore("tropxe", "Console: Export"));  // order matters
  EXPECT_TRUE(fuzzyScore("xy", "axy Xz"));                // found even where word starts mislead
  EXPECT_GT(*fuzzyScore("cex", "Console: Export"), *fuzzyScore("cex", "Controls: Checkbox next"));
  EXPECT_GT(*fuzzyScore("boot", "Devices: Boot"), *fuzzyScore("boot", "Devices: Reboot the other"));
  EXPECT_GT(*fuzzyScore("scr", "Controls: Clean Screenshot"), *fuzzyScore("scr", "Scenarios: Rename"));
}

TEST(CommandPaletteTest, RemembersTheActionsUsedNewestFirstAndBounded) {
  auto settings = std::make_shared<InMemorySettingsStore>();
  CommandPalette palette(settings);
  int performed = 0;
  for (int index = 0; index < 12; ++index) {
    palette.add({"action/" + std::to_string(index), "Page: Action " + std::to_string(index), [&] { ++performed; }});
  }
  EXPECT_FALSE(palette.perform("action/none"));
  for (int index = 0; index < 10; ++index) EXPECT_TRUE(palette.perform("action/" + std::to_string(index)));
  EXPECT_TRUE(palette.perform("action/3"));
  EXPECT_EQ(performed, 11);
  const auto recents = palette.recents();
  ASSERT_EQ(recents.size(), CommandPalette::recentLimit);
  EXPECT_EQ(recents.front(), "action/3");
  EXPECT_EQ(recents[1], "action/9");
  // An empty search lists the recents first, then the rest, each once.
  const auto listed = palette.search("");
  ASSERT_EQ(listed.size(), 12u);
  EXPECT_EQ(listed.front()->id, "action/3");
  EXPECT_EQ(listed[CommandPalette::recentLimit]->id, "action/0");
  // Kept across runs, under its key.
  CommandPalette later(settings);
  EXPECT_EQ(later.recents(), recents);
  EXPECT_TRUE(settings->value(CommandPalette::recentsKey).value().has_value());
}

TEST(CommandPaletteTest, PinnedActionsKeepTheirOrderAndLimitAndSayWhichPageTheyBelongTo) {
  auto settings = std::make_shared<InMemorySettingsStore>();
  CommandPalette palette(settings);
  std::vector<std::string> performed;
  for (const auto& action : std::vector<std::pair<std::string, std::string>>{
           {"page/Console", "Go to Console"},
           {"Console/export", "Console: Export\xE2\x80\xA6"},
           {"Console/clear", "Console: Clear"},
           {"Push/clear", "Push: Clear"},
           {"Controls/dark", "Controls: Dark"},
           {"Captures/shot", "Captures: Take Screenshot"},
           {"Devices/boot", "Devices: Boot"}}) {
    palette.add({action.first, action.second, [&performed, id = action.first] { performed.push_back(id); }});
  }
  for (const char* id : {"Console/export", "page/Console", "Console/clear", "Push/clear", "Gone/action"}) {
    EXPECT_EQ(palette.setQuickAction(id, true), std::nullopt);
  }
  EXPECT_EQ(palette.setQuickAction("Console/export", true), std::nullopt);  // already there: stays in place
  EXPECT_EQ(palette.setQuickAction("Controls/dark", true), std::nullopt);
  EXPECT_EQ(palette.setQuickAction("Captures/shot", true),
            "The quick actions bar holds 6 actions: take one off first.");
  EXPECT_EQ(palette.quickActions(), (std::vector<std::string>{"Console/export", "page/Console", "Console/clear",
                                                              "Push/clear", "Gone/action", "Controls/dark"}));

  // The buttons: what exists today, in order, short unless two would read alike.
  std::vector<std::string> labels;
  for (const auto& button : palette.quickButtons()) labels.push_back(button.label);
  EXPECT_EQ(labels, (std::vector<std::string>{"Export\xE2\x80\xA6", "Console", "Console: Clear", "Push: Clear", "Dark"}));

  // A pinned button performs its action without counting as a recent one.
  EXPECT_TRUE(palette.performPinned("Controls/dark"));
  EXPECT_FALSE(palette.performPinned("Gone/action"));
  EXPECT_EQ(performed, std::vector<std::string>{"Controls/dark"});
  EXPECT_TRUE(palette.recents().empty());

  // Taken off, the others close up, and there is room again.
  EXPECT_EQ(palette.setQuickAction("Push/clear", false), std::nullopt);
  EXPECT_EQ(palette.setQuickAction("Push/clear", false), std::nullopt);
  EXPECT_FALSE(palette.isQuickAction("Push/clear"));
  EXPECT_EQ(palette.setQuickAction("Captures/shot", true), std::nullopt);
  EXPECT_EQ(palette.quickActions().back(), "Captures/shot");
  EXPECT_EQ(palette.quickButtons()[2].label, "Clear");  // alone now
  // Kept under its key, across runs.
  EXPECT_EQ(CommandPalette(settings).quickActions(), palette.quickActions());
  EXPECT_TRUE(settings->value(CommandPalette::quickActionsKey).value()->is_array());
}

}  // namespace
}  // namespace orvanta::testing
