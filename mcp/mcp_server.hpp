// The Model Context Protocol server behind `orvanta mcp`: newline-delimited JSON-RPC 2.0 on a pair of
// descriptors (standard input and output in the program), offering the tools of allTools().
//
// Only protocol messages are written to the output; diagnostics go to the diagnostics stream. Requests are
// read on the calling thread; each tools/call runs on a worker thread of its own with an Environment of its
// own (the services are single-threaded), so calls may overlap, and the mutation gate, which locks per
// simulator across processes, refuses a second change to one simulator whoever asks. The server returns
// when its input ends (after the calls in flight have answered) or when `stop` is requested (the calls in
// flight are cancelled); no worker outlives it.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "mcp/tool.hpp"
#include "support/stop_token.hpp"

namespace orvanta {

// The protocol revisions this server speaks, newest first. A client asking for another gets the newest.
[[nodiscard]] const std::vector<std::string>& supportedProtocolVersions();

struct McpServerOptions {
  int inputFd = 0;
  int outputFd = 1;
  std::ostream* diagnostics = nullptr;  // none: diagnostics are dropped
  std::optional<std::string> xcrun;     // --xcrun, for every call's environment
  // A message line longer than this is refused (parse error) and skipped to its end.
  std::size_t lineBudget = 16 * 1024 * 1024;
  // tools/list answers at most this many tools at a time, with a cursor for the rest.
  std::size_t toolsPageSize = 64;
  // The tools to offer; empty means allTools().
  std::vector<ToolDefinition> tools;
};

// Serves until the input ends or `stop` is requested. Returns 0, or 1 when the input or output failed.
// Blocks; call from one thread.
[[nodiscard]] int runMcpServer(McpServerOptions options, orvanta::stop_token stop);

}  // namespace orvanta
