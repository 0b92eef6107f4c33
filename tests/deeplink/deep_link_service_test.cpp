#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/core/fake_run.hpp"
#include "tools/deeplink/deep_link_service.hpp"

namespace orvanta {
namespace {

using Case = DeepLinkError::Case;
using testing::FakeRun;
using Json = nlohmann::json;

constexpr const char* kUDID = "3BC9A608-0042-414F-B35C-7ADB869BC572";

// A settings store whose writes fail, as a full disk would.
class UnwritableSettingsStore final : public SettingsStore {
 public:
  expected<std::optional<Json>, FileError> value(std::string_view) const override { return std::nullopt; }
  expected<void, FileError> setValue(std::string_view, const Json&) override { return refused(); }
  expected<void, FileError> removeValue(std::string_view) override { return refused(); }
  expected<void, FileError> update(std::string_view, const Change&) override { return refused(); }

 private:
  static expected<void, FileError> refused() { return unexpected(FileError::writeFailed("settings.json", 28)); }
};

SimulatorTargetStatus bootedTarget() {
  SimulatorDevice device;
  device.udid = kUDID;
  device.name = "iPhone 16";
  device.state = SimulatorState::booted;
  return SimulatorTargetStatus::selected(device);
}

const auto link = [](const std::string& text) { return *validateDeepLink(text); };

// A service that records nothing.
DeepLinkService serviceWithout(RunFunction run) {
  DeepLinkServiceEnvironment environment;
  environment.run = std::move(run);
  return DeepLinkService(std::move(environment));
}

class DeepLinkServiceTest : public ::testing::Test {
 protected:
  DeepLinkService service() {
    return DeepLinkService({run_.function(), "/usr/bin/xcrun", history_, [this] { return now_; }});
  }

  FakeRun run_;
  std::shared_ptr<InMemorySettingsStore> settings_ = std::make_shared<InMemorySettingsStore>();
  std::shared_ptr<DeepLinkHistoryStore> history_ = std::make_shared<DeepLinkHistoryStore>(settings_);
  std::chrono::sys_seconds now_{std::chrono::seconds(1'800'000'000)};
};

TEST_F(DeepLinkServiceTest, OpensAsTypedAndRecordsHistory) {
  auto opened = service().open(link("  MyApp://Inbox "), bootedTarget());
  ASSERT_TRUE(opened) << opened.error().description();
  EXPECT_EQ(*opened, (DeepLinkLaunchResult{"MyApp://Inbox", kUDID}));
  ASSERT_EQ(run_.calls.size(), 1u);
  EXPECT_EQ(run_.calls[0].arguments, (std::vector<std::string>{"simctl", "openurl", kUDID, "MyApp://Inbox"}));
  const auto entries = history_->entries();
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].openedAt, now_);
  const Json stored = *settings_->value("Orvanta.DeepLink.recents").value();
  EXPECT_EQ(stored[0]["openedAt"], 1'800'000'000.0 - 978'307'200.0);
}

TEST_F(DeepLinkServiceTest, HistoryMovesRepeatsToTheFrontAndKeeps25) {
  auto service = this->service();
  for (int i = 0; i < 26; ++i) ASSERT_TRUE(service.open(link("myapp://item/" + std::to_string(i)), kUDID));
  ASSERT_TRUE(service.open(link("myapp://item/5"), kUDID));
  ASSERT_TRUE(service.open(link("MYAPP://item/5"), kUDID));  // not the same text: a separate entry
  const auto entries = history_->entries();
  ASSERT_EQ(entries.size(), 25u);
  EXPECT_EQ(entries[0].urlString, "MYAPP://item/5");
  EXPECT_EQ(entries[1].urlString, "myapp://item/5");
  EXPECT_EQ(entries.back().urlString, "myapp://item/2");  // 0 and 1 dropped, 5 moved up
}

// Both runtimes' no-handler replies, simctl's stderr, and the target checks before simctl runs are seen end to
// end in deeplink_cli_test (FailuresKeepTheirSentences, ValidateNeedsNoSimulator).
TEST_F(DeepLinkServiceTest, AFailedOpenIsNotRecorded) {
  run_.fail(ProcessRunnerError::executableNotFound("/usr/bin/xcrun"));
  auto opened = service().open(link("myapp://x"), kUDID);
  ASSERT_FALSE(opened);
  EXPECT_EQ(opened.error().kind, Case::simctlFailed);
  EXPECT_TRUE(history_->entries().empty());
}

TEST_F(DeepLinkServiceTest, OnlyOneOpenAtATime) {
  std::optional<expected<DeepLinkLaunchResult, DeepLinkError>> nested;
  auto blocking = [&](const std::filesystem::path&, const std::vector<std::string>&,
                      orvanta::stop_token) -> ProcessRunner::Result {
    // A second request while simctl is still running.
    if (!nested) nested = serviceWithout(run_.function()).open(link("myapp://second"), kUDID);
    return ProcessRunner::Output{};
  };
  auto first = serviceWithout(blocking);
  ASSERT_TRUE(first.open(link("myapp://first"), kUDID));
  ASSERT_TRUE(nested.has_value());
  ASSERT_FALSE(*nested);
  EXPECT_EQ(nested->error().description(), "A deep link is already opening.");
  EXPECT_TRUE(run_.calls.empty());
  // Once the first has finished, the next one runs.
  EXPECT_TRUE(serviceWithout(run_.function()).open(link("myapp://third"), kUDID));
}

TEST_F(DeepLinkServiceTest, AHistoryThatCannotBeWrittenFailsAfterTheOpen) {
  history_ = std::make_shared<DeepLinkHistoryStore>(std::make_shared<UnwritableSettingsStore>());
  auto opened = service().open(link("myapp://x"), kUDID);
  ASSERT_FALSE(opened);
  EXPECT_EQ(opened.error().description(), "Couldn't save your recents or favorites.");
  EXPECT_EQ(opened.error().opened, (DeepLinkLaunchResult{"myapp://x", kUDID}));
  EXPECT_EQ(run_.calls.size(), 1u);
}

TEST(DeepLinkAppNotes, WarnOnlyWhenTheAppDoesNotDeclareTheScheme) {
  const std::vector<DeclaredURLScheme> cafe = {{"Cafe", std::nullopt, std::nullopt}};
  EXPECT_TRUE(deepLinkAppNotes(link("CAFE://menu"), "com.example.cafe", cafe).empty());  // schemes ignore case
  EXPECT_EQ(deepLinkAppNotes(link("tea://menu"), "com.example.cafe", cafe).size(), 1u);
  const auto unknown = deepLinkAppNotes(link("tea://x"), "com.example.gone",
                                        unexpected(AppURLSchemeError(AppURLSchemeError::Case::appNotInstalled)));
  EXPECT_EQ(unknown, (std::vector<std::string>{"Couldn't check the URL schemes of com.example.gone: The app is no "
                                               "longer installed on this simulator."}));
}

TEST(DeepLinkFavorites, Rules) {
  DeepLinkFavoriteStore store(std::make_shared<InMemorySettingsStore>());
  auto inbox = store.add("  myapp://inbox ", "  Inbox ");
  ASSERT_TRUE(inbox);
  EXPECT_EQ(inbox->urlString, "myapp://inbox");
  EXPECT_EQ(inbox->label, "Inbox");
  EXPECT_TRUE(store.add("MYAPP://inbox", ""));  // another text is another link

  auto renamed = store.relabel(inbox->id, "Mail");
  ASSERT_TRUE(renamed);
  EXPECT_EQ(store.favorites()[0].label, "Mail");
  EXPECT_EQ(store.matching("MYAPP://inbox").size(), 1u);
  // A label stands for one favourite: a second one is refused, empty labels are not labels.
  EXPECT_EQ(store.add("myapp://mail", " Mail").error().description(), "Another favorite is already labelled \"Mail\".");
  EXPECT_TRUE(store.add("myapp://unlabelled", ""));
  auto other = store.matching("myapp://unlabelled").front();
  EXPECT_EQ(store.relabel(other.id, "Mail").error().kind, Case::labelTaken);
  EXPECT_TRUE(store.relabel(inbox->id, "Mail"));
  ASSERT_TRUE(store.remove(other.id));
  EXPECT_EQ(store.matching(inbox->id).front().urlString, "myapp://inbox");
  EXPECT_TRUE(store.matching("nothing").empty());

  ASSERT_TRUE(store.remove(inbox->id));
  EXPECT_EQ(store.remove(inbox->id).error().kind, Case::favoriteNotFound);
  EXPECT_EQ(store.relabel("not-an-id", "x").error().kind, Case::favoriteNotFound);

  for (std::size_t i = store.favorites().size(); i < maximumDeepLinkFavorites; ++i) {
    ASSERT_TRUE(store.add("myapp://item/" + std::to_string(i), ""));
  }
  auto refused = store.add("myapp://one-more", "");
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().description(),
            "Orvanta keeps at most 100 deep-link favorites. Remove one before adding another.");
  EXPECT_EQ(store.favorites().size(), maximumDeepLinkFavorites);
}

}  // namespace
}  // namespace orvanta
