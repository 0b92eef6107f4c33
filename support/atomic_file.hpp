// Whole-file reads and writes for documents: a reader sees either the old or the new content, never a
// mix, and an unreadable document is moved out of the way instead of being deleted.
//
// All functions block on the file system and may be called from any thread; two writers of the same
// file in parallel each leave a complete file (the last rename wins) — serialise them with a FileLock
// when neither may lose its change.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "support/expected.hpp"
#include "support/file_error.hpp"

namespace orvanta {

// Replaces the content of `path` with `bytes`: writes a new file beside it (created exclusively with a
// unique hidden name, mode `mode` less the umask, close-on-exec), flushes it with fsync, renames it over
// `path`, then syncs the folder. The folder must exist. A symbolic link at `path` is replaced by the file,
// and the old file's mode is not kept.
// On failure (writeFailed, naming `path`) the temporary file is removed and the old file is untouched.
// Once the rename has succeeded the call succeeds: the folder sync is best effort, as some file systems
// refuse it.
[[nodiscard]] expected<void, FileError> writeFileAtomically(const std::filesystem::path& path, std::string_view bytes,
                                                            mode_t mode = 0600);

// Byte budgets of the documents we read, by purpose. A read never takes more than its budget.
namespace read_budget {
inline constexpr std::size_t payload = 64 * 1024;                // a push payload, a pasted text
inline constexpr std::size_t settings = 16 * 1024 * 1024;        // settings.json, route files
inline constexpr std::size_t library = 64 * 1024 * 1024;         // the scenario library, an import
inline constexpr std::size_t propertyList = 8 * 1024 * 1024;     // an app's Info.plist
inline constexpr std::size_t image = 256 * 1024 * 1024;          // a screenshot, an icon
}  // namespace read_budget

// The whole content of `path`, at most `maxBytes` of it; nullopt when no file exists there. Only regular
// files are read: a FIFO, a device or a folder is refused without waiting on it (opened non-blocking,
// then checked). Fails with readFailed for everything else (permission, I/O errors), and with readRefused's
// sentences for a file that is not regular or holds more than `maxBytes`.
[[nodiscard]] expected<std::optional<std::string>, FileError> readFile(const std::filesystem::path& path,
                                                                       std::size_t maxBytes);

// "8 MiB", "64 kB", "4096 bytes": a budget in words.
[[nodiscard]] std::string budgetText(std::size_t bytes);

// Whether writeFileAtomically() could put a file at `path` now, checked before a long task that ends by
// writing it: `path` is not a folder, and its folder exists and takes a new file (created with a hidden
// unique name and removed at once). Fails with writeFailed, naming `path`.
[[nodiscard]] expected<void, FileError> checkFileWritable(const std::filesystem::path& path);

// Moves an unreadable document `<dir>/<base><ext>` aside to `<dir>/<base>.unreadable-<yyyyMMdd-HHmmss><ext>`
// with `now` in UTC (settings.json -> settings.unreadable-20261121-054600.json). When that name is taken,
// "-2", "-3", ... go before the extension; an existing file is never replaced and nothing is ever
// deleted. Returns the new path. Fails with moveAsideFailed (naming `path`).
[[nodiscard]] expected<std::filesystem::path, FileError> moveAsideUnreadable(const std::filesystem::path& path,
                                                                             std::chrono::system_clock::time_point now);

namespace detail {
// Reads `fd` to its end. Fails with readFailed: the system's message, or "larger than N bytes" (EFBIG) once
// more than `maximumBytes` arrive. `sizeHint` (0: none) reserves room up front.
[[nodiscard]] expected<std::string, FileError> readToEnd(int fd, const std::filesystem::path& path,
                                                         std::uintmax_t maximumBytes, std::size_t sizeHint);
// rename(2) that fails with EEXIST instead of replacing `to`. Returns 0 or the errno value.
// Platform files implement it with the kernel's no-replace rename and fall back to renameNoReplaceFallback.
int renameNoReplace(const std::filesystem::path& from, const std::filesystem::path& to);
// link(2) then unlink(2), for file systems without a no-replace rename; last of all, a check then rename.
int renameNoReplaceFallback(const std::filesystem::path& from, const std::filesystem::path& to);
}  // namespace detail

}  // namespace orvanta
