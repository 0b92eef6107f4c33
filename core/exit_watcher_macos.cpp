#include <fcntl.h>
#include <sys/event.h>
#include <unistd.h>

#include "core/process_spawn.hpp"

namespace orvanta::detail {

UniqueFd openExitWatcher(pid_t pid) {
  // A kqueue watching the process for NOTE_EXIT is itself pollable. If the child has already gone
  // (ESRCH), an invalid watcher makes the caller check waitpid at once.
  UniqueFd queue(::kqueue());
  if (!queue) return UniqueFd();
  ::fcntl(queue.get(), F_SETFD, FD_CLOEXEC);
  struct kevent change;
  EV_SET(&change, static_cast<uintptr_t>(pid), EVFILT_PROC, EV_ADD | EV_ONESHOT, NOTE_EXIT, 0, nullptr);
  if (::kevent(queue.get(), &change, 1, nullptr, 0, nullptr) != 0) return UniqueFd();
  return queue;
}

}  // namespace orvanta::detail
