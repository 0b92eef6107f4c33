#include "tools/app_data/container_files.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <functional>
#include <optional>
#include <system_error>

#include "support/file_copy.hpp"
#include "support/file_error.hpp"
#include "support/hmac_sha256.hpp"
#include "support/unique_fd.hpp"

namespace orvanta {
namespace {

namespace fs = std::filesystem;

std::string joined(const std::string& prefix, const std::string& name) {
  return prefix.empty() ? name : prefix + "/" + name;
}

std::chrono::system_clock::time_point modificationTime(const struct stat& info) {
#ifdef __APPLE__
  const auto& time = info.st_mtimespec;
#else
  const auto& time = info.st_mtim;
#endif
  return std::chrono::system_clock::time_point(std::chrono::duration_cast<std::chrono::system_clock::duration>(
      std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec)));
}

struct Walker {
  const TreeLimits& limits;
  std::size_t entries = 0;
  std::uintmax_t bytes = 0;

  // Calls `visit(path, relative, info)` for every entry below `folder`, folders before their contents,
  // in name order. `visit` returns false to skip a folder's contents.
  expected<void, std::string> walk(const fs::path& folder, const std::string& relative, std::size_t depth,
                                   const std::function<expected<bool, std::string>(const fs::path&, const std::string&,
                                                                                   const struct stat&)>& visit) {
    if (depth > limits.maximumDepth) {
      return unexpected("folders nest more than " + std::to_string(limits.maximumDepth) + " deep");
    }
    std::error_code error;
    std::vector<std::string> names;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
      if (++entries > limits.maximumEntries) {
        return unexpected("more than " + std::to_string(limits.maximumEntries) + " entries");
      }
      names.push_back(it->path().filename().string());
    }
    if (error) return unexpected(folder.string() + ": " + error.message());
    std::sort(names.begin(), names.end());
    for (const auto& name : names) {
      const fs::path path = folder / name;
      struct stat info {};
      if (::lstat(path.c_str(), &info) != 0) {
        if (errno == ENOENT) continue;  // gone while we looked
        return unexpected(path.string() + ": " + systemMessage(errno));
      }
      if (S_ISREG(info.st_mode)) {
        bytes += static_cast<std::uintmax_t>(info.st_size);
        if (bytes > limits.maximumBytes) {
          return unexpected("more than " + std::to_string(limits.maximumBytes) + " bytes of files");
        }
      }
      auto descend = visit(path, joined(relative, name), info);
      if (!descend) return unexpected(descend.error());
      if (*descend && S_ISDIR(info.st_mode)) {
        if (auto done = walk(path, joined(relative, name), depth + 1, visit); !done) return done;
      }
    }
    return {};
  }
};

std::optional<ContainerEntry::Kind> kindOf(const struct stat& info) {
  if (S_ISREG(info.st_mode)) return ContainerEntry::Kind::file;
  if (S_ISDIR(info.st_mode)) return ContainerEntry::Kind::folder;
  if (S_ISLNK(info.st_mode)) return ContainerEntry::Kind::link;
  return std::nullopt;
}

ContainerEntry entryFrom(std::string shownAs, ContainerEntry::Kind kind, const struct stat& info) {
  return {std::move(shownAs), kind, kind == ContainerEntry::Kind::file ? static_cast<std::uintmax_t>(info.st_size) : 0,
          modificationTime(info)};
}

}  // namespace

std::string_view rawValue(ContainerEntry::Kind kind) {
  switch (kind) {
    case ContainerEntry::Kind::file: return "file";
    case ContainerEntry::Kind::folder: return "folder";
    case ContainerEntry::Kind::link: return "link";
  }
  return {};
}

expected<ContainerEntry, std::string> entryAt(const fs::path& path, std::string shownAs) {
  struct stat info {};
  if (::lstat(path.c_str(), &info) != 0) return unexpected(systemMessage(errno));
  const auto kind = kindOf(info);
  if (!kind) return unexpected(std::string("not a regular file or folder"));
  return entryFrom(std::move(shownAs), *kind, info);
}

expected<std::vector<ContainerEntry>, std::string> listFolder(const fs::path& folder, const std::string& shownAs,
                                                             bool recursive, const TreeLimits& limits) {
  std::vector<ContainerEntry> entries;
  Walker walker{limits};
  auto done = walker.walk(folder, shownAs, 0,
                          [&](const fs::path&, const std::string& relative, const struct stat& info) -> expected<bool, std::string> {
                            const auto kind = kindOf(info);
                            if (kind) entries.push_back(entryFrom(relative, *kind, info));
                            return recursive;
                          });
  if (!done) return unexpected(done.error());
  std::sort(entries.begin(), entries.end(),
            [](const ContainerEntry& a, const ContainerEntry& b) { return a.path < b.path; });
  return entries;
}

expected<TreeCopyCount, std::string> copyTree(const fs::path& source, const fs::path& target,
                                              const TreeLimits& limits) {
  TreeCopyCount count;
  struct stat info {};
  if (::lstat(source.c_str(), &info) != 0) return unexpected(systemMessage(errno));
  if (S_ISREG(info.st_mode)) {
    if (static_cast<std::uintmax_t>(info.st_size) > limits.maximumBytes) {
      return unexpected("more than " + std::to_string(limits.maximumBytes) + " bytes");
    }
    if (auto copied = copyToNewFile(source, target, info.st_mode & 07777); !copied) {
      return unexpected(systemMessage(copied.error()));
    }
    count.files = 1;
    count.bytes = static_cast<std::uintmax_t>(info.st_size);
    return count;
  }
  if (!S_ISDIR(info.st_mode)) return unexpected(std::string("not a regular file or folder"));
  if (::mkdir(target.c_str(), 0755) != 0) return unexpected(systemMessage(errno));
  Walker walker{limits};
  auto done = walker.walk(source, "", 0,
                          [&](const fs::path& path, const std::string& relative, const struct stat& entry) -> expected<bool, std::string> {
                            const fs::path destination = target / relative;
                            if (S_ISDIR(entry.st_mode)) {
                              if (::mkdir(destination.c_str(), 0755) != 0) return unexpected(systemMessage(errno));
                              ++count.folders;
                              return true;
                            }
                            if (!S_ISREG(entry.st_mode)) {
                              ++count.skipped;
                              return false;
                            }
                            if (auto copied = copyToNewFile(path, destination, entry.st_mode & 07777); !copied) {
                              return unexpected(relative + ": " + systemMessage(copied.error()));
                            }
                            ++count.files;
                            count.bytes += static_cast<std::uintmax_t>(entry.st_size);
                            return false;
                          });
  if (!done) return unexpected(done.error());
  return count;
}

expected<std::string, std::string> fileChecksum(const fs::path& file) {
  UniqueFd fd;
  do {
    fd.reset(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  } while (!fd && errno == EINTR);
  if (!fd) return unexpected(systemMessage(errno));
  struct stat info {};
  if (::fstat(fd.get(), &info) != 0) return unexpected(systemMessage(errno));
  if (!S_ISREG(info.st_mode)) return unexpected(std::string("not a regular file"));
  Sha256 digest;
  std::array<char, 64 * 1024> buffer{};
  for (;;) {
    const ssize_t got = ::read(fd.get(), buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return unexpected(systemMessage(errno));
    if (got == 0) break;
    digest.update(std::string_view(buffer.data(), static_cast<std::size_t>(got)));
  }
  const auto bytes = digest.finish();
  return lowerHex(bytes);
}

expected<std::map<std::string, std::string>, std::string> treeChecksums(const fs::path& folder,
                                                                       const TreeLimits& limits) {
  std::map<std::string, std::string> sums;
  Walker walker{limits};
  auto done = walker.walk(folder, "", 0,
                          [&](const fs::path& path, const std::string& relative, const struct stat& info) -> expected<bool, std::string> {
                            if (S_ISDIR(info.st_mode)) return true;
                            if (!S_ISREG(info.st_mode)) return false;
                            auto sum = fileChecksum(path);
                            if (!sum) return unexpected(relative + ": " + sum.error());
                            sums.emplace(relative, std::move(*sum));
                            return false;
                          });
  if (!done) return unexpected(done.error());
  return sums;
}

}  // namespace orvanta
