#include "support/output_writer.hpp"

namespace orvanta::detail {

// The system has no way to open a pipe's second description from its descriptor: the writer polls first.
UniqueFd openNonBlockingTwin(int) { return {}; }

}  // namespace orvanta::detail
