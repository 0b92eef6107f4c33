// Feeds arbitrary bytes to the readers of the data inspector and the container lookup: the typed trees
// of property lists and JSON (and their lines for people, and their JSON text), the kind of a file from
// its name and first bytes, the `get_app_container ... groups` lines, and, for inputs that begin with
// SQLite's header, the database reader's schema walk and a query on a copy of them.
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "tools/app_data/app_container_service.hpp"
#include "tools/app_data/data_file_service.hpp"
#include "tools/app_data/sqlite_reader.hpp"
#include "tools/app_data/structured_document.hpp"

namespace {

// Every tree a reader returns can be written as JSON and shown as lines.
void checkDocument(std::string_view bytes, bool asJson) {
  auto document = orvanta::readStructuredDocument(bytes, asJson);
  if (!document) return;
  (void)document->value.dump();
  (void)orvanta::describeTypedValue(document->value, "(root)");
}

// A folder of this run's own for the database inputs and their copies, removed when the run ends.
struct ScratchFolder {
  std::filesystem::path path;
  ScratchFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "orvanta-fuzz-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    path = pattern;
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
};

const std::filesystem::path& scratchFolder() {
  static const ScratchFolder folder;
  return folder.path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  checkDocument(bytes, false);
  checkDocument(bytes, true);
  (void)orvanta::classifyDataFile(bytes.substr(0, 64), bytes.substr(0, 16));
  if (auto groups = orvanta::parseGroupContainers(bytes)) {
    for (const auto& group : *groups) {
      if (!group.path.is_absolute()) __builtin_trap();
    }
  }
  if (orvanta::hasSqliteHeader(bytes)) {
    const auto file = scratchFolder() / "input.sqlite";
    std::ofstream(file, std::ios::binary | std::ios::trunc).write(bytes.data(), static_cast<std::streamsize>(size));
    if (auto reader = orvanta::SqliteReader::open(file, "input.sqlite", scratchFolder())) {
      (void)reader->tables();
      orvanta::SqliteQueryLimits limits;
      limits.maximumRows = 100;
      limits.timeLimit = std::chrono::milliseconds(200);
      (void)reader->query("SELECT * FROM sqlite_schema", limits);
    }
  }
  return 0;
}
