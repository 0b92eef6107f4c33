#include "tools/app_data/app_container_service.hpp"

#include <gtest/gtest.h>

#include "tests/core/fake_run.hpp"
#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

namespace fs = std::filesystem;
using testing::FakeRun;
using testing::ScratchFolder;
using Case = AppDataError::Case;

// A container with a folder, a file, and links that stay inside or lead out of it.
class ContainmentTest : public ::testing::Test {
 protected:
  void SetUp() override {
    container_ = scratch_ / "Containers" / "Data" / "ABC";
    fs::create_directories(container_ / "Documents" / "Inbox");
    fs::create_directories(scratch_ / "Containers" / "Data" / "OTHER");
    testing::writeBytes(container_ / "Documents" / "notes.txt", "x");
    testing::writeBytes(scratch_ / "secret.txt", "outside");
    fs::create_directory_symlink("Documents/Inbox", container_ / "inbox");
    fs::create_symlink("../notes.txt", container_ / "Documents" / "Inbox" / "up-one");
    fs::create_symlink(scratch_ / "secret.txt", container_ / "Documents" / "absolute-out");
    fs::create_symlink("../../secret.txt", container_ / "Documents" / "relative-out");
    fs::create_directory_symlink("../OTHER", container_ / "sibling");
    fs::create_symlink("loop-b", container_ / "loop-a");
    fs::create_symlink("loop-a", container_ / "loop-b");
  }
  ScratchFolder scratch_;
  fs::path container_;
};

TEST_F(ContainmentTest, HostilePathsAreRefusedAndInsideOnesResolve) {
  struct Row {
    const char* path;
    const char* resolvesTo;  // relative to the real container; nullptr: refused as outside
  } rows[] = {
      {"", ""},
      {".", ""},
      {"Documents/notes.txt", "Documents/notes.txt"},
      {"./Documents//notes.txt", "Documents/notes.txt"},
      {"Documents/new/deeper.txt", "Documents/new/deeper.txt"},
      {"inbox/up-one", "Documents/notes.txt"},
      {"inbox", "Documents/Inbox"},
      {"..", nullptr},
      {"../OTHER", nullptr},
      {"Documents/../../OTHER", nullptr},
      {"Documents/..", nullptr},
      {"/etc/passwd", nullptr},
      {"/", nullptr},
      {"Documents/absolute-out", nullptr},
      {"Documents/relative-out", nullptr},
      {"sibling", nullptr},
      {"sibling/anything", nullptr},
      {"loop-a", nullptr},
  };
  const fs::path real = fs::canonical(container_);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    auto resolved = resolveInsideContainer(container_, row.path);
    if (row.resolvesTo == nullptr) {
      ASSERT_FALSE(resolved);
      EXPECT_EQ(resolved.error().kind, Case::pathOutsideContainer);
      EXPECT_EQ(resolved.error().description(),
                std::string(*row.path ? row.path : ".") + " leads outside the app's container.");
    } else {
      ASSERT_TRUE(resolved) << resolved.error().description();
      EXPECT_EQ(*resolved, *row.resolvesTo ? real / row.resolvesTo : real);
    }
  }
  EXPECT_FALSE(resolveInsideContainer(container_, std::string("Documents/\0x", 11)));
}

TEST_F(ContainmentTest, AKeptFinalLinkIsTheLinkItself) {
  // Removing a link that points outside removes the link, never its target.
  auto kept = resolveInsideContainer(container_, "Documents/absolute-out", FinalLink::keep);
  ASSERT_TRUE(kept);
  EXPECT_EQ(*kept, fs::canonical(container_) / "Documents" / "absolute-out");
  // A link on the way is still followed and checked.
  EXPECT_FALSE(resolveInsideContainer(container_, "sibling/x", FinalLink::keep));
}

TEST(GroupContainersTest, LinesOfIdentifierAndPath) {
  auto groups = parseGroupContainers("group.a\t/D/Containers/Shared/AppGroup/1\n\ngroup.b\t/D/x y/2/\n");
  ASSERT_TRUE(groups);
  EXPECT_EQ(*groups, (std::vector<AppGroupContainer>{{"group.a", "/D/Containers/Shared/AppGroup/1"},
                                                     {"group.b", "/D/x y/2/"}}));
  EXPECT_TRUE(parseGroupContainers("")->empty());
  for (const char* bad : {"group.a /no/tab\n", "\t/no/identifier\n", "group.a\trelative/path\n"}) {
    SCOPED_TRACE(bad);
    auto refused = parseGroupContainers(bad);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().description(), "Couldn't locate the app on the simulator.");
  }
}

TEST(AppContainerServiceTest, ArgumentsAndFailures) {
  const std::string notInstalled = testing::readFixture("deeplink/get-app-container-missing.err");
  ASSERT_FALSE(notInstalled.empty());
  struct Row {
    const char* which;
    int status;
    std::string stderrText;
    std::string expected;
  } rows[] = {
      {"data", 2, notInstalled, "com.example.cafe is not installed on the simulator."},
      {"group.nope", 2, notInstalled, "The app has no container group.nope."},
      {"data", 148, "Invalid device: 1234\n", "The simulator is not available: Invalid device: 1234"},
      {"app", 1, "Something else\n", "simctl failed (exit 1): Something else"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.expected);
    FakeRun fake;
    fake.reply("", row.status, row.stderrText);
    AppContainerService service(SimctlClient{fake.function(), "/x/xcrun"});
    auto path = service.container("UDID", "com.example.cafe", row.which);
    ASSERT_FALSE(path);
    EXPECT_EQ(path.error().description(), row.expected);
    ASSERT_EQ(fake.calls.size(), 1u);
    EXPECT_EQ(fake.calls[0].arguments,
              (std::vector<std::string>{"simctl", "get_app_container", "UDID", "com.example.cafe", row.which}));
  }

  FakeRun fake;
  fake.reply("/Users/dev/Devices/X/data/Containers/Data/Application/D4ED\n");
  fake.reply("not a path\n");
  AppContainerService service(SimctlClient{fake.function(), "/x/xcrun"});
  EXPECT_EQ(service.container("UDID", "com.example.cafe", "data").value(),
            "/Users/dev/Devices/X/data/Containers/Data/Application/D4ED");
  EXPECT_EQ(service.container("UDID", "com.example.cafe", "data").error().kind, Case::appNotLocated);
}

TEST(AppContainerServiceTest, TerminateTreatsNothingToTerminateAsNotRunning) {
  FakeRun fake;
  fake.reply("");
  fake.reply("", 3,
             "An error was encountered processing the command (domain=NSPOSIXErrorDomain, code=3):\n"
             "Simulator device returned an error for the requested operation.\nfound nothing to terminate\n");
  fake.reply("", 1, "Unexpected\n");
  const SimctlClient client{fake.function(), "/x/xcrun"};
  EXPECT_EQ(terminateAppIfRunning(client, "UDID", "com.example.cafe", {}).value(), true);
  EXPECT_EQ(terminateAppIfRunning(client, "UDID", "com.example.cafe", {}).value(), false);
  EXPECT_EQ(terminateAppIfRunning(client, "UDID", "com.example.cafe", {}).error().kind, Case::simctlFailed);
  EXPECT_EQ(fake.calls[0].arguments, (std::vector<std::string>{"simctl", "terminate", "UDID", "com.example.cafe"}));
}

}  // namespace
}  // namespace orvanta
