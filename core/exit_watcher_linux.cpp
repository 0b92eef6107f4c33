#include <sys/syscall.h>
#include <unistd.h>

#include "core/process_spawn.hpp"
#include "orvanta_config.hpp"

namespace orvanta::detail {

UniqueFd openExitWatcher(pid_t pid) {
#if ORVANTA_HAVE_PIDFD_OPEN
  // A pidfd is close-on-exec from birth and polls readable when the process ends. Kernels before 5.3
  // answer ENOSYS, and the caller falls back to polling waitpid.
  long fd = ::syscall(SYS_pidfd_open, pid, 0);
  if (fd >= 0) return UniqueFd(static_cast<int>(fd));
#else
  (void)pid;
#endif
  return UniqueFd();
}

}  // namespace orvanta::detail
