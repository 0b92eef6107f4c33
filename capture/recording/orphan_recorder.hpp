// Recorders left running by an orvanta process that was killed (SIGKILL leaves no chance to stop them).
#pragma once

#include <filesystem>

namespace orvanta {

// Ends the recorders of this user whose arguments name a file inside `folder` (the abandoned scratch
// folder of a killed recording): SIGINT first, so that the recorder closes its movie, SIGKILL to what is
// still there 2 s later. Only processes that name our folder are touched. Linux reads /proc; on macOS,
// where no such listing is cheap, it does nothing and a killed recording's recorder runs until simctl
// itself ends it. Blocks up to 2 s; any thread.
void endOrphanRecorders(const std::filesystem::path& folder);

}  // namespace orvanta
