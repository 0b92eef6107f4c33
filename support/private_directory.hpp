// A private temporary folder that one operation owns: created fresh with mode 0700 under a parent
// folder, and removed with everything in it when the owner is done, on every path out of the operation.
// Push payloads, screenshot and recording scratch files, and reinstall copies live in one of these, so
// that nothing a command wrote to the temporary folder outlives it.
#pragma once

#include <filesystem>
#include <functional>
#include <string_view>

#include "support/expected.hpp"
#include "support/file_error.hpp"

namespace orvanta {

// Move-only owner of one folder. Not thread-safe: one owner uses it.
class PrivateDirectory {
 public:
  // Creates the parent's parent when missing (mkdir -p, 0700), makes sure `parent` is a folder of ours
  // that nobody else can open (ensureOwnPrivateFolder: created 0700, repaired when ours, refused with
  // notPrivate when it is a link or another user's), then a new folder `parent`/`name` with mode 0700. The
  // new folder must not exist yet: an existing one (another process's, or a planted link) is refused with
  // createFolderFailed (EEXIST) rather than reused. Blocks on the file system; any thread.
  [[nodiscard]] static expected<PrivateDirectory, FileError> create(const std::filesystem::path& parent,
                                                                    std::string_view name);
  // create(parent, prefix + our pid + "-" + a new upper-case UUID), e.g. "Orvanta-Push-4242-E621E1F8-...".
  // First removes the folders of `prefix` in `parent` that were left by processes that no longer run (a
  // command killed before it could clean up); a live process's folder is never touched.
  [[nodiscard]] static expected<PrivateDirectory, FileError> createUnique(const std::filesystem::path& parent,
                                                                          std::string_view prefix);

  PrivateDirectory(PrivateDirectory&& other) noexcept;
  PrivateDirectory& operator=(PrivateDirectory&& other) noexcept;
  PrivateDirectory(const PrivateDirectory&) = delete;
  PrivateDirectory& operator=(const PrivateDirectory&) = delete;
  // Removes the folder and its contents; errors are ignored (there is nobody left to tell).
  ~PrivateDirectory();

  [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }

  // Writes `bytes` to `path()/name` as a new file of mode 0600 (refusing an existing one). Fails with
  // writeFailed carrying the system's message.
  [[nodiscard]] expected<std::filesystem::path, FileError> writeFile(std::string_view name,
                                                                     std::string_view bytes) const;

  // Removes the folders of createUnique(parent, prefix) whose process no longer runs, after calling
  // `beforeRemoving` (when given) with each. Best effort.
  static void removeAbandoned(const std::filesystem::path& parent, std::string_view prefix,
                              const std::function<void(const std::filesystem::path&)>& beforeRemoving = {});

  // Removes the folder now; the destructor then does nothing.
  void remove() noexcept;
  // Keeps the folder: the destructor leaves it in place and the caller takes it over.
  std::filesystem::path release() noexcept;

 private:
  explicit PrivateDirectory(std::filesystem::path path) : path_(std::move(path)) {}
  std::filesystem::path path_;
};

}  // namespace orvanta
