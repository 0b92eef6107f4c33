// What `orvanta screenshot folder` and `orvanta record folder` share.
#pragma once

#include <string>

#include "cli/command.hpp"
#include "capture/screenshot/capture_export.hpp"

namespace orvanta {

// Sets the remembered folder when `path` is not empty, then prints the folder in use ({path} with --json).
[[nodiscard]] CommandOutcome showOrSetCaptureFolder(CommandContext& context, CaptureDestinationStore& store,
                                                    const std::string& path);

}  // namespace orvanta
