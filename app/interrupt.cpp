#include "app/interrupt.hpp"

#include <fcntl.h>
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
  ::sigaction(SIGINT, &action, nullptr);
  ::sigaction(SIGTERM, &action, nullptr);
  ::sigaction(SIGHUP, &action, nullptr);
  watcher_ = orvanta::jthread([this, quitRead = std::move(quitRead_)] {
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
  struct sigaction action {};
  action.sa_handler = SIG_DFL;
  sigemptyset(&action.sa_mask);
  ::sigaction(SIGINT, &action, nullptr);
  ::sigaction(SIGTERM, &action, nullptr);
  ::sigaction(SIGHUP, &action, nullptr);
  if (quitWrite_) {
    char byte = 1;
    [[maybe_unused]] auto ignored = ::write(quitWrite_.get(), &byte, 1);
  }
  if (watcher_.joinable()) watcher_.join();
  const int fd = gSignalWriteFd;
  gSignalWriteFd = -1;
  if (fd >= 0) ::close(fd);
}

}  // namespace orvanta
