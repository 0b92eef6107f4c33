// The `orvanta` command line: parses the arguments, runs the chosen command, reports its outcome and
// returns the exit status.
#pragma once

#include <iosfwd>
#include "support/stop_token.hpp"

namespace orvanta {

struct CommandLineStreams {
  std::istream& in;
  std::ostream& out;
  std::ostream& err;
  bool stdinIsTerminal = false;
  int outFd = -1;  // the descriptor behind `out`, if any
};

// Runs one invocation. `stop` is requested by Ctrl-C. Returns 0, 1, 2 or 130. Main thread.
int runCommandLine(int argc, const char* const* argv, CommandLineStreams streams, orvanta::stop_token stop);

}  // namespace orvanta
