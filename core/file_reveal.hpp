// Showing a saved file in the host's file browser: `open -R <file>` on macOS (the file selected in
// Finder), `xdg-open <folder>` elsewhere (the containing folder, which is as close as freedesktop gets).
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "core/process_runner.hpp"
#include "support/expected.hpp"

namespace orvanta {

struct RevealCommand {
  std::filesystem::path executable;
  std::vector<std::string> arguments;
  bool operator==(const RevealCommand&) const = default;
};

// The platform's command for revealing `file`; fails with a sentence when the platform's opener is not
// installed. Reads $PATH; any thread.
[[nodiscard]] expected<RevealCommand, std::string> revealCommandFor(const std::filesystem::path& file);

// Runs revealCommandFor(file) through `run` (at most 15 s; a file browser the opener starts may keep
// running). Fails with a sentence. Blocks; any thread.
[[nodiscard]] expected<void, std::string> revealInFileBrowser(const RunWithOptionsFunction& run,
                                                              const std::filesystem::path& file);

}  // namespace orvanta
