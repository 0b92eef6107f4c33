// The file operations the app data tools perform on a container's folders: listing, copying a tree in or
// out, and the checksums of every file in a tree. They never follow a symbolic link and never open
// anything but regular files and folders: links and special files (FIFOs, sockets, devices) met inside a
// tree are left out of copies and checksums and counted as skipped. Every walk is bounded in depth,
// entries and bytes.
//
// All functions block on the file system; any thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "support/expected.hpp"

namespace orvanta {

struct ContainerEntry {
  enum class Kind { file, folder, link };
  std::string path;  // relative to the container, '/' between components
  Kind kind = Kind::file;
  std::uintmax_t size = 0;  // bytes of a file; 0 for folders and links
  std::chrono::system_clock::time_point modified;
  bool operator==(const ContainerEntry&) const = default;
};

// "file", "folder", "link".
[[nodiscard]] std::string_view rawValue(ContainerEntry::Kind kind);

struct TreeLimits {
  std::size_t maximumDepth = 64;           // folders below the top
  std::size_t maximumEntries = 200000;     // files, folders and links together
  std::uintmax_t maximumBytes = 16ull << 30;  // bytes of all files together
};

// The entries of the folder `folder` (`shownAs` is its path relative to the container, "" for the
// container itself), sorted by path; with `recursive`, everything below it. Special files are left out.
// Fails with the reason when the folder cannot be read or the limits are passed.
[[nodiscard]] expected<std::vector<ContainerEntry>, std::string> listFolder(const std::filesystem::path& folder,
                                                                          const std::string& shownAs, bool recursive,
                                                                          const TreeLimits& limits = {});

// The entry for the one item at `path` (not following a link); fails with the reason.
[[nodiscard]] expected<ContainerEntry, std::string> entryAt(const std::filesystem::path& path, std::string shownAs);

struct TreeCopyCount {
  std::size_t files = 0;
  std::size_t folders = 0;
  std::size_t skipped = 0;  // links and special files left out
  std::uintmax_t bytes = 0;
};

// Copies the regular file or folder `source` to `target`, which must not exist. Files keep their
// permission bits (less the umask); folders are created 0755 less the umask. Fails with the reason;
// what was copied so far is then left for the caller to remove (callers copy into a staging name).
[[nodiscard]] expected<TreeCopyCount, std::string> copyTree(const std::filesystem::path& source,
                                                            const std::filesystem::path& target,
                                                            const TreeLimits& limits = {});

// The SHA-256 of every regular file below `folder`, as lower-case hex, by relative path ('/' between
// components). Links and special files are left out. Fails with the reason.
[[nodiscard]] expected<std::map<std::string, std::string>, std::string> treeChecksums(
    const std::filesystem::path& folder, const TreeLimits& limits = {});

// The SHA-256 of one regular file (not following a link), as lower-case hex. Fails with the reason.
[[nodiscard]] expected<std::string, std::string> fileChecksum(const std::filesystem::path& file);

}  // namespace orvanta
