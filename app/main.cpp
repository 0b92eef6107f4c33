#include <signal.h>
#include <unistd.h>

#include <iostream>

#include "cli/cli.hpp"
#include "app/interrupt.hpp"

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
  return orvanta::runCommandLine(argc, argv, streams, interrupts.token());
}
