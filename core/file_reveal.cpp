#include "core/file_reveal.hpp"

#include <fmt/format.h>

namespace orvanta {

expected<void, std::string> revealInFileBrowser(const RunWithOptionsFunction& run, const std::filesystem::path& file) {
  auto command = revealCommandFor(file);
  if (!command) return unexpected(command.error());
  ProcessRunner::Options options;
  options.timeout = 15;
  options.endAtExit = true;
  auto result = run(command->executable, command->arguments, options, {});
  if (!result) return unexpected("Couldn't open the file browser: " + result.error().description());
  if (result->terminationStatus != 0 || result->terminatedBySignal) {
    return unexpected(fmt::format("Couldn't open the file browser: {} {}.", command->executable.filename().string(),
                                  terminationText(result->terminationStatus, result->terminatedBySignal)));
  }
  return {};
}

}  // namespace orvanta
