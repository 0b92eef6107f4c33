// A private temporary folder that one operation owns: created fresh with mode 0700 under a parent
// folder, and removed with everything in it when the owner is done, on every path out of the operation.
// Push payloads, screenshot and recording scratch files, and reinstall copies live in one of these, so
// that nothing a command wrote to the temporary folder outlives it.
#pragma once

#include <filesystem>
#include <string_view>

#include "support/expected.hpp"
#include "support/file_error.hpp"

namespace orvanta {

// Move-only owner of one folder. Not thread-safe: one owner uses it.
class PrivateDirectory {
 public:
  // Creates `parent` (mkdir -p, 0700) when missing, then a new folder `parent`/`name` with mode 0700. The
  // new folder must not exist yet: an existing one (another process's, or a planted link) is refused with
  // createFolderFailed (EEXIST) rather than reused. Blocks on the file system; any thread.
  [[nodiscard]] static expected<PrivateDirectory, FileError> create(const std::filesystem::path& parent,
                                                                    std::string_view name);
  // create(parent, prefix + a new upper-case UUID), e.g. "Orvanta-Push-E621E1F8-C36C-...".
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

  // Removes the folder now; the destructor then does nothing.
  void remove() noexcept;
  // Keeps the folder: the destructor leaves it in place and the caller takes it over.
  std::filesystem::path release() noexcept;

 private:
  explicit PrivateDirectory(std::filesystem::path path) : path_(std::move(path)) {}
  std::filesystem::path path_;
};

}  // namespace orvanta
