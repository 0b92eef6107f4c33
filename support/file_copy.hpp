// Copies that never replace what is already there, and bounded reads of regular files.
//
// Captures, pulled files and pulled folders share one naming rule: the wanted name, else the first of
// its numbered variants (" 2", " 3", ...) that is free. A name is either taken whole or not at all: the
// content is staged under a hidden name in the destination folder first and then put in place under a
// name that must not exist yet.
//
// All functions block on the file system and may be called from any thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "support/expected.hpp"
#include "support/file_error.hpp"

namespace orvanta {

// `fileName` with " <counter>" inserted before its extension ("A.png", 3 -> "A 3.png"; a name without an
// extension, or a folder name, gets it at the end).
[[nodiscard]] std::string numberedFileName(std::string_view fileName, int counter);

// Copies the regular file `source` into `folder` as `fileName`, or as the first of its numbered variants
// that does not exist. An existing file is never replaced, even by another process saving at the same
// moment. Returns the path written, or the reason as the system says it.
[[nodiscard]] expected<std::filesystem::path, std::string> copyWithoutReplacing(const std::filesystem::path& source,
                                                                                 const std::filesystem::path& folder,
                                                                                 std::string_view fileName);

// Renames `staged` (a file or folder inside `folder`) to `fileName` or its first free numbered variant,
// without ever replacing anything. Returns the new path, or the reason as the system says it.
[[nodiscard]] expected<std::filesystem::path, std::string> renameWithoutReplacing(const std::filesystem::path& staged,
                                                                                   const std::filesystem::path& folder,
                                                                                   std::string_view fileName);

// Copies the regular file `source` to `target`, which must not exist (created with `mode` less the umask,
// then flushed). A failed copy leaves nothing at `target`. Fails with the errno value.
[[nodiscard]] expected<void, int> copyToNewFile(const std::filesystem::path& source,
                                                const std::filesystem::path& target, unsigned mode = 0644);

// The whole content of the regular file at `path`, read through a descriptor that does not follow a
// symbolic link and does not wait on a FIFO (readFile's reader, for paths inside an app's container). Fails
// with readFailed: the system's message, "it is not a regular file" (EINVAL), or "it is larger than N
// bytes" (EFBIG) when the file holds more than `maximumBytes`.
[[nodiscard]] expected<std::string, FileError> readRegularFile(const std::filesystem::path& path,
                                                               std::uintmax_t maximumBytes);

}  // namespace orvanta
