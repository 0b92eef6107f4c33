// Small file-system helpers for the support tests.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <set>
#include <sstream>
#include <string>

namespace orvanta::testing {

// A fresh folder under the system's temporary folder, removed with everything in it at the end.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "orvanta-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    path_ = pattern;
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(const std::filesystem::path& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

inline void writeBytes(const std::filesystem::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

inline std::optional<std::string> readBytes(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// A captured file under tests/fixtures, or "" when it is missing.
inline std::string readFixture(const std::string& relative) {
  return readBytes(std::filesystem::path(ORVANTA_FIXTURES) / relative).value_or("");
}

// The permission bits of `path` (without following a final symbolic link), or -1.
inline int permissions(const std::filesystem::path& path) {
  struct stat info {};
  if (::lstat(path.c_str(), &info) != 0) return -1;
  return static_cast<int>(info.st_mode & 07777);
}

// The names in `folder`, hidden ones included, sorted.
inline std::set<std::string> entries(const std::filesystem::path& folder) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) names.insert(entry.path().filename().string());
  return names;
}

// Sets (or with nullopt unsets) an environment variable for the lifetime of the object.
class ScopedEnvironment {
 public:
  ScopedEnvironment(const char* name, std::optional<std::string> value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    apply(value);
  }
  ~ScopedEnvironment() { apply(old_); }
  ScopedEnvironment(const ScopedEnvironment&) = delete;
  ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

 private:
  void apply(const std::optional<std::string>& value) {
    if (value) {
      ::setenv(name_.c_str(), value->c_str(), 1);
    } else {
      ::unsetenv(name_.c_str());
    }
  }
  std::string name_;
  std::optional<std::string> old_;
};

}  // namespace orvanta::testing
