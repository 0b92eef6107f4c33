#include <fcntl.h>
#include <sys/stat.h>

#include <string>

#include "support/output_writer.hpp"

namespace orvanta::detail {

UniqueFd openNonBlockingTwin(int fd) {
  struct stat original {};
  if (::fstat(fd, &original) != 0 || !(S_ISFIFO(original.st_mode) || S_ISCHR(original.st_mode))) return {};
  // Opening the descriptor's /proc entry opens the pipe or device anew: a description of our own.
  const std::string path = "/proc/self/fd/" + std::to_string(fd);
  UniqueFd twin(::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
  struct stat opened {};
  if (!twin || ::fstat(twin.get(), &opened) != 0 || opened.st_dev != original.st_dev ||
      opened.st_ino != original.st_ino) {
    return {};
  }
  return twin;
}

}  // namespace orvanta::detail
