#include "cli/capture_folder.hpp"

#include <nlohmann/json.hpp>
#include <ostream>

namespace orvanta {

CommandOutcome showOrSetCaptureFolder(CommandContext& context, CaptureDestinationStore& store, const std::string& path) {
  if (!path.empty()) {
    if (auto set = store.setFolder(path); !set) {
      return unexpected(CommandFailure::failure("writeFailed", set.error()));
    }
  }
  auto folder = store.currentFolder();
  if (!folder) return unexpected(CommandFailure::failure("homeNotFound", folder.error()));
  if (context.options.json) {
    context.emitJson(nlohmann::json{{"path", folder->string()}});
  } else {
    context.out << folder->string() << '\n';
  }
  return {};
}

}  // namespace orvanta
