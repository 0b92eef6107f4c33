#include <stdio.h>

#include <cerrno>

#include "support/atomic_file.hpp"

namespace orvanta::detail {

int renameNoReplace(const std::filesystem::path& from, const std::filesystem::path& to) {
  if (::renamex_np(from.c_str(), to.c_str(), RENAME_EXCL) == 0) return 0;
  // ENOTSUP: this volume's file system cannot rename exclusively.
  if (errno != ENOTSUP && errno != EINVAL) return errno;
  return renameNoReplaceFallback(from, to);
}

}  // namespace orvanta::detail
