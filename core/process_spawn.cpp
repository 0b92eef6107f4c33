#include "core/process_spawn.hpp"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "orvanta_config.hpp"

extern char** environ;

namespace orvanta::detail {
namespace {

// pipe2 where the system has it; elsewhere (macOS) pipe + fcntl. The window between the two calls is
// harmless there because every spawn uses POSIX_SPAWN_CLOEXEC_DEFAULT.
bool makePipe(UniqueFd& readEnd, UniqueFd& writeEnd) {
  int fds[2];
#if ORVANTA_HAVE_PIPE2
  if (::pipe2(fds, O_CLOEXEC) != 0) return false;
#else
  if (::pipe(fds) != 0) return false;
  ::fcntl(fds[0], F_SETFD, FD_CLOEXEC);
  ::fcntl(fds[1], F_SETFD, FD_CLOEXEC);
#endif
  readEnd.reset(fds[0]);
  writeEnd.reset(fds[1]);
#ifdef F_SETNOSIGPIPE
  ::fcntl(fds[1], F_SETNOSIGPIPE, 1);
#endif
  return true;
}

void setNonBlocking(int fd) {
  int flags = ::fcntl(fd, F_GETFL);
  if (flags >= 0) ::fcntl(fd, F_SETFL, flags | O_NONBLOCK);
}

void enlargePipe([[maybe_unused]] int fd) {
#if ORVANTA_HAVE_F_SETPIPE_SZ
  // A larger pipe means fewer wake-ups when a child prints a lot; failure only costs speed.
  ::fcntl(fd, F_SETPIPE_SZ, 1 << 20);
#endif
}

bool isExecutableFile(const std::string& path) {
  struct stat info;
  if (::stat(path.c_str(), &info) != 0) return false;
  if (!S_ISREG(info.st_mode)) return false;
  return ::access(path.c_str(), X_OK) == 0;
}

std::vector<std::string> mergedEnvironment(const std::map<std::string, std::string>& overrides) {
  std::vector<std::string> merged;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    std::string_view text(*entry);
    std::string_view key = text.substr(0, text.find('='));
    if (!overrides.contains(std::string(key))) merged.emplace_back(text);
  }
  for (const auto& [key, value] : overrides) merged.push_back(key + "=" + value);
  return merged;
}

// Owns the posix_spawn attribute objects for one launch.
class SpawnSetup {
 public:
  SpawnSetup() {
    attrOk_ = ::posix_spawnattr_init(&attr_) == 0;
    actionsOk_ = ::posix_spawn_file_actions_init(&actions_) == 0;
  }
  ~SpawnSetup() {
    if (attrOk_) ::posix_spawnattr_destroy(&attr_);
    if (actionsOk_) ::posix_spawn_file_actions_destroy(&actions_);
  }
  SpawnSetup(const SpawnSetup&) = delete;
  SpawnSetup& operator=(const SpawnSetup&) = delete;

  bool ok() const { return attrOk_ && actionsOk_; }
  posix_spawnattr_t attr_;
  posix_spawn_file_actions_t actions_;

 private:
  bool attrOk_ = false;
  bool actionsOk_ = false;
};

}  // namespace

expected<std::pair<UniqueFd, UniqueFd>, ProcessRunnerError> makeWakePipe() {
  UniqueFd readEnd, writeEnd;
  if (!makePipe(readEnd, writeEnd)) return unexpected(ProcessRunnerError::launchFailed(std::strerror(errno)));
  setNonBlocking(readEnd.get());
  setNonBlocking(writeEnd.get());
  return std::pair{std::move(readEnd), std::move(writeEnd)};
}

expected<SpawnedChild, ProcessRunnerError> spawnChild(const ProcessExecution& execution) {
  const std::string path = execution.executableURL.string();
  if (!isExecutableFile(path)) return unexpected(ProcessRunnerError::executableNotFound(path));
  if (execution.arguments.size() > ProcessRunner::maximumArgumentCount) {
    return unexpected(ProcessRunnerError::launchFailed(fmt::format(
        "too many arguments ({}); the limit is {}", execution.arguments.size(), ProcessRunner::maximumArgumentCount)));
  }

  auto failure = [](int error) { return unexpected(ProcessRunnerError::launchFailed(std::strerror(error))); };

  UniqueFd stdinRead, stdinWrite, stdoutRead, stdoutWrite, stderrRead, stderrWrite;
  if (!makePipe(stdoutRead, stdoutWrite) || !makePipe(stderrRead, stderrWrite)) return failure(errno);
  if (execution.standardInput && !makePipe(stdinRead, stdinWrite)) return failure(errno);
  enlargePipe(stdoutWrite.get());
  enlargePipe(stderrWrite.get());

  SpawnSetup setup;
  if (!setup.ok()) return failure(ENOMEM);
  posix_spawn_file_actions_t* actions = &setup.actions_;
  int rc = 0;
  if (stdinRead) {
    rc = ::posix_spawn_file_actions_adddup2(actions, stdinRead.get(), STDIN_FILENO);
  } else {
    rc = ::posix_spawn_file_actions_addopen(actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  }
  if (rc == 0) rc = ::posix_spawn_file_actions_adddup2(actions, stdoutWrite.get(), STDOUT_FILENO);
  if (rc == 0) rc = ::posix_spawn_file_actions_adddup2(actions, stderrWrite.get(), STDERR_FILENO);
#if defined(__GLIBC__) && (__GLIBC__ > 2 || (__GLIBC__ == 2 && __GLIBC_MINOR__ >= 34))
  // Descriptors opened elsewhere in the process without close-on-exec must not reach the child either.
  if (rc == 0) rc = ::posix_spawn_file_actions_addclosefrom_np(actions, 3);
#endif
  if (rc != 0) return failure(rc);

  // The child gets a process group of its own so that a forced kill reaches the programs it starts
  // (xcrun runs simctl) and so that a Ctrl-C in our terminal is ours to handle, not the child's.
  short flags = POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK;
#if ORVANTA_HAVE_POSIX_SPAWN_CLOEXEC_DEFAULT
  flags |= POSIX_SPAWN_CLOEXEC_DEFAULT;
#endif
  sigset_t all, none;
  sigfillset(&all);
  sigemptyset(&none);
  rc = ::posix_spawnattr_setflags(&setup.attr_, flags);
  if (rc == 0) rc = ::posix_spawnattr_setpgroup(&setup.attr_, 0);
  if (rc == 0) rc = ::posix_spawnattr_setsigdefault(&setup.attr_, &all);
  if (rc == 0) rc = ::posix_spawnattr_setsigmask(&setup.attr_, &none);
  if (rc != 0) return failure(rc);

  std::vector<char*> argv;
  argv.reserve(execution.arguments.size() + 2);
  argv.push_back(const_cast<char*>(path.c_str()));
  for (const auto& argument : execution.arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);

  std::vector<std::string> environmentStorage;
  std::vector<char*> envp;
  char** environment = environ;
  if (execution.environmentOverrides) {
    environmentStorage = mergedEnvironment(*execution.environmentOverrides);
    envp.reserve(environmentStorage.size() + 1);
    for (auto& entry : environmentStorage) envp.push_back(entry.data());
    envp.push_back(nullptr);
    environment = envp.data();
  }

  pid_t pid = 0;
  rc = ::posix_spawn(&pid, path.c_str(), actions, &setup.attr_, argv.data(), environment);
  if (rc != 0) return failure(rc);

  SpawnedChild child;
  child.pid = pid;
  child.stdoutRead = std::move(stdoutRead);
  child.stderrRead = std::move(stderrRead);
  child.stdinWrite = std::move(stdinWrite);
  setNonBlocking(child.stdoutRead.get());
  setNonBlocking(child.stderrRead.get());
  if (child.stdinWrite) setNonBlocking(child.stdinWrite.get());
  // The write ends left in the parent are closed here (by their owners going out of scope), so that end
  // of stream is seen once the child and its descendants are done with them.
  return child;
}

ssize_t writeWithoutSigpipe(int fd, const char* data, std::size_t size) {
#ifdef F_SETNOSIGPIPE
  return ::write(fd, data, size);
#else
  // Block SIGPIPE for this thread during the write, and swallow the one the write raised (unless one
  // was already pending for another reason).
  sigset_t pipeSet, previousMask, pending;
  sigemptyset(&pipeSet);
  sigaddset(&pipeSet, SIGPIPE);
  sigpending(&pending);
  const bool alreadyPending = sigismember(&pending, SIGPIPE) == 1;
  pthread_sigmask(SIG_BLOCK, &pipeSet, &previousMask);
  ssize_t written = ::write(fd, data, size);
  int savedErrno = errno;
  if (written < 0 && savedErrno == EPIPE && !alreadyPending) {
    struct timespec zero{};
    while (::sigtimedwait(&pipeSet, nullptr, &zero) < 0 && errno == EINTR) {
    }
  }
  pthread_sigmask(SIG_SETMASK, &previousMask, nullptr);
  errno = savedErrno;
  return written;
#endif
}

void signalProcessOrGroup(pid_t pid, int signal) {
  if (pid <= 0) return;
  pid_t group = ::getpgid(pid);
  if (group == pid && group != ::getpgrp()) {
    ::killpg(pid, signal);
  } else {
    ::kill(pid, signal);
  }
}

}  // namespace orvanta::detail
