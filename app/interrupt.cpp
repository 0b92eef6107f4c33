#include "app/interrupt.hpp"

#include <fcntl.h>
#include <pthread.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>

#include "core/process_spawn.hpp"

namespace orvanta {
namespace {

volatile sig_atomic_t gSignalWriteFd = -1;

extern "C" void onInterrupt(int) {
  const int savedErrno = errno;
  const int fd = gSignalWriteFd;
  if (fd >= 0) {
    char byte = 1;
    [[maybe_unused]] auto ignored = ::write(fd, &byte, 1);
  }
  errno = savedErrno;
}

}  // namespace

InterruptGuard::InterruptGuard() {
  auto signalPipe = detail::makeWakePipe();
  auto quitPipe = detail::makeWakePipe();
  if (!signalPipe || !quitPipe) return;
  signalRead_ = std::move(signalPipe->first);
  quitRead_ = std::move(quitPipe->first);
  quitWrite_ = std::move(quitPipe->second);
  gSignalWriteFd = signalPipe->second.release();
}

void InterruptGuard::watch() {
  if (watcher_.joinable() || !signalRead_ || !quitRead_) return;
  // Until now the signals keep their default effect; from here on they only request the stop (and
  // the handler shows in /proc/<pid>/status as caught only once that is true).
  struct sigaction action {};
  action.sa_handler = onInterrupt;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  for (std::size_t i = 0; i < kStopSignals.size(); ++i) {
    struct sigaction& before = previousActions_[i];
    if (::sigaction(kStopSignals[i], nullptr, &before) != 0) continue;
    // A signal ignored by whoever started us (nohup, a shell's background job) stays ignored.
    if (before.sa_handler == SIG_IGN) continue;
    if (::sigaction(kStopSignals[i], &action, nullptr) == 0) replaced_[i] = true;
  }
  // The signals go to the watcher alone: this thread, and every thread it starts from now on, blocks
  // them, so no other thread's system call is interrupted and the handler always runs where the watcher
  // waits for it. (A signal that comes between the two calls is caught here and waits in the pipe.)
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : kStopSignals) sigaddset(&signals, signal);
  blockedHere_ = ::pthread_sigmask(SIG_BLOCK, &signals, &previousMask_) == 0;
  watcher_ = orvanta::jthread([this, quitRead = std::move(quitRead_), signals] {
    ::pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    pollfd fds[2] = {{signalRead_.get(), POLLIN, 0}, {quitRead.get(), POLLIN, 0}};
    for (;;) {
      int ready = ::poll(fds, 2, -1);
      if (ready < 0 && errno == EINTR) continue;
      if (ready < 0 || fds[1].revents != 0) return;
      if (fds[0].revents != 0) {
        char sink[16];
        while (::read(signalRead_.get(), sink, sizeof sink) > 0) {
        }
        source_.request_stop();
      }
    }
  });
}

InterruptGuard::~InterruptGuard() {
  for (std::size_t i = 0; i < kStopSignals.size(); ++i) {
    if (replaced_[i]) ::sigaction(kStopSignals[i], &previousActions_[i], nullptr);
  }
  if (quitWrite_) {
    char byte = 1;
    [[maybe_unused]] auto ignored = ::write(quitWrite_.get(), &byte, 1);
  }
  if (watcher_.joinable()) watcher_.join();
  if (blockedHere_) ::pthread_sigmask(SIG_SETMASK, &previousMask_, nullptr);
  const int fd = gSignalWriteFd;
  gSignalWriteFd = -1;
  if (fd >= 0) ::close(fd);
}

}  // namespace orvanta
