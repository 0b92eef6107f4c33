// App icons: finding an installed app's icon file in its bundle, and a small cache of loaded icons.
//
// An app names its icons in its Info.plist. Compiled bundles keep the files at the bundle's top level
// under those names with the scale and device added ("AppIcon60x60" -> "AppIcon60x60@3x.png",
// "Icon~ipad.png"). The icon is the largest of those files that really is a PNG (signature and IHDR
// checked), by pixel area.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "apps/simulator_app.hpp"
#include "support/png.hpp"
#include "support/property_list_value.hpp"

namespace orvanta {

// The icon names an Info.plist gives, in this order and without repeats: CFBundleIcons and
// CFBundleIcons~ipad (their primary icon's CFBundleIconFiles), then CFBundleIconFiles, then
// CFBundleIconFile. Names are kept as written (with or without ".png").
[[nodiscard]] std::vector<std::string> iconFileNames(const PropertyListValue& info);

struct AppIconFile {
  std::filesystem::path path;
  PngSize size;
  bool operator==(const AppIconFile&) const = default;
};

// The largest PNG at the top level of `bundlePath` whose name is one of the Info.plist's icon names, bare
// or followed by "@<n>x" and/or "~<device>" before ".png". Names with a path separator, symbolic links and
// files that are not PNGs are ignored; on equal areas the first name in byte order wins. Nullopt when the
// bundle has no readable Info.plist or no such file. Blocks on the file system; thread-safe.
[[nodiscard]] std::optional<AppIconFile> findAppIconFile(const std::filesystem::path& bundlePath);

// An icon as the cache hands it out: the file, its pixel size and its bytes (shared, never changed).
struct SimulatorAppIcon {
  std::filesystem::path path;
  PngSize size;
  std::shared_ptr<const std::string> bytes;
};

// Keeps the bytes of the most recently used icons, keyed by bundle path, up to `capacity`; adding one more
// evicts the least recently used. Only found icons are kept: an app without one is looked for again next
// time (it may be reinstalled with an icon). `renderCount` counts the icons loaded from disk.
//
// Thread-safe: one mutex guards all state, and a lookup that has to load an icon holds it while it reads,
// so icons are loaded one at a time and two views asking for the same app never load it twice.
class SimulatorAppIconCache {
 public:
  static constexpr std::size_t defaultCapacity = 64;
  // Icon files larger than this are not loaded.
  static constexpr std::uintmax_t maximumIconBytes = 8u * 1024u * 1024u;

  explicit SimulatorAppIconCache(std::size_t capacity = defaultCapacity) : capacity_(capacity) {}

  // The icon of the app whose bundle is at `bundlePath`, from the cache or else loaded (and then cached).
  // Nullopt when the bundle has no icon or it cannot be read. Blocks on the file system on a miss.
  [[nodiscard]] std::optional<SimulatorAppIcon> icon(const std::filesystem::path& bundlePath);
  [[nodiscard]] std::optional<SimulatorAppIcon> icon(const SimulatorApp& app) { return icon(app.bundlePath); }

  [[nodiscard]] std::size_t capacity() const { return capacity_; }
  [[nodiscard]] std::size_t renderCount() const;
  // The cached bundle paths, least recently used first.
  [[nodiscard]] std::vector<std::string> order() const;
  [[nodiscard]] bool contains(const std::filesystem::path& bundlePath) const;
  void removeAll();

 private:
  struct Entry {
    SimulatorAppIcon icon;
    std::list<std::string>::iterator position;
  };

  const std::size_t capacity_;
  mutable std::mutex lock_;
  std::unordered_map<std::string, Entry> entries_;  // guarded by lock_
  std::list<std::string> order_;                    // guarded by lock_; least recently used first
  std::size_t renderCount_ = 0;                     // guarded by lock_
};

}  // namespace orvanta
