// Where Orvanta keeps its files, per platform, and the creation of private folders.
//
//                         Linux                                    macOS
//   configDirectory()     $XDG_CONFIG_HOME/orvanta                 ~/Library/Application Support/Orvanta
//                         (default ~/.config/orvanta)
//   applicationSupport    $XDG_DATA_HOME/orvanta                   ~/Library/Application Support/Orvanta
//     Directory()         (default ~/.local/share/orvanta)
//   temporaryDirectory()  $TMPDIR, else /tmp                       (same)
//   runtimeDirectory()    $XDG_RUNTIME_DIR/orvanta, else <temporaryDirectory>/orvanta-<uid>   (same)
//
// Environment variables naming folders are honoured only when they hold an absolute path; anything else
// counts as unset. ~ is $HOME when that is absolute, else the user database's home folder.
//
// All functions read the environment (not safe against a concurrent setenv) and may block on the file
// system; otherwise any thread may call them.
#pragma once

#include <filesystem>
#include <optional>

#include "support/expected.hpp"
#include "support/file_error.hpp"

namespace orvanta {

// The user's home folder. Fails with homeNotFound. Does not touch the file system.
[[nodiscard]] expected<std::filesystem::path, FileError> homeDirectory();

// The folder of settings.json. Computed only: the folder is not created here. Fails with homeNotFound.
[[nodiscard]] expected<std::filesystem::path, FileError> configDirectory();

// The folder of the scenario library, route files and other documents. Computed only, not created.
// Fails with homeNotFound.
[[nodiscard]] expected<std::filesystem::path, FileError> applicationSupportDirectory();

// $TMPDIR when it is an absolute path, else /tmp. Never fails; not created.
[[nodiscard]] std::filesystem::path temporaryDirectory();

// The program file of this process (Linux: /proc/self/exe; macOS: the loader's path, resolved); none when
// the system does not say.
[[nodiscard]] std::optional<std::filesystem::path> runningExecutable();

// This user's own folder for scratch files, <temporaryDirectory>/orvanta-<uid>: computed only. Private
// folders of one command are made inside it (PrivateDirectory checks it with ensureOwnPrivateFolder).
[[nodiscard]] std::filesystem::path scratchDirectory();

// A folder for lock files that only this user can reach. Creates it (mode 0700) when missing, together
// with a missing $XDG_RUNTIME_DIR. See ensureOwnPrivateFolder for what is checked and repaired.
[[nodiscard]] expected<std::filesystem::path, FileError> runtimeDirectory();

// Makes `folder` (its parent must exist) a folder of ours that nobody else can open: creates it 0700 when
// missing; one of ours that is open to others is set back to 0700. Fails with notPrivate when it is a
// symbolic link or not a folder, or belongs to another user (someone else may have planted it: it is
// never used nor changed), and with createFolderFailed. Never follows a symbolic link.
[[nodiscard]] expected<void, FileError> ensureOwnPrivateFolder(const std::filesystem::path& folder);

// mkdir -p: creates `path` and its missing parents with mode 0700 (less the umask). Folders that already
// exist are left as they are. Fails with createFolderFailed naming the component that could not be
// created (errno ENOTDIR when something other than a folder is in the way).
[[nodiscard]] expected<void, FileError> ensurePrivateDirectory(const std::filesystem::path& path);

namespace detail {
// The value of environment variable `name` when it is an absolute path.
std::optional<std::filesystem::path> absolutePathFromEnvironment(const char* name);
}  // namespace detail

}  // namespace orvanta
