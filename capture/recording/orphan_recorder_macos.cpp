#include "capture/recording/orphan_recorder.hpp"

namespace orvanta {

void endOrphanRecorders(const std::filesystem::path&) {}

}  // namespace orvanta
