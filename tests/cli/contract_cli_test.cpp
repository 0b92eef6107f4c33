// What scripts and people can count on from every command: one JSON document, one date format, errors
// with their hints, unique names, and usage that teaches.
#include <gtest/gtest.h>

#include "tests/cli/cli_harness.hpp"

namespace orvanta {
namespace {

using testing::CliResult;
using testing::contains;
using testing::kIPhone16;
using Json = nlohmann::json;

class ContractCliTest : public testing::TargetedCliTest {
 protected:
  void importScenario(const std::string& name) {
    const std::string text =
        R"({"name": ")" + name + R"(", "steps": [{"kind": {"setAppearance": {"_0": "dark"}}}]})";
    ASSERT_EQ(orvanta({"scenario", "import", "-"}, text).status, 0);
  }
  std::vector<std::string> scenarioNames() {
    std::vector<std::string> names;
    for (const auto& item : orvanta({"--json", "scenario", "list"}).json()) names.push_back(item.value("name", ""));
    return names;
  }
};

TEST_F(ContractCliTest, AFailureAfterAResultIsOneDocument) {
  // The simulator ignores the change: the result and the error in one object.
  setEnvironment("ORVANTA_EMULATOR_FAULTS", R"({"ui": {"times": 1, "exit": 0}})");
  auto ignored = orvanta({"--json", "ui", "appearance", "dark"});
  EXPECT_EQ(ignored.status, 1) << ignored.err;
  const auto document = ignored.json();  // throws on a second document
  EXPECT_TRUE(document.contains("simulatorUDID")) << ignored.out;
  EXPECT_EQ(document["error"]["kind"], "notConfirmed");
  EXPECT_EQ(document["error"]["hints"].size(), 1u);

  // An ambiguous name lists its candidates as hints in JSON too.
  auto usage = orvanta({"--json", "target", "set", "iPhone"});
  EXPECT_EQ(usage.status, 2);
  EXPECT_TRUE(usage.json()["error"].contains("message"));
}

TEST_F(ContractCliTest, DatesAreRfc3339WithMilliseconds) {
  importScenario("Dated");
  const auto shown = orvanta({"--json", "scenario", "show", "Dated"}).json();
  const std::string created = shown["createdAt"];
  EXPECT_EQ(created.size(), 24u) << created;  // 2026-11-24T08:31:13.285Z
  EXPECT_EQ(created[10], 'T');
  EXPECT_EQ(created[19], '.');
  EXPECT_TRUE(created.ends_with("Z"));
  ASSERT_EQ(orvanta({"location", "set", "1.5", "2.5"}).status, 0);
  const std::string setAt = orvanta({"--json", "location", "history"}).json()[0]["setAt"];
  EXPECT_EQ(setAt.size(), 24u) << setAt;
}

TEST_F(ContractCliTest, SavedNamesStayUnique) {
  importScenario("Morning");
  importScenario("Morning");
  ASSERT_EQ(orvanta({"scenario", "duplicate", "Morning"}).status, 0);
  auto second = orvanta({"--json", "scenario", "duplicate", "Morning"});
  ASSERT_EQ(second.status, 0) << second.err;
  EXPECT_EQ(second.json()["newName"], "Morning Copy 2");
  EXPECT_EQ(scenarioNames(), (std::vector<std::string>{"Morning", "Morning Copy 2", "Morning Copy", "Morning 2"}));
  auto clash = orvanta({"scenario", "rename", "Morning 2", "Morning"});
  EXPECT_EQ(clash.status, 1);
  EXPECT_TRUE(contains(clash.err, "A scenario named \"Morning\" already exists; choose another name.")) << clash.err;

  ASSERT_EQ(orvanta({"input", "profile", "add", "Shop"}).status, 0);
  auto sameProfile = orvanta({"input", "profile", "add", "Shop"});
  EXPECT_EQ(sameProfile.status, 1);
  EXPECT_TRUE(contains(sameProfile.err, "A profile named \"Shop\" already exists.")) << sameProfile.err;
  ASSERT_EQ(orvanta({"input", "field", "add", "--kind", "email", "--label", "Email", "--value", "a@b.c"}).status, 0);
  auto sameLabel = orvanta({"input", "field", "add", "--kind", "email", "--label", "Email", "--value", "d@e.f"});
  EXPECT_EQ(sameLabel.status, 1);
  EXPECT_TRUE(contains(sameLabel.err, "This profile already has a field labelled \"Email\".")) << sameLabel.err;

  // Presets and favourites are renamed and removed by label as well as by id.
  ASSERT_EQ(orvanta({"location", "presets", "add", "Office", "1", "2"}).status, 0);
  EXPECT_EQ(orvanta({"location", "presets", "rename", "Office", "Desk"}).status, 0);
  EXPECT_EQ(orvanta({"location", "presets", "remove", "Desk"}).status, 0);
  ASSERT_EQ(orvanta({"deeplink", "favorites", "add", "myapp://inbox", "--label", "Inbox"}).status, 0);
  EXPECT_EQ(orvanta({"deeplink", "favorites", "remove", "Inbox"}).status, 0);
}

TEST_F(ContractCliTest, UsageTeaches) {
  auto bare = orvanta({});
  EXPECT_EQ(bare.status, 0);
  EXPECT_TRUE(contains(bare.out, "scenario")) << bare.out;
  auto help = orvanta({"help", "push", "validate"});
  EXPECT_EQ(help.status, 0);
  EXPECT_TRUE(contains(help.out, "FILE")) << help.out;

  struct Row {
    std::vector<std::string> arguments;
    std::string sentence;
  };
  for (const Row& row : {Row{{"devicess"}, "Did you mean 'orvanta devices'?"},
                         Row{{"target", "sett", "x"}, "Did you mean 'orvanta target set'?"},
                         Row{{"scenario", "move", "x", "0"}, "POSITION must be a whole number from 1"},
                         Row{{"push", "validate"}, "Give a payload file, or - to read standard input."},
                         Row{{"target", "clear", "a", "b"}, "Unexpected arguments: a b."}}) {
    SCOPED_TRACE(row.arguments.front());
    auto result = orvanta(row.arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_TRUE(contains(result.err, row.sentence)) << result.err;
  }

  const auto file = root() / "not-a-folder";
  { std::ofstream(file) << "x"; }
  for (const char* command : {"screenshot", "record"}) {
    SCOPED_TRACE(command);
    auto refused = orvanta({command, "folder", file.string()});
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(contains(refused.err, file.string() + " is not a folder")) << refused.err;
  }
}

TEST_F(ContractCliTest, SmallShapes) {
  auto unverified = orvanta({"--json", "ui", "contrast", "on", "--no-verify"});
  ASSERT_EQ(unverified.status, 0) << unverified.err;
  EXPECT_EQ(unverified.json()["value"], "on");
  EXPECT_EQ(orvanta({"--json", "ui", "contrast"}).json()["value"], "on");
}

}  // namespace
}  // namespace orvanta
