// Stand-in for `xcrun` on machines without Xcode: `orvanta-simctl-emulator simctl SUBCOMMAND ...`.
#include <cstdio>

int main(int argc, char** argv) {
  (void)argv;
  if (argc < 2) {
    std::fputs("usage: orvanta-simctl-emulator simctl <subcommand> ...\n", stderr);
    return 64;
  }
  return 0;
}
