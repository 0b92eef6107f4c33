// The file browser, the file bridge and snapshots, on real folders standing in for an app's containers
// and with the recording fake standing in for simctl.
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "tests/core/fake_run.hpp"
#include "tests/support/test_files.hpp"
#include "tools/app_data/app_data_snapshot_service.hpp"
#include "tools/app_data/app_file_browser_service.hpp"
#include "tools/app_data/file_bridge_service.hpp"

namespace orvanta {
namespace {

namespace fs = std::filesystem;
using testing::FakeRun;
using testing::ScratchFolder;
using Case = AppDataError::Case;
using Arguments = std::vector<std::string>;

class AppFilesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(container_ / "Documents" / "Inbox");
    fs::create_directories(group_ / "Widget");
    fs::create_directories(host_);
    testing::writeBytes(container_ / "Documents" / "notes.txt", "notes");
    testing::writeBytes(container_ / "Documents" / "Inbox" / "a.json", "{}");
    testing::writeBytes(group_ / "Widget" / "today.json", "{\"n\": 1}");
    ASSERT_EQ(::mkfifo((container_ / "Documents" / "pipe").c_str(), 0600), 0);
  }

  ScratchFolder scratch_;
  fs::path container_ = scratch_ / "data";
  fs::path group_ = scratch_ / "group";
  fs::path host_ = scratch_ / "host";
  SimulatorMutationGate gate_;
};

TEST_F(AppFilesTest, PullSkipsSpecialFilesAndNeverReplaces) {
  AppFileBrowserService browser(gate_);
  auto first = browser.pull(container_, "Documents", host_);
  ASSERT_TRUE(first) << first.error().description();
  EXPECT_EQ(first->path, host_ / "Documents");
  EXPECT_EQ(first->count.files, 2u);
  EXPECT_EQ(first->count.skipped, 1u);
  EXPECT_FALSE(fs::exists(host_ / "Documents" / "pipe"));
  auto second = browser.pull(container_, "Documents", host_);
  ASSERT_TRUE(second);
  EXPECT_EQ(second->path, host_ / "Documents 2");
  EXPECT_EQ(testing::entries(host_), (std::set<std::string>{"Documents", "Documents 2"}));

  auto fifo = browser.pull(container_, "Documents/pipe", host_);
  ASSERT_FALSE(fifo);
  EXPECT_EQ(fifo.error().description(), "Documents/pipe is not a regular file or folder.");
}

TEST_F(AppFilesTest, PushPlacesWholeFilesAndRefusesWhatItWouldMerge) {
  AppFileBrowserService browser(gate_);
  testing::writeBytes(host_ / "notes.txt", "new notes");
  fs::create_directory(host_ / "Inbox");
  auto replaced = browser.push("UDID", container_, host_ / "notes.txt", "Documents");
  ASSERT_TRUE(replaced) << replaced.error().description();
  EXPECT_EQ(replaced->path, "Documents/notes.txt");
  EXPECT_EQ(testing::readBytes(container_ / "Documents" / "notes.txt"), "new notes");
  auto renamed = browser.push("UDID", container_, host_ / "notes.txt", "Documents/copy.txt");
  ASSERT_TRUE(renamed);
  EXPECT_EQ(testing::readBytes(container_ / "Documents" / "copy.txt"), "new notes");

  auto merged = browser.push("UDID", container_, host_ / "Inbox", "Documents");
  ASSERT_FALSE(merged);
  EXPECT_EQ(merged.error().description(), "Documents/Inbox already exists in the app's container.");
  // No staged copy is left behind.
  EXPECT_EQ(testing::entries(container_ / "Documents"), (std::set<std::string>{"Inbox", "copy.txt", "notes.txt", "pipe"}));
  EXPECT_FALSE(gate_.holder("UDID"));

  ASSERT_TRUE(gate_.acquire("UDID", gate_labels::scenario));
  auto busy = browser.push("UDID", container_, host_ / "notes.txt", "");
  ASSERT_FALSE(busy);
  EXPECT_EQ(busy.error().kind, Case::simulatorBusy);
  EXPECT_FALSE(browser.remove("UDID", container_, "Documents/copy.txt"));
  EXPECT_TRUE(fs::exists(container_ / "Documents" / "copy.txt"));
}

TEST_F(AppFilesTest, RemoveTakesLinksThemselvesAndNeverTheContainer) {
  AppFileBrowserService browser(gate_);
  testing::writeBytes(scratch_ / "outside.txt", "keep me");
  fs::create_symlink(scratch_ / "outside.txt", container_ / "Documents" / "out");
  ASSERT_TRUE(browser.remove("UDID", container_, "Documents/out"));
  EXPECT_EQ(testing::readBytes(scratch_ / "outside.txt"), "keep me");
  for (const char* path : {"", ".", "Documents/.."}) {
    SCOPED_TRACE(path);
    auto refused = browser.remove("UDID", container_, path);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().kind, Case::pathOutsideContainer);
  }
  EXPECT_TRUE(fs::exists(container_ / "Documents" / "notes.txt"));
}

TEST(FileBridgeTest, MediaIsCheckedBeforeOneSimctlCall) {
  ScratchFolder scratch;
  for (const char* name : {"beach.HEIC", "beach.mov", "card.vcf", "doc.pdf"}) testing::writeBytes(scratch / name, "x");
  SimulatorMutationGate gate;
  FakeRun fake;
  FileBridgeService bridge(SimctlClient{fake.function(), "/x/xcrun"}, gate);
  auto added = bridge.addMedia("UDID", {scratch / "beach.HEIC", scratch / "beach.mov", scratch / "card.vcf"});
  ASSERT_TRUE(added) << added.error().description();
  EXPECT_EQ(added->at(0).kind, MediaKind::photo);
  ASSERT_EQ(fake.calls.size(), 1u);
  EXPECT_EQ(fake.calls[0].arguments,
            (Arguments{"simctl", "addmedia", "UDID", (scratch / "beach.HEIC").string(), (scratch / "beach.mov").string(),
                       (scratch / "card.vcf").string()}));

  EXPECT_EQ(bridge.addMedia("UDID", {scratch / "beach.mov", scratch / "doc.pdf"}).error().kind, Case::unsupportedMedia);
  EXPECT_EQ(bridge.addMedia("UDID", {scratch / "none.png"}).error().kind, Case::pathNotFound);
  EXPECT_EQ(bridge.addCertificate("UDID", scratch.path(), CertificateTrust::root).error().kind,
            Case::unsupportedFileType);
  EXPECT_EQ(fake.calls.size(), 1u);

  fake.reply("", 2, "An error was encountered processing the command (domain=NSPOSIXErrorDomain, code=22):\nFile type unsupported\n");
  auto refused = bridge.addMedia("UDID", {scratch / "beach.mov"});
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().description(),
            "simctl failed (exit 2): An error was encountered processing the command (domain=NSPOSIXErrorDomain, "
            "code=22):\nFile type unsupported");
  ASSERT_TRUE(bridge.addCertificate("UDID", scratch / "card.vcf", CertificateTrust::leaf));
  ASSERT_TRUE(bridge.resetKeychain("UDID"));
  EXPECT_EQ(fake.calls[2].arguments, (Arguments{"simctl", "keychain", "UDID", "add-cert", (scratch / "card.vcf").string()}));
  EXPECT_EQ(fake.calls[3].arguments, (Arguments{"simctl", "keychain", "UDID", "reset"}));
}

TEST_F(AppFilesTest, SnapshotsRestoreWhatWasSavedAndRefuseADamagedOne) {
  // get_app_container data, then groups, for each save and restore; terminate for the restore.
  FakeRun fake;
  auto containers = [&] {
    fake.reply(container_.string() + "\n");
    fake.reply("group.com.example.cafe\t" + group_.string() + "\n");
  };
  fs::remove(container_ / "Documents" / "pipe");
  AppDataSnapshotService service(SimctlClient{fake.function(), "/x/xcrun"}, gate_, scratch_ / "support");
  containers();
  auto saved = service.save("UDID", "com.example.cafe", "clean");
  ASSERT_TRUE(saved) << saved.error().description();
  EXPECT_EQ(saved->fileCount, 3u);
  EXPECT_EQ(saved->groups, (std::vector<std::string>{"group.com.example.cafe"}));
  EXPECT_EQ(testing::entries(scratch_ / "support" / "Snapshots" / "com.example.cafe"), (std::set<std::string>{"clean"}));

  fs::remove_all(container_ / "Documents");
  testing::writeBytes(container_ / "junk.txt", "junk");
  testing::writeBytes(group_ / "Widget" / "today.json", "changed");
  containers();
  fake.reply("");  // terminate
  auto restored = service.restore("UDID", "com.example.cafe", "clean");
  ASSERT_TRUE(restored) << restored.error().description();
  EXPECT_TRUE(restored->terminatedApp);
  EXPECT_EQ(restored->filesVerified, 3u);
  EXPECT_EQ(testing::entries(container_), (std::set<std::string>{"Documents"}));
  EXPECT_EQ(testing::readBytes(container_ / "Documents" / "notes.txt"), "notes");
  EXPECT_EQ(testing::readBytes(group_ / "Widget" / "today.json"), "{\"n\": 1}");
  EXPECT_FALSE(gate_.holder("UDID"));

  testing::writeBytes(scratch_ / "support" / "Snapshots" / "com.example.cafe" / "clean" / "data" / "Documents" / "notes.txt",
                      "tampered");
  const auto calls = fake.calls.size();
  auto damaged = service.restore("UDID", "com.example.cafe", "clean");
  ASSERT_FALSE(damaged);
  EXPECT_EQ(damaged.error().description(),
            "The snapshot clean is damaged: these files differ from its manifest: data/Documents/notes.txt");
  EXPECT_EQ(fake.calls.size(), calls);  // nothing ran, nothing changed

  for (const std::string& name : {std::string(), std::string(".hidden"), std::string("a/b"), std::string("tab\there"),
                                  std::string(101, 'x')}) {
    SCOPED_TRACE(name);
    EXPECT_FALSE(isValidSnapshotName(name));
  }
  EXPECT_TRUE(isValidSnapshotName("before migration 2"));
  ASSERT_TRUE(service.remove("com.example.cafe", "clean"));
  EXPECT_TRUE(service.list().empty());
  EXPECT_EQ(service.remove("com.example.cafe", "clean").error().kind, Case::snapshotNotFound);
}

}  // namespace
}  // namespace orvanta
