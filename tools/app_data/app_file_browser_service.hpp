// The app's sandbox file browser: list, pull (copy out), push (copy in) and remove, on paths relative to
// the app's data container or to one of its group containers.
//
// Every path is resolved inside its container (see resolveInsideContainer): "..", absolute paths and
// symbolic links that lead outside are refused before anything is read or written. Pulls never replace a
// file on this computer (" 2", " 3" as for captures). Pushes and removals change the app's files, so
// they run only while holding the simulator's mutation gate under "app-data"; a held simulator is
// refused at once. Nothing is left half-written: copies go to a hidden staging name beside their
// destination and are renamed into place when complete.
//
// Main thread only (the gate belongs to it); blocks on the file system.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "core/simulator_mutation_gate.hpp"
#include "tools/app_data/app_data_error.hpp"
#include "tools/app_data/container_files.hpp"

namespace orvanta {

struct AppFileTransfer {
  std::filesystem::path path;  // pull: where it was written on this computer; push: the path in the container
  TreeCopyCount count;
};

class AppFileBrowserService {
 public:
  explicit AppFileBrowserService(SimulatorMutationGate& gate) : gate_(gate) {}

  // The entry at `path` when it is a file or link, else the folder's entries (everything below it with
  // `recursive`), sorted by path. Fails with pathOutsideContainer, pathNotFound, unsupportedFileType,
  // tooLarge (the walk's limits) or unreadableFile.
  [[nodiscard]] expected<std::vector<ContainerEntry>, AppDataError> list(const std::filesystem::path& container,
                                                                        std::string_view path, bool recursive) const;

  // Copies the file or folder at `path` into `destinationFolder` under its own name, or the first free
  // numbered variant. Links and special files inside a folder are skipped (counted). Fails with
  // pathOutsideContainer, pathNotFound, unsupportedFileType, or fileOperationFailed ("copy").
  [[nodiscard]] expected<AppFileTransfer, AppDataError> pull(const std::filesystem::path& container, std::string_view path,
                                                             const std::filesystem::path& destinationFolder) const;

  // Copies the host's file or folder `source` into the container: into the folder `path` names when one
  // exists there (empty: the container itself), else as `path`. An existing file of that name is
  // replaced whole (rename over it); an existing folder is refused with alreadyExists. Fails with
  // simulatorBusy, pathOutsideContainer, pathNotFound (no such source, or no folder to put it in),
  // unsupportedFileType, alreadyExists or fileOperationFailed ("copy").
  [[nodiscard]] expected<AppFileTransfer, AppDataError> push(const std::string& udid,
                                                             const std::filesystem::path& container,
                                                             const std::filesystem::path& source, std::string_view path);

  // Removes the file, link or folder (with its contents) at `path`; a link is removed, never what it
  // points to. The container itself cannot be removed (pathOutsideContainer). Fails with simulatorBusy,
  // pathOutsideContainer, pathNotFound or fileOperationFailed ("remove").
  [[nodiscard]] expected<void, AppDataError> remove(const std::string& udid, const std::filesystem::path& container,
                                                    std::string_view path);

 private:
  SimulatorMutationGate& gate_;
};

}  // namespace orvanta
