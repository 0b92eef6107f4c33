// Ctrl-C handling for the command-line program.
#pragma once

#include <signal.h>

#include <array>
#include <thread>

#include "support/stop_token.hpp"
#include "support/unique_fd.hpp"

namespace orvanta {

// While alive and watching, SIGINT (and SIGTERM, SIGHUP) request a stop of `token()` instead of killing the
// program, so that the running command can end its children and return. The handler only writes to a
// pipe; a watcher thread, the only one that does not block these signals, turns that into the stop request.
// Create once, on the main thread, and start watching before other threads are started so that they
// inherit the blocked signals. Destroying it joins the watcher, restores the dispositions it replaced and
// this thread's signal mask. A signal that was ignored when the program started (nohup) stays ignored.
class InterruptGuard {
 public:
  InterruptGuard();
  ~InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;

  [[nodiscard]] orvanta::stop_token token() const { return source_.get_token(); }
  // Installs the handlers and starts the watcher thread that turns a signal into the stop request; later
  // calls do nothing. Until then a signal has its default effect: a program that never gets as far as
  // running a command (help, a usage error) has nothing to end in order, and starts no thread.
  void watch();
  // Whether a signal arrived.
  [[nodiscard]] bool interrupted() const { return source_.stop_requested(); }

 private:
  orvanta::stop_source source_;
  UniqueFd signalRead_;
  UniqueFd quitRead_;
  UniqueFd quitWrite_;
  static constexpr std::array<int, 3> kStopSignals{SIGINT, SIGTERM, SIGHUP};
  std::array<struct sigaction, 3> previousActions_{};
  std::array<bool, 3> replaced_{};
  sigset_t previousMask_{};
  bool blockedHere_ = false;
  orvanta::jthread watcher_;
};

}  // namespace orvanta
