// Log lines as `log stream --style ndjson` prints them (the log tool's 22 keys, about 850 bytes a line),
// for the benchmarks that feed the console.
#pragma once

#include <cstddef>
#include <string>

namespace orvanta::bench {

// `count` lines, each ending in a line feed, numbered from `first`; messages of varying length that need
// escapes, and every level in turn.
std::string generateLogLines(std::size_t count, std::size_t first = 0);

}  // namespace orvanta::bench
