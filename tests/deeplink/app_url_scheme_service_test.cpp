#include <gtest/gtest.h>

#include "tests/core/fake_run.hpp"
#include "tests/support/test_files.hpp"
#include "tools/deeplink/app_url_scheme_service.hpp"

namespace orvanta {
namespace {

using Case = AppURLSchemeError::Case;
using testing::FakeRun;
using testing::ScratchFolder;

constexpr const char* kUDID = "3BC9A608-0042-414F-B35C-7ADB869BC572";

class AppURLSchemeServiceTest : public ::testing::Test {
 protected:
  // A bundle folder holding `infoPlist` (nullopt: none), and a fake simctl that names it.
  std::filesystem::path bundleWith(const std::optional<std::string>& infoPlist) {
    const auto bundle = folder_ / "Cafe.app";
    std::filesystem::create_directories(bundle);
    if (infoPlist) {
      testing::writeBytes(bundle / "Info.plist", *infoPlist);
    } else {
      std::filesystem::remove(bundle / "Info.plist");
    }
    run_.reply(bundle.string() + "\n");
    return bundle;
  }
  expected<std::vector<DeclaredURLScheme>, AppURLSchemeError> schemes() {
    return AppURLSchemeService(run_.function()).declaredSchemes("com.example.cafe", kUDID);
  }

  ScratchFolder folder_;
  FakeRun run_;
};

TEST_F(AppURLSchemeServiceTest, ReadsEveryFormatAndToleratesOddEntries) {
  const std::vector<DeclaredURLScheme> cafe = {{"cafe", "com.example.cafe.links", std::nullopt},
                                               {"caf\xc3\xa9-beta", "com.example.cafe.links", std::nullopt}};
  struct Row {
    std::string name;
    std::string plist;
    std::vector<DeclaredURLScheme> expected;
  };
  const std::vector<Row> rows = {
      {"binary", testing::readFixture("plist/info-plist.bplist"), cafe},
      {"xml", testing::readFixture("plist/info-plist.xml"), cafe},
      {"text", "{ CFBundleURLTypes = ( { CFBundleURLSchemes = ( myapp ); CFBundleTypeRole = Editor; } ); }",
       {{"myapp", std::nullopt, "Editor"}}},
      {"no URL types", "{ CFBundleIdentifier = com.example.cafe; }", {}},
      // Entries of the wrong shape are skipped, the rest still count.
      {"odd entries",
       "{ CFBundleURLTypes = ( plain, { CFBundleURLSchemes = keep; }, { CFBundleURLName = ( x ); "
       "CFBundleURLSchemes = ( \"\", ( nested ), good ); } ); }",
       {{"good", std::nullopt, std::nullopt}}},
      {"types not an array", "{ CFBundleURLTypes = { a = b; }; }", {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    bundleWith(row.plist);
    auto declared = schemes();
    ASSERT_TRUE(declared) << declared.error().description();
    EXPECT_EQ(*declared, row.expected);
    EXPECT_EQ(run_.calls.back().arguments,
              (std::vector<std::string>{"simctl", "get_app_container", kUDID, "com.example.cafe", "app"}));
  }
}

TEST_F(AppURLSchemeServiceTest, InfoPlistProblems) {
  const std::vector<std::pair<std::optional<std::string>, Case>> rows = {
      {std::nullopt, Case::infoPlistMissing},
      {"( not, a, dictionary )", Case::infoPlistUnreadable},
      {"<?xml version=\"1.0\"?><!DOCTYPE plist [<!ENTITY a \"aaaa\">]><plist><dict/></plist>", Case::infoPlistUnreadable},
      {std::string("bplist00\xd1\x01\x02", 11), Case::infoPlistUnreadable},
      {"{ unterminated = ", Case::infoPlistUnreadable},
  };
  for (const auto& [plist, expected] : rows) {
    SCOPED_TRACE(plist.value_or("(none)"));
    bundleWith(plist);
    auto declared = schemes();
    ASSERT_FALSE(declared);
    EXPECT_EQ(declared.error().kind, expected);
  }
  EXPECT_EQ(AppURLSchemeError(Case::infoPlistMissing).description(), "The app has no Info.plist.");
  EXPECT_EQ(AppURLSchemeError(Case::infoPlistUnreadable).description(), "The app's Info.plist couldn't be read.");
}

TEST_F(AppURLSchemeServiceTest, ContainerFailuresAreToldApart) {
  struct Row {
    std::string fixture;
    int status;
    Case expected;
    std::string sentence;
  };
  const std::vector<Row> rows = {
      {"deeplink/get-app-container-missing.err", 2, Case::appNotInstalled,
       "The app is no longer installed on this simulator."},
      {"", 148, Case::invalidSimulator, "The simulator is no longer available."},
      {"deeplink/lookup-shutdown.err", 149, Case::invalidSimulator, "The simulator is no longer available."},
      {"deeplink/permission-denied.err", 1, Case::simctlFailed, "simctl exited with status 1"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.fixture);
    const std::string text =
        row.fixture.empty() ? std::string("Invalid device: ") + kUDID + "\n" : testing::readFixture(row.fixture);
    run_.reply("", row.status, text);
    auto declared = schemes();
    ASSERT_FALSE(declared);
    EXPECT_EQ(declared.error().kind, row.expected);
    EXPECT_EQ(declared.error().description(), row.sentence);
  }
}

TEST_F(AppURLSchemeServiceTest, AnswersWithoutAUsableFolder) {
  const auto file = folder_ / "plain-file";
  testing::writeBytes(file, "x");
  for (const std::string& answer : {std::string(""), std::string("  \n"), std::string("relative/Cafe.app\n"),
                                   (folder_ / "gone.app").string(), file.string(),
                                   folder_.path().string() + "\n" + folder_.path().string()}) {
    SCOPED_TRACE(answer);
    run_.reply(answer);
    auto declared = schemes();
    ASSERT_FALSE(declared);
    EXPECT_EQ(declared.error().kind, Case::appNotLocated);
    EXPECT_EQ(declared.error().description(), "Couldn't locate the app on the simulator.");
  }
}

}  // namespace
}  // namespace orvanta
