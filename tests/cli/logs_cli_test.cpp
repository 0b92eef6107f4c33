#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "tests/cli/cli_harness.hpp"

namespace orvanta::testing {
namespace {

class LogsCliTest : public CliTest {};

TEST_F(LogsCliTest, StreamsFiltersAndExportsUntilTheDuration) {
  const auto file = root() / "console.txt";
  auto result = orvanta({"--device", kIPhone15Old, "--json", "logs", "--app", "com.orvanta.fieldnotes", "--level",
                         "debug,notice", "--duration", "1", "--export", file.string()});
  ASSERT_EQ(result.status, 0) << result.err;
  std::size_t count = 0;
  std::istringstream lines(result.out);
  for (std::string line; std::getline(lines, line); ++count) {
    const auto entry = nlohmann::json::parse(line);
    EXPECT_NE(entry["processImagePath"].get<std::string>().find("FieldNotes.app/FieldNotes"), std::string::npos);
    EXPECT_TRUE(entry["level"] == "debug" || entry["level"] == "notice") << line;
  }
  EXPECT_GT(count, 0u);
  std::ifstream exported(file);
  const std::string text((std::istreambuf_iterator<char>(exported)), {});
  EXPECT_NE(text.find(" DEBUG FieldNotes: tap \"Save\" \xC3\xA9"), std::string::npos) << text;
  EXPECT_EQ(emulatorProcessesAlive(), 0);
}

TEST_F(LogsCliTest, ReportsAnUnexpectedEndAfterPrintingWhatCame) {
  setEnvironment("ORVANTA_EMULATOR_LOG_FAIL_AFTER", "3");
  auto result = orvanta({"--device", kIPhone15Old, "logs"});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.out.find("--:--:--.--- - -: getpwuid_r did not find a match for uid 501"), std::string::npos);
  EXPECT_NE(result.out.find("#2"), std::string::npos);
  EXPECT_NE(result.err.find("The log stream stopped unexpectedly."), std::string::npos);
}

TEST_F(LogsCliTest, RefusesBadInputWithOneSentence) {
  EXPECT_EQ(orvanta({"--device", kIPhone15Old, "logs", "--level", "warning"}).status, 2);
  auto stale = orvanta({"--device", kIPhone15Old, "logs", "--app", "com.example.gone"});
  EXPECT_EQ(stale.status, 1);
  EXPECT_NE(stale.err.find("The selected app is no longer installed on this simulator."), std::string::npos);
  auto shutDown = orvanta({"--device", kIPadPro, "logs"});
  EXPECT_EQ(shutDown.status, 1);
  EXPECT_NE(shutDown.err.find("no longer booted"), std::string::npos);
}

TEST_F(LogsCliTest, CtrlCStopsCleanly) {
  auto result =
      orvantaInterrupted({"--device", kIPhone15Old, "logs"}, "FieldNotes", SIGINT, OutputStream::standardOutput);
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(emulatorProcessesAlive(), 0);
}

}  // namespace
}  // namespace orvanta::testing
