#include <signal.h>
#include <unistd.h>

#include <iostream>

#include "app/cli.hpp"
#include "app/interrupt.hpp"

int main(int argc, char** argv) {
  // A closed pipe on our output (orvanta devices | head) is an error to report, not a reason to die.
  ::signal(SIGPIPE, SIG_IGN);
  orvanta::InterruptGuard interrupts;
  orvanta::CommandLineStreams streams{std::cin, std::cout, std::cerr, ::isatty(STDIN_FILENO) == 1};
  int status = orvanta::runCommandLine(argc, argv, streams, interrupts.token());
  if (interrupts.interrupted() && status != 0) status = 130;
  return status;
}
