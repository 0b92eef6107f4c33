#include "bench/log_lines/log_lines.hpp"

#include <cstdio>

namespace orvanta::bench {

// Lines of the log tool's full shape, with messages of varying length that need escapes.
std::string generateLogLines(std::size_t count, std::size_t first) {
  static const char* const messages[] = {
      R"(Sending launch request: <RBSLaunchRequest| osservice<com.apple.PosterBoard>; \"FBApplicationProcess\">)",
      R"(tap \"Save\" \u00e9 in \/Users\/dev\/Documents\/draft.txt\nsecond line)",
      R"(request finished \/api\/items?page=2 status=200 bytes=18342 duration=12.5ms \"ok\")",
      R"(connection invalidated \u001b[1m xpc error: Connection interrupted)",
      R"(Loading Preferences From User Session CFPrefsD)",
  };
  static const char* const types[] = {"Default", "Info", "Debug", "Error", "Fault"};
  std::string text;
  text.reserve(count * 900);
  char line[2048];
  for (std::size_t i = first; i < first + count; ++i) {
    const int written = std::snprintf(
        line, sizeof line,
        R"({"timezoneName":"","messageType":"%s","eventType":"logEvent","source":null,"formatString":"%%{public}@ #%%d","userID":501,"activityIdentifier":%zu,"subsystem":"com.example.myapp","category":"network","threadID":4531207,"senderImageUUID":"5C3F1A2B-3D4E-4F50-8162-7384A5B6C7D8","backtrace":{"frames":[{"imageOffset":52344,"imageUUID":"5C3F1A2B-3D4E-4F50-8162-7384A5B6C7D8"}]},"bootUUID":"","processImagePath":"\/Users\/dev\/Library\/Developer\/CoreSimulator\/Devices\/3BC9A608\/data\/Containers\/Bundle\/Application\/B11C7D65\/MyApp.app\/MyApp","senderImagePath":"\/usr\/lib\/libnetwork.dylib","timestamp":"2026-10-02 22:17:%02zu.%06zu+0930","machTimestamp":706567072091713,"eventMessage":"%s #%zu","processImageUUID":"5C3F1A2B-3D4E-4F50-8162-7384A5B6C7D8","traceID":258753568922927108,"processID":41234,"senderProgramCounter":52344,"parentActivityIdentifier":0})",
        types[i % 5], i, (i / 1000) % 60, i % 1000000, messages[i % 5], i);
    text.append(line, static_cast<std::size_t>(written));
    text.push_back('\n');
  }
  return text;
}

}  // namespace orvanta::bench
