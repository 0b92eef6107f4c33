#include "tools/app_data/app_data_snapshot_service.hpp"

#include <algorithm>
#include <map>
#include <system_error>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "apps/bundle_identifier.hpp"
#include "support/app_paths.hpp"
#include "support/atomic_file.hpp"
#include "support/file_copy.hpp"
#include "support/json_text.hpp"
#include "support/json_text.hpp"
#include "support/private_directory.hpp"
#include "support/reference_date.hpp"
#include "support/utf8.hpp"
#include "support/uuid.hpp"
#include "tools/app_data/container_files.hpp"
#include "tools/app_data/structured_document.hpp"

namespace orvanta {
namespace {

namespace fs = std::filesystem;
using Case = AppDataError::Case;
using Json = nlohmann::json;

constexpr std::size_t maximumManifestBytes = 64u << 20;
constexpr std::string_view manifestName = "manifest.json";

struct Manifest {
  AppDataSnapshot snapshot;
  std::map<std::string, std::string> files;
};

// A group identifier can name a folder: the same rule as a snapshot name.
bool isUsableFolderName(std::string_view name) { return isValidSnapshotName(name); }

expected<Manifest, std::string> readManifest(const fs::path& folder) {
  auto bytes = readRegularFile(folder / manifestName, maximumManifestBytes);
  if (!bytes) return unexpected(bytes.error().description());
  if (jsonNestingDepth(*bytes, 8) > 8) return unexpected(std::string("the manifest nests too deep"));
  auto document = parseJsonText<Json>(*bytes);
  if (!document) return unexpected(document.error());
  try {
    Manifest manifest;
    auto& snapshot = manifest.snapshot;
    snapshot.name = document->at("name").get<std::string>();
    snapshot.bundleIdentifier = document->at("bundleIdentifier").get<std::string>();
    auto created = fromReferenceSeconds(document->at("createdAt").get<double>());
    if (!created) return unexpected(std::string("the creation date is out of range"));
    snapshot.createdAt = *created;
    snapshot.groups = document->at("groups").get<std::vector<std::string>>();
    snapshot.byteCount = document->at("byteCount").get<std::uintmax_t>();
    manifest.files = document->at("files").get<std::map<std::string, std::string>>();
    snapshot.fileCount = manifest.files.size();
    snapshot.folder = folder;
    for (const auto& group : snapshot.groups) {
      if (!isUsableFolderName(group)) return unexpected("the group " + group + " cannot name a folder");
    }
    return manifest;
  } catch (const nlohmann::json::exception& error) {
    return unexpected(plainJsonMessage(error.what()));
  }
}

// The files of `manifest` below `prefix` ("data/", "groups/<id>/"), relative to it.
std::map<std::string, std::string> filesBelow(const Manifest& manifest, const std::string& prefix) {
  std::map<std::string, std::string> files;
  for (const auto& [path, sum] : manifest.files) {
    if (path.starts_with(prefix)) files.emplace(path.substr(prefix.size()), sum);
  }
  return files;
}

// The paths whose checksums differ between `want` and `have` (missing and extra ones included).
std::vector<std::string> differences(const std::map<std::string, std::string>& want,
                                     const std::map<std::string, std::string>& have) {
  std::vector<std::string> differ;
  for (const auto& [path, sum] : want) {
    auto found = have.find(path);
    if (found == have.end() || found->second != sum) differ.push_back(path);
  }
  for (const auto& [path, sum] : have) {
    if (!want.contains(path)) differ.push_back(path);
  }
  return differ;
}

std::string listed(const std::vector<std::string>& paths) {
  std::string text;
  for (std::size_t i = 0; i < paths.size() && i < 5; ++i) text += (i == 0 ? "" : ", ") + escapedForTerminal(paths[i]);
  if (paths.size() > 5) text += fmt::format(" and {} more", paths.size() - 5);
  return text;
}

// Replaces the contents of `container` with a copy of `source`'s. The copy is complete inside the
// container before anything old is removed, so a failed copy leaves the container as it was.
expected<void, std::string> replaceContents(const fs::path& container, const fs::path& source) {
  const fs::path stage = container / (".orvanta-restore-" + makeUUID());
  auto copied = copyTree(source, stage);
  if (!copied) {
    std::error_code ignored;
    fs::remove_all(stage, ignored);
    return unexpected(copied.error());
  }
  std::error_code error;
  std::vector<fs::path> old;
  for (fs::directory_iterator it(container, error), end; !error && it != end; it.increment(error)) {
    if (it->path() != stage) old.push_back(it->path());
  }
  for (const auto& path : old) {
    if (!error) fs::remove_all(path, error);
  }
  std::vector<fs::path> fresh;
  for (fs::directory_iterator it(stage, error), end; !error && it != end; it.increment(error)) fresh.push_back(it->path());
  for (const auto& path : fresh) {
    if (!error) fs::rename(path, container / path.filename(), error);
  }
  std::error_code ignored;
  fs::remove_all(stage, ignored);
  if (error) return unexpected(error.message());
  return {};
}

// The folder of an existing snapshot; snapshotNotFound for names that cannot be one.
expected<fs::path, AppDataError> existingSnapshot(const fs::path& root, const std::string& bundleIdentifier,
                                                  const std::string& name) {
  AppDataError notFound = AppDataError::named(Case::snapshotNotFound, name);
  notFound.bundle = bundleIdentifier;
  if (!isValidSnapshotName(name) || !isWellFormedBundleIdentifier(bundleIdentifier)) return unexpected(notFound);
  const fs::path folder = root / bundleIdentifier / name;
  std::error_code error;
  if (!fs::is_directory(fs::symlink_status(folder, error))) return unexpected(notFound);
  return folder;
}

}  // namespace

bool isValidSnapshotName(std::string_view name) {
  if (name.empty() || name.size() > 100 || name.front() == '.' || !isValidUtf8(name)) return false;
  return std::none_of(name.begin(), name.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return c == '/' || byte < 0x20 || byte == 0x7f;
  });
}

expected<AppDataSnapshot, AppDataError> AppDataSnapshotService::save(const std::string& udid,
                                                                     const std::string& bundleIdentifier,
                                                                     const std::string& name,
                                                                     orvanta::stop_token stop) {
  if (!isValidSnapshotName(name)) return unexpected(AppDataError::of(Case::invalidSnapshotName));
  if (!isWellFormedBundleIdentifier(bundleIdentifier)) {
    AppDataError error = AppDataError::of(Case::appNotInstalled);
    error.bundle = bundleIdentifier;
    return unexpected(std::move(error));
  }
  auto exists = [&] {
    AppDataError error = AppDataError::named(Case::snapshotExists, name);
    error.bundle = bundleIdentifier;
    return unexpected(std::move(error));
  };
  const fs::path parent = folder_ / bundleIdentifier;
  std::error_code error;
  if (fs::exists(fs::symlink_status(parent / name, error))) return exists();

  auto data = containers_.container(udid, bundleIdentifier, "data", stop);
  if (!data) return unexpected(data.error());
  auto groups = containers_.groupContainers(udid, bundleIdentifier, stop);
  if (!groups) return unexpected(groups.error());

  auto failed = [&](std::string reason) {
    return unexpected(AppDataError::fileOperationFailed("save", name, std::move(reason)));
  };
  if (auto made = ensurePrivateDirectory(parent); !made) return failed(made.error().description());
  auto staging = PrivateDirectory::createUnique(parent, ".saving-");
  if (!staging) return failed(staging.error().description());

  Manifest manifest;
  manifest.snapshot = {bundleIdentifier, name, std::chrono::system_clock::now(), {}, 0, 0, parent / name};
  if (auto copied = copyTree(*data, staging->path() / "data"); !copied) return failed(copied.error());
  if (!groups->empty()) fs::create_directory(staging->path() / "groups", error);
  for (const auto& group : *groups) {
    if (stop.stop_requested()) return unexpected(AppDataError::of(Case::cancelled));
    if (!isUsableFolderName(group.identifier)) return failed("the group " + group.identifier + " cannot name a folder");
    if (auto copied = copyTree(group.path, staging->path() / "groups" / group.identifier); !copied) {
      return failed(copied.error());
    }
    manifest.snapshot.groups.push_back(group.identifier);
  }
  auto sums = treeChecksums(staging->path());
  if (!sums) return failed(sums.error());
  manifest.files = std::move(*sums);
  for (const auto& entry : listFolder(staging->path(), "", true).value_or(std::vector<ContainerEntry>{})) {
    manifest.snapshot.byteCount += entry.size;
  }
  manifest.snapshot.fileCount = manifest.files.size();

  const Json document = {{"name", name},
                         {"bundleIdentifier", bundleIdentifier},
                         {"createdAt", toReferenceSeconds(manifest.snapshot.createdAt)},
                         {"groups", manifest.snapshot.groups},
                         {"byteCount", manifest.snapshot.byteCount},
                         {"files", manifest.files}};
  if (auto written = writeFileAtomically(staging->path() / manifestName, document.dump(2) + "\n"); !written) {
    return failed(written.error().description());
  }
  const int renamed = detail::renameNoReplace(staging->path(), parent / name);
  if (renamed == EEXIST || renamed == ENOTEMPTY) return exists();
  if (renamed != 0) return failed(systemMessage(renamed));
  (void)staging->release();
  return manifest.snapshot;
}

std::vector<AppDataSnapshot> AppDataSnapshotService::list(const std::optional<std::string>& bundleIdentifier) const {
  std::vector<AppDataSnapshot> snapshots;
  std::error_code error;
  for (fs::directory_iterator apps(folder_, error), end; !error && apps != end; apps.increment(error)) {
    const std::string app = apps->path().filename().string();
    if (bundleIdentifier && app != *bundleIdentifier) continue;
    if (!apps->is_directory(error) || apps->is_symlink(error)) continue;
    std::error_code inner;
    for (fs::directory_iterator it(apps->path(), inner); !inner && it != end; it.increment(inner)) {
      if (it->path().filename().string().starts_with(".") || it->is_symlink(inner)) continue;
      auto manifest = readManifest(it->path());
      if (manifest && manifest->snapshot.bundleIdentifier == app) snapshots.push_back(std::move(manifest->snapshot));
    }
  }
  std::sort(snapshots.begin(), snapshots.end(), [](const AppDataSnapshot& a, const AppDataSnapshot& b) {
    return std::tie(a.bundleIdentifier, a.name) < std::tie(b.bundleIdentifier, b.name);
  });
  return snapshots;
}

expected<void, AppDataError> AppDataSnapshotService::remove(const std::string& bundleIdentifier,
                                                            const std::string& name) {
  auto found = existingSnapshot(folder_, bundleIdentifier, name);
  if (!found) return unexpected(found.error());
  const fs::path& folder = *found;
  std::error_code error;
  // Out of sight first, so that no one lists a half-removed snapshot.
  const fs::path doomed = folder_ / bundleIdentifier / (".deleting-" + makeUUID());
  fs::rename(folder, doomed, error);
  if (error) return unexpected(AppDataError::fileOperationFailed("delete", name, error.message()));
  fs::remove_all(doomed, error);
  if (error) return unexpected(AppDataError::fileOperationFailed("delete", name, error.message()));
  return {};
}

expected<AppDataSnapshotRestore, AppDataError> AppDataSnapshotService::restore(const std::string& udid,
                                                                               const std::string& bundleIdentifier,
                                                                               const std::string& name,
                                                                               orvanta::stop_token stop) {
  auto found = existingSnapshot(folder_, bundleIdentifier, name);
  if (!found) return unexpected(found.error());
  const fs::path& folder = *found;
  auto damaged = [&](std::string reason) {
    return unexpected(AppDataError::named(Case::snapshotDamaged, name, std::move(reason)));
  };
  auto manifest = readManifest(folder);
  if (!manifest) return damaged(manifest.error());
  {
    auto sums = treeChecksums(folder);
    if (!sums) return damaged(sums.error());
    sums->erase(std::string(manifestName));
    if (auto differ = differences(manifest->files, *sums); !differ.empty()) {
      return damaged("these files differ from its manifest: " + listed(differ));
    }
  }

  auto hold = SimulatorGateHold::take(&gate_, udid, gate_labels::appData);
  if (!hold) return unexpected(AppDataError::of(Case::simulatorBusy));
  auto data = containers_.container(udid, bundleIdentifier, "data", stop);
  if (!data) return unexpected(data.error());
  auto groups = containers_.groupContainers(udid, bundleIdentifier, stop);
  if (!groups) return unexpected(groups.error());

  AppDataSnapshotRestore result;
  result.snapshot = manifest->snapshot;
  // Each container with the part of the snapshot that goes into it.
  std::vector<std::pair<fs::path, std::string>> targets = {{*data, "data/"}};
  for (const auto& group : manifest->snapshot.groups) {
    auto present = std::find_if(groups->begin(), groups->end(),
                                [&](const AppGroupContainer& candidate) { return candidate.identifier == group; });
    if (present == groups->end()) {
      result.missingGroups.push_back(group);
    } else {
      targets.emplace_back(present->path, "groups/" + group + "/");
    }
  }

  auto terminated = terminateAppIfRunning(containers_.client(), udid, bundleIdentifier, stop);
  if (!terminated) return unexpected(terminated.error());
  result.terminatedApp = *terminated;

  std::vector<std::string> differ;
  for (const auto& [container, prefix] : targets) {
    if (stop.stop_requested()) return unexpected(AppDataError::of(Case::cancelled));
    const fs::path source = folder / fs::path(prefix).parent_path();
    if (auto replaced = replaceContents(container, source); !replaced) {
      return unexpected(AppDataError::fileOperationFailed("restore", name, replaced.error()));
    }
    const auto want = filesBelow(*manifest, prefix);
    auto have = treeChecksums(container);
    if (!have) return unexpected(AppDataError::fileOperationFailed("restore", name, have.error()));
    for (auto& path : differences(want, *have)) differ.push_back(prefix + path);
    result.filesVerified += want.size();
  }
  if (!differ.empty()) {
    return unexpected(AppDataError::of(
        Case::changeNotConfirmed,
        fmt::format("Restored {}, but {} files of the app's containers differ from it: {}.", escapedForTerminal(name),
                    differ.size(), listed(differ))));
  }
  return result;
}

}  // namespace orvanta
