// The program attacked as a careless user or a hostile file would: inputs beyond every limit, signals at
// every blocking read, a lock folder that is not ours, a simctl that hangs, scratch folders planted by
// someone else.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>

#include <gtest/gtest.h>

#include "support/file_lock.hpp"
#include "tests/cli/cli_harness.hpp"

namespace orvanta {
namespace {

using testing::CliResult;
using testing::kIPhone16;
namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

// orvanta started by hand: its stdin a pseudo-terminal (a person at a prompt) or a pipe that nobody
// writes to (`sleep 30 | orvanta ...`), so that a test can signal it while it waits to read.
class WaitingOrvanta {
 public:
  enum class Input { terminal, silentPipe };

  WaitingOrvanta(const std::vector<std::string>& arguments, const std::map<std::string, std::string>& environment,
                 Input input, int ignoredSignal = 0) {
    std::vector<std::string> environmentText;
    for (char** entry = environ; *entry != nullptr; ++entry) {
      const std::string text = *entry;
      if (!environment.contains(text.substr(0, text.find('=')))) environmentText.push_back(text);
    }
    for (const auto& [key, value] : environment) environmentText.push_back(key + "=" + value);
    std::vector<char*> envp;
    for (auto& text : environmentText) envp.push_back(text.data());
    envp.push_back(nullptr);
    std::vector<std::string> argvText{ORVANTA_BINARY};
    argvText.insert(argvText.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (auto& text : argvText) argv.push_back(text.data());
    argv.push_back(nullptr);

    int childInput = -1;
    std::string terminalName;
    if (input == Input::terminal) {
      reader_ = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
      EXPECT_GE(reader_, 0);
      EXPECT_EQ(::grantpt(reader_), 0);
      EXPECT_EQ(::unlockpt(reader_), 0);
      terminalName = ::ptsname(reader_);
    } else {
      int fds[2];
      EXPECT_EQ(::pipe2(fds, O_CLOEXEC), 0);
      childInput = fds[0];
      writer_ = fds[1];
      int outputs[2];
      EXPECT_EQ(::pipe2(outputs, O_CLOEXEC), 0);
      reader_ = outputs[0];
      childOutput_ = outputs[1];
    }
    pid_ = ::fork();
    if (pid_ == 0) {
      ::setsid();
      if (ignoredSignal != 0) ::signal(ignoredSignal, SIG_IGN);  // as nohup does
      if (input == Input::terminal) {
        const int terminal = ::open(terminalName.c_str(), O_RDWR);  // becomes the controlling terminal
        if (terminal < 0) ::_exit(126);
        ::dup2(terminal, 0);
        ::dup2(terminal, 1);
        ::dup2(terminal, 2);
      } else {
        ::dup2(childInput, 0);
        ::dup2(childOutput_, 1);
        ::dup2(childOutput_, 2);
      }
      ::execve(argv[0], argv.data(), envp.data());
      ::_exit(127);
    }
    if (childInput >= 0) ::close(childInput);
    if (childOutput_ >= 0) ::close(childOutput_);
  }
  ~WaitingOrvanta() {
    if (pid_ > 0 && !status_) {
      ::kill(pid_, SIGKILL);
      ::waitpid(pid_, nullptr, 0);
    }
    if (reader_ >= 0) ::close(reader_);
    if (writer_ >= 0) ::close(writer_);
  }

  // Reads what it shows until `text` appears (or 20 s pass).
  bool waitFor(const std::string& text) {
    const auto giveUp = Clock::now() + std::chrono::seconds(20);
    while (screen_.find(text) == std::string::npos && Clock::now() < giveUp) readSome(100);
    return screen_.find(text) != std::string::npos;
  }
  // Waits until the program has its own handler for `signal` (Linux shows it in /proc; elsewhere a pause
  // stands in), so that a signal sent now tests the program rather than the default action.
  bool waitUntilCatching(int signal) {
    const auto statusFile = "/proc/" + std::to_string(pid_) + "/status";
    if (::access(statusFile.c_str(), R_OK) != 0) {
      std::this_thread::sleep_for(std::chrono::seconds(2));
      return true;
    }
    const auto giveUp = Clock::now() + std::chrono::seconds(20);
    while (Clock::now() < giveUp) {
      std::ifstream status(statusFile);
      std::string line;
      while (std::getline(status, line)) {
        if (line.rfind("SigCgt:", 0) != 0) continue;
        const unsigned long long caught = std::stoull(line.substr(7), nullptr, 16);
        if ((caught >> (signal - 1)) & 1ULL) return true;
      }
      readSome(20);
    }
    return false;
  }
  // Sends `signal` and waits for the exit; the exit status and the seconds it took after the signal.
  std::pair<int, double> interrupt(int signal) {
    const auto sent = Clock::now();
    ::kill(pid_, signal);
    const auto giveUp = sent + std::chrono::seconds(20);
    while (!status_ && Clock::now() < giveUp) {
      readSome(20);
      int raw = 0;
      if (::waitpid(pid_, &raw, WNOHANG) == pid_) status_ = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
    }
    return {status_.value_or(-1), std::chrono::duration<double>(Clock::now() - sent).count()};
  }
  const std::string& screen() const { return screen_; }
  pid_t pid() const { return pid_; }

 private:
  void readSome(int milliseconds) {
    pollfd entry{reader_, POLLIN, 0};
    if (::poll(&entry, 1, milliseconds) <= 0) return;
    char buffer[4096];
    const ssize_t got = ::read(reader_, buffer, sizeof buffer);
    if (got > 0) screen_.append(buffer, static_cast<std::size_t>(got));
  }

  pid_t pid_ = -1;
  int reader_ = -1;
  int writer_ = -1;
  int childOutput_ = -1;
  std::optional<int> status_;
  std::string screen_;
};

class HardeningCliTest : public testing::TargetedCliTest {
 protected:
  fs::path write(const std::string& name, const std::string& bytes) {
    const auto path = root() / name;
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
  }
  fs::path scratch() const { return temporary() / ("orvanta-" + std::to_string(::geteuid())); }
  fs::path runtime() const { return root() / "runtime" / "orvanta"; }
};

TEST_F(HardeningCliTest, InputsBeyondTheLimitsAreRefusedWithASentence) {
  const std::string deepArrays(2 * 1024 * 1024, '[');
  std::string deepObjects;
  for (int i = 0; i < 100000; ++i) deepObjects += R"({"a":)";
  std::string deepItem = R"({"formatVersion": 1, "items": [{"schemaVersion": 2, "id": "X", "deep": )";
  for (int i = 0; i < 10000; ++i) deepItem += "[";
  const std::string bigPayload = R"({"aps": {"alert": ")" + std::string(3 * 1024 * 1024, 'x') + R"("}})";
  const auto fifo = root() / "fifo";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);

  struct Row {
    std::vector<std::string> arguments;
    std::string message;
    std::optional<std::string> input = std::nullopt;
  };
  const std::vector<Row> rows = {
      {{"scenario", "import", write("arrays.json", deepArrays).string()},
       "The file is not JSON: the document nests deeper than 64 levels."},
      {{"scenario", "import", write("objects.json", deepObjects).string()},
       "The file is not JSON: the document nests deeper than 64 levels."},
      {{"scenario", "import", write("item.json", deepItem).string()},
       "The file is not JSON: the document nests deeper than 64 levels."},
      {{"scenario", "import", "-"}, "The file is not JSON: the document nests deeper than 64 levels.", deepArrays},
      {{"scenario", "import", "/dev/zero"}, "Could not read /dev/zero: it is not a regular file"},
      {{"scenario", "import", fifo.string()}, "Could not read " + fifo.string() + ": it is not a regular file"},
      {{"push", "validate", write("big.json", bigPayload).string()},
       "Could not read " + (root() / "big.json").string() + ": it is larger than 64 KiB"},
      {{"push", "validate", "-"}, "Standard input holds more than 64 KiB.", bigPayload},
      {{"gpx", "inspect", fifo.string()}, "it is not a regular file"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.arguments.front() + " " + row.arguments.back());
    auto arguments = row.arguments;
    arguments.push_back("--json");
    const auto result = orvanta(arguments, row.input);
    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_TRUE(testing::contains(result.err, row.message)) << result.err;
    EXPECT_NO_THROW((void)result.json()) << result.out;
  }
  // Nothing of the refused imports reached the library.
  EXPECT_EQ(orvanta({"--json", "scenario", "list"}).json(), nlohmann::json::array());
}

TEST_F(HardeningCliTest, EveryBlockingReadEndsOnTheStopRequest) {
  struct Row {
    std::vector<std::string> arguments;
    WaitingOrvanta::Input input;
    std::string cue;  // shown once it waits
    int signal;
  };
  const std::vector<Row> rows = {
      {{"push", "validate", "-"}, WaitingOrvanta::Input::silentPipe, "", SIGINT},
      {{"scenario", "import", "-"}, WaitingOrvanta::Input::silentPipe, "", SIGTERM},
      {{"app", "uninstall", "com.example.cafe"}, WaitingOrvanta::Input::terminal, "[y/N]", SIGINT},
      {{"input", "field", "add", "--kind", "password", "--label", "PIN", "--secret"},
       WaitingOrvanta::Input::terminal, "(not shown)", SIGINT},
  };
  ASSERT_EQ(orvanta({"input", "profile", "add", "Tester"}).status, 0);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.arguments.front() + " " + row.arguments[1]);
    WaitingOrvanta program(row.arguments, environmentForTest(), row.input);
    if (row.cue.empty()) {
      ASSERT_TRUE(program.waitUntilCatching(row.signal)) << program.screen();
      std::this_thread::sleep_for(std::chrono::milliseconds(200));  // on its way to the read
    } else {
      ASSERT_TRUE(program.waitFor(row.cue)) << program.screen();
    }
    const auto [status, seconds] = program.interrupt(row.signal);
    EXPECT_EQ(status, 130) << program.screen();
    EXPECT_LT(seconds, 3.0);
  }
  // The uninstall was not done.
  EXPECT_TRUE(testing::contains(orvanta({"apps"}).out, "com.example.cafe"));

  // Started under nohup, a hang-up is not a request to stop; Ctrl-C still is.
  WaitingOrvanta detached({"push", "validate", "-"}, environmentForTest(), WaitingOrvanta::Input::silentPipe, SIGHUP);
  ASSERT_TRUE(detached.waitUntilCatching(SIGINT));
  ::kill(detached.pid(), SIGHUP);
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_EQ(::waitpid(detached.pid(), nullptr, WNOHANG), 0);
  EXPECT_EQ(detached.interrupt(SIGINT).first, 130) << detached.screen();
}

TEST_F(HardeningCliTest, TheGateRefusesWhenItsFolderIsNotPrivateAndRepairsItsOwn) {
  // A symbolic link where the lock folder should be: changes are refused, and nothing is followed.
  fs::create_directories(runtime().parent_path());
  fs::create_directories(root() / "elsewhere");
  fs::create_symlink(root() / "elsewhere", runtime());
  auto refused = orvanta({"--json", "privacy", "grant", "photos", "com.example.cafe"});
  expectFailure(refused, "gateUnavailable", "Refusing to use the folder " + runtime().string() + ": it is a symbolic link");
  EXPECT_TRUE(fs::is_empty(root() / "elsewhere"));

  // Our own folder left open to everyone is closed again, and used.
  fs::remove(runtime());
  fs::create_directories(runtime());
  ::chmod(runtime().c_str(), 0777);
  auto granted = orvanta({"privacy", "grant", "photos", "com.example.cafe"});
  EXPECT_EQ(granted.status, 0) << granted.err;
  EXPECT_EQ(fs::status(runtime()).permissions() & fs::perms::all, fs::perms::owner_all);

  // Booting and shutting down hold the simulator like every other change.
  auto held = FileLock::acquire(runtime() / (std::string("gate-") + kIPhone16 + ".lock"), FileLock::Wait::nonBlocking);
  ASSERT_TRUE(held && *held);
  auto shutdown = orvanta({"device", "shutdown", kIPhone16});
  EXPECT_EQ(shutdown.status, 1);
  EXPECT_TRUE(testing::contains(shutdown.err, "Another change to this simulator is in progress.")) << shutdown.err;
  EXPECT_TRUE(testing::contains(orvanta({"devices"}).out, "Booted"));
}

TEST_F(HardeningCliTest, AHungSimctlTimesOut) {
  setEnvironment("ORVANTA_EMULATOR_FAULTS", R"({"list": {"delaySeconds": 30}})");
  setEnvironment("ORVANTA_TIMEOUT_SCALE", "0.02");  // 60 s for a listing becomes 1.2 s
  const auto began = Clock::now();
  auto result = orvanta({"--json", "devices"});
  EXPECT_LT(std::chrono::duration<double>(Clock::now() - began).count(), 10.0);
  expectFailure(result, "timedOut", "The command timed out after 1.2 s.");
  EXPECT_EQ(emulatorProcessesAlive(), 0);
}

TEST_F(HardeningCliTest, ScratchFoldersArePerUserCheckedAndCleanedAfterACrash) {
  // Someone else's link in place of our scratch folder: refused, never followed.
  fs::create_directories(root() / "planted");
  fs::create_symlink(root() / "planted", scratch());
  auto refused = orvanta({"screenshot", "--out", (root() / "shots").string()});
  EXPECT_EQ(refused.status, 1);
  EXPECT_TRUE(fs::is_empty(root() / "planted"));
  fs::remove(scratch());

  // What a killed push left behind (its process is gone) is removed by the next push; a live process's
  // folder stays.
  fs::create_directories(scratch());
  ::chmod(scratch().c_str(), 0700);
  pid_t dead = ::fork();
  if (dead == 0) ::_exit(0);
  ::waitpid(dead, nullptr, 0);
  const auto abandoned = scratch() / ("Orvanta-Push-" + std::to_string(dead) + "-A");
  const auto live = scratch() / ("Orvanta-Push-" + std::to_string(::getpid()) + "-B");
  fs::create_directories(abandoned);
  fs::create_directories(live);
  ASSERT_EQ(orvanta({"push", "send", "com.example.cafe", "--preset", "badge"}).status, 0);
  EXPECT_FALSE(fs::exists(abandoned));
  EXPECT_TRUE(fs::exists(live));
}

TEST_F(HardeningCliTest, AFailureAfterCtrlCIsReportedAsItIs) {
  setEnvironment("ORVANTA_EMULATOR_FAULTS", R"({"recordVideo": {"behaviour": "noFile"}})");
  auto result = orvantaInterrupted({"record"}, "Press Ctrl-C", SIGINT);
  EXPECT_EQ(result.status, 1) << result.err;
  EXPECT_TRUE(testing::contains(result.err, "orvanta: The recording wasn't created.\n")) << result.err;
}

TEST_F(HardeningCliTest, TextFromOutsideIsEscapedOnATerminalOnly) {
  const std::string scenario =
      R"({"name": "\u001b[1mBold\u001b]0;title\u0007", "steps": [{"kind": {"setAppearance": {"_0": "dark"}}}]})";
  ASSERT_EQ(orvanta({"scenario", "import", "-"}, scenario).status, 0);
  WaitingOrvanta onTerminal({"scenario", "list"}, environmentForTest(), WaitingOrvanta::Input::terminal);
  ASSERT_TRUE(onTerminal.waitFor("Bold"));
  (void)onTerminal.interrupt(0);
  EXPECT_TRUE(testing::contains(onTerminal.screen(), "\\x1B[1mBold\\x1B]0;title\\x07")) << onTerminal.screen();
  // A pipe gets the text as it is.
  EXPECT_TRUE(testing::contains(orvanta({"scenario", "list"}).out, "\x1b[1mBold"));
}

TEST_F(HardeningCliTest, AnArgumentAfterDoubleDashIsNeverAnOption) {
  auto result = orvanta({"open", "--", "-h"});
  EXPECT_EQ(result.status, 1) << result.err;
  EXPECT_FALSE(testing::contains(result.out, "Usage")) << result.out;
}

}  // namespace
}  // namespace orvanta
