#include "apps/simulator_app_icon_cache.hpp"

#include <algorithm>
#include <fstream>
#include <system_error>

#include "support/atomic_file.hpp"
#include "support/property_list.hpp"

namespace orvanta {
namespace {

void addNames(const PropertyListValue* list, std::vector<std::string>& names) {
  if (list == nullptr) return;
  auto add = [&](const std::string& name) {
    if (!name.empty() && std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
  };
  if (const std::string* single = list->asString()) {
    add(*single);
  } else if (const auto* array = list->asArray()) {
    for (const auto& item : *array) {
      if (const std::string* name = item.asString()) add(*name);
    }
  }
}

bool endsWithPng(std::string_view name) {
  if (name.size() < 4) return false;
  std::string tail(name.substr(name.size() - 4));
  std::transform(tail.begin(), tail.end(), tail.begin(),
                 [](unsigned char c) { return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c); });
  return tail == ".png";
}

// Whether `file` is `base`, optionally with "@<digits>x" and then "~<letters>", followed by ".png".
bool isIconFileFor(std::string_view file, std::string_view base) {
  if (!file.starts_with(base) || !endsWithPng(file)) return false;
  std::string_view rest = file.substr(base.size(), file.size() - base.size() - 4);
  if (rest.starts_with('@')) {
    std::size_t digits = 1;
    while (digits < rest.size() && rest[digits] >= '0' && rest[digits] <= '9') ++digits;
    if (digits == 1 || digits >= rest.size() || rest[digits] != 'x') return false;
    rest.remove_prefix(digits + 1);
  }
  if (rest.starts_with('~')) {
    std::size_t letters = 1;
    while (letters < rest.size() && ((rest[letters] >= 'a' && rest[letters] <= 'z') ||
                                     (rest[letters] >= 'A' && rest[letters] <= 'Z'))) {
      ++letters;
    }
    if (letters == 1) return false;
    rest.remove_prefix(letters);
  }
  return rest.empty();
}

std::optional<PngSize> readPngSize(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  std::string header(pngHeaderBytes, '\0');
  file.read(header.data(), static_cast<std::streamsize>(header.size()));
  header.resize(static_cast<std::size_t>(file.gcount()));
  return pngPixelSize(header);
}

std::uint64_t area(const PngSize& size) { return std::uint64_t{size.width} * size.height; }

}  // namespace

std::vector<std::string> iconFileNames(const PropertyListValue& info) {
  std::vector<std::string> names;
  for (const char* key : {"CFBundleIcons", "CFBundleIcons~ipad"}) {
    if (const PropertyListValue* icons = info.find(key)) {
      if (const PropertyListValue* primary = icons->find("CFBundlePrimaryIcon")) {
        addNames(primary->find("CFBundleIconFiles"), names);
      }
    }
  }
  addNames(info.find("CFBundleIconFiles"), names);
  addNames(info.find("CFBundleIconFile"), names);
  return names;
}

std::optional<AppIconFile> findAppIconFile(const std::filesystem::path& bundlePath) {
  if (bundlePath.empty()) return std::nullopt;
  auto text = readFile(bundlePath / "Info.plist", read_budget::propertyList);
  if (!text || !*text) return std::nullopt;
  auto info = parsePropertyList(**text);
  if (!info) return std::nullopt;

  std::vector<std::string> bases;
  for (const auto& name : iconFileNames(*info)) {
    if (name.find('/') != std::string::npos) continue;
    bases.push_back(endsWithPng(name) ? name.substr(0, name.size() - 4) : name);
  }
  if (bases.empty()) return std::nullopt;

  std::error_code error;
  std::vector<std::filesystem::path> candidates;
  for (std::filesystem::directory_iterator it(bundlePath, error), end; !error && it != end; it.increment(error)) {
    std::error_code statusError;
    if (!it->is_regular_file(statusError) || it->is_symlink(statusError)) continue;
    const std::string file = it->path().filename().string();
    if (std::any_of(bases.begin(), bases.end(), [&](const std::string& base) { return isIconFileFor(file, base); })) {
      candidates.push_back(it->path());
    }
  }
  // Byte order first, so that of two equally large files the same one wins on every file system.
  std::sort(candidates.begin(), candidates.end());
  std::optional<AppIconFile> largest;
  for (const auto& candidate : candidates) {
    auto size = readPngSize(candidate);
    if (size && (!largest || area(*size) > area(largest->size))) largest = AppIconFile{candidate, *size};
  }
  return largest;
}

std::optional<SimulatorAppIcon> SimulatorAppIconCache::icon(const std::filesystem::path& bundlePath) {
  const std::string key = bundlePath.string();
  std::lock_guard guard(lock_);
  if (auto found = entries_.find(key); found != entries_.end()) {
    order_.splice(order_.end(), order_, found->second.position);
    return found->second.icon;
  }

  auto file = findAppIconFile(bundlePath);
  if (!file) return std::nullopt;
  std::error_code error;
  const auto byteCount = std::filesystem::file_size(file->path, error);
  if (error || byteCount > maximumIconBytes) return std::nullopt;
  auto bytes = readFile(file->path, maximumIconBytes);
  if (!bytes || !*bytes) return std::nullopt;
  // The file may have changed since its header was read; the icon is what the bytes say.
  auto size = pngPixelSize(**bytes);
  if (!size) return std::nullopt;
  ++renderCount_;
  SimulatorAppIcon icon{file->path, *size, std::make_shared<const std::string>(std::move(**bytes))};

  if (capacity_ == 0) return icon;
  if (entries_.size() >= capacity_) {
    entries_.erase(order_.front());
    order_.pop_front();
  }
  order_.push_back(key);
  entries_.emplace(key, Entry{icon, std::prev(order_.end())});
  return icon;
}

std::size_t SimulatorAppIconCache::renderCount() const {
  std::lock_guard guard(lock_);
  return renderCount_;
}

std::vector<std::string> SimulatorAppIconCache::order() const {
  std::lock_guard guard(lock_);
  return {order_.begin(), order_.end()};
}

bool SimulatorAppIconCache::contains(const std::filesystem::path& bundlePath) const {
  std::lock_guard guard(lock_);
  return entries_.contains(bundlePath.string());
}

void SimulatorAppIconCache::removeAll() {
  std::lock_guard guard(lock_);
  entries_.clear();
  order_.clear();
}

}  // namespace orvanta
