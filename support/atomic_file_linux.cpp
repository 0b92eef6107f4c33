#include <fcntl.h>
#include <stdio.h>

#include <cerrno>

#include "support/atomic_file.hpp"

namespace orvanta::detail {

int renameNoReplace(const std::filesystem::path& from, const std::filesystem::path& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
  // EINVAL: this file system does not support RENAME_NOREPLACE; ENOSYS: the kernel predates it.
  if (errno != EINVAL && errno != ENOSYS) return errno;
  return renameNoReplaceFallback(from, to);
}

}  // namespace orvanta::detail
