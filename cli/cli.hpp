// The `orvanta` command line: parses the arguments, runs the chosen command, reports its outcome and
// returns the exit status.
#pragma once

#include <iosfwd>
#include "support/stop_token.hpp"

namespace orvanta {

struct CommandLineStreams {
  int inputFd;  // standard input's descriptor, read only for "-" arguments and prompts
  std::ostream& out;
  std::ostream& err;
  bool stdinIsTerminal = false;
  // On a terminal, text from outside is shown with its control characters escaped (never with --json on
  // stdout, whose text is kept as it is).
  bool stdoutIsTerminal = false;
  bool stderrIsTerminal = false;
  int outFd = -1;  // the descriptor behind `out`, if any
};

// Runs one invocation. `stop` is requested by Ctrl-C. Returns 0, 1, 2 or 130. Main thread.
int runCommandLine(int argc, const char* const* argv, CommandLineStreams streams, orvanta::stop_token stop);

}  // namespace orvanta
