#include <signal.h>
#include <unistd.h>

#include <iostream>

#include "app/cli.hpp"
#include "app/interrupt.hpp"

int main(int argc, char** argv) {
  // A closed pipe on our output (orvanta devices | head) is an error to report, not a reason to die.
  ::signal(SIGPIPE, SIG_IGN);
  orvanta::InterruptGuard interrupts;
  orvanta::CommandLineStreams streams{std::cin, std::cout, std::cerr, ::isatty(STDIN_FILENO) == 1, STDOUT_FILENO};
  // runCommandLine maps an interrupted command to 130 itself; a failure that outlasts the stop keeps its 1.
  return orvanta::runCommandLine(argc, argv, streams, interrupts.token());
}
