#include <signal.h>
#include <unistd.h>

#include <iostream>

#include "app/interrupt.hpp"
#include "cli/cli.hpp"
#include "mcp/mcp_server.hpp"

int main(int argc, char** argv) {
  // A closed pipe on our output (orvanta devices | head) is an error to report, not a reason to die.
  ::signal(SIGPIPE, SIG_IGN);
  orvanta::InterruptGuard interrupts;
  orvanta::CommandLineStreams streams{STDIN_FILENO,
                                     std::cout,
                                     std::cerr,
                                     ::isatty(STDIN_FILENO) == 1,
                                     ::isatty(STDOUT_FILENO) == 1,
                                     ::isatty(STDERR_FILENO) == 1,
                                     STDOUT_FILENO};
  orvanta::FrontEnds frontEnds;
  frontEnds.mcp = [](const std::optional<std::string>& xcrun, orvanta::stop_token stop) {
    orvanta::McpServerOptions options;
    options.inputFd = STDIN_FILENO;
    options.outputFd = STDOUT_FILENO;
    options.diagnostics = &std::cerr;
    options.xcrun = xcrun;
    return orvanta::runMcpServer(std::move(options), std::move(stop));
  };
  frontEnds.beforeRunning = [&interrupts] { interrupts.watch(); };
  return orvanta::runCommandLine(argc, argv, streams, interrupts.token(), frontEnds);
}
