// The `orvanta` command line: parses the arguments, runs the chosen command, reports its outcome and
// returns the exit status.
#pragma once

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
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

// The other front ends that the command line starts by name ("orvanta mcp"). The program's entry point
// hands them in, so that the command line does not depend on them; an empty one leaves its command out.
struct FrontEnds {
  // Serves the Model Context Protocol on standard input and output until input ends; returns the exit
  // status. Given the --xcrun option and the Ctrl-C stop.
  std::function<int(const std::optional<std::string>& xcrun, orvanta::stop_token stop)> mcp;
  // Called once the words are understood, just before a command or a front end runs: the program starts
  // its Ctrl-C watcher there, so that help, the version and a usage error start no thread.
  std::function<void()> beforeRunning;
};

// Runs one invocation. `stop` is requested by Ctrl-C. Returns 0, 1, 2 or 130. Main thread.
int runCommandLine(int argc, const char* const* argv, CommandLineStreams streams, orvanta::stop_token stop,
                   const FrontEnds& frontEnds = {});

}  // namespace orvanta
