#include "tools/quickinput/simulator_pasteboard_service.hpp"

#include <gtest/gtest.h>

#include "support/text.hpp"
#include "tests/quickinput/fake_pasteboard_simctl.hpp"

namespace orvanta {
namespace {

using testing::FakePasteboardSimctl;
using Case = SimulatorPasteboardError::Case;
using Arguments = std::vector<std::vector<std::string>>;

constexpr const char* kUDID = "3BC9A608-0042-414F-B35C-7ADB869BC572";

class SimulatorPasteboardServiceTest : public ::testing::Test {
 protected:
  SimulatorPasteboardServiceTest() { simctl.host = &host; }
  SimulatorPasteboardService service() {
    return SimulatorPasteboardService({simctl.function(), "/usr/bin/xcrun", &host});
  }
  FakePasteboardSimctl simctl;
  InMemoryHostPasteboard host;
};

// UTF-8 and a final newline round-trip end to end (input_cli_test PasteboardRoundTripsUtf8AsIs).
TEST_F(SimulatorPasteboardServiceTest, WritesOnStandardInputAndReadsBack) {
  const std::string text = "p\xC3\xA4ss e\xCC\x81\n";
  auto written = service().writeText(text, kUDID);
  ASSERT_TRUE(written) << written.error().description();
  EXPECT_FALSE(written->viaHostPasteboard);
  EXPECT_EQ(simctl.argumentLists(), (Arguments{{"simctl", "pbcopy", kUDID}, {"simctl", "pbpaste", kUDID}}));
  EXPECT_EQ(simctl.calls[0].input, text);
  EXPECT_EQ(service().readText(kUDID).value_or("?"), text);
  for (const auto& call : simctl.calls) {
    EXPECT_EQ(call.environment, (std::map<std::string, std::string>{{"LANG", "en_US.UTF-8"}}));
    EXPECT_EQ(call.timeout, 15.0);
  }
}

TEST_F(SimulatorPasteboardServiceTest, RetriesThroughTheHostWhenPbcopyKeepsNothing) {
  simctl.pasteboards[kUDID] = "old";
  simctl.pbcopyStoresNothing = true;
  auto written = service().writeText("s3cret", kUDID);
  ASSERT_TRUE(written) << written.error().description();
  EXPECT_TRUE(written->viaHostPasteboard);
  EXPECT_EQ(simctl.argumentLists(), (Arguments{{"simctl", "pbcopy", kUDID},
                                               {"simctl", "pbpaste", kUDID},
                                               {"simctl", "pbsync", "host", kUDID},
                                               {"simctl", "pbpaste", kUDID}}));
  EXPECT_EQ(simctl.pasteboards[kUDID], "s3cret");
  EXPECT_EQ(host.contents(), std::nullopt) << "the value must not stay on the host's clipboard";
}

TEST_F(SimulatorPasteboardServiceTest, RetryLeavesWhatTheUserCopiedOnTheHostMeanwhile) {
  simctl.pbcopyStoresNothing = true;
  simctl.after["pbsync"] = [this] { (void)host.copyText("the user's own copy"); };
  ASSERT_TRUE(service().writeText("s3cret", kUDID));
  EXPECT_EQ(host.readText().value(), "the user's own copy");
}

TEST_F(SimulatorPasteboardServiceTest, WriteNotAcceptedWhenTheRetryDoesNotArriveEither) {
  simctl.pasteboards[kUDID] = "old";
  simctl.pbcopyStoresNothing = true;
  simctl.failures["pbsync"] = {0, ""};  // exits 0 and copies nothing
  auto written = service().writeText("s3cret", kUDID);
  ASSERT_FALSE(written);
  EXPECT_EQ(written.error().kind, Case::writeNotAccepted);
  EXPECT_EQ(written.error().description(), "The Simulator didn't accept the clipboard write.");
  EXPECT_EQ(host.contents(), std::nullopt);
}

TEST_F(SimulatorPasteboardServiceTest, ASecretNeverCrossesTheHostClipboardNorReachesADiagnostic) {
  simctl.pbcopyStoresNothing = true;
  auto written = service().writeText("s3cret", kUDID, {}, SimulatorPasteboardService::Sensitivity::secret);
  ASSERT_FALSE(written);
  EXPECT_EQ(written.error().kind, Case::writeNotAccepted);
  EXPECT_EQ(simctl.argumentLists(), (Arguments{{"simctl", "pbcopy", kUDID}, {"simctl", "pbpaste", kUDID}}));
  EXPECT_EQ(host.contents(), std::nullopt);

  // A tool that echoes its input in its complaint: the secret is masked wherever it appears.
  simctl.failures["pbcopy"] = {1, "pbcopy: cannot store 's3cret' (s3cret)\n"};
  auto echoed = service().writeText("s3cret", kUDID, {}, SimulatorPasteboardService::Sensitivity::secret);
  ASSERT_FALSE(echoed);
  EXPECT_EQ(echoed.error().description(), "pbcopy: cannot store '***' (***)");
}

TEST_F(SimulatorPasteboardServiceTest, FailuresCarrySimctlsDiagnostic) {
  const std::string shutdown =
      "An error was encountered processing the command (domain=com.apple.CoreSimulator.SimError, code=405):\n"
      "Unable to lookup in current state: Shutdown\n";
  struct Row {
    const char* failing;
    int status;
    std::string stderrText;
    Case expected;
    std::string message;
  };
  const std::vector<Row> rows = {
      {"pbcopy", 149, shutdown, Case::commandFailed, std::string(trimWhitespace(shutdown))},
      {"pbpaste", 1, "", Case::verificationFailed, "simctl pbpaste exited with status 1."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.failing);
    simctl.failures[row.failing] = {row.status, row.stderrText};
    auto written = service().writeText("x", kUDID);
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().kind, row.expected);
    EXPECT_EQ(written.error().description(), row.message);
  }

  simctl.failures["pbsync"] = {2, "No such pasteboard\n"};
  EXPECT_EQ(service().syncFromHost(kUDID).error(), SimulatorPasteboardError::commandFailed("No such pasteboard"));
}

TEST_F(SimulatorPasteboardServiceTest, EmptyTargetIsRefusedBeforeAnythingRuns) {
  EXPECT_EQ(service().writeText("x", "").error().description(), "No Simulator was given.");
  EXPECT_EQ(service().readText(" ").error().kind, Case::invalidTarget);
  EXPECT_EQ(service().syncFromHost("").error().kind, Case::invalidTarget);
  EXPECT_EQ(service().clear("").error().kind, Case::invalidTarget);
  EXPECT_TRUE(simctl.calls.empty());
}

TEST_F(SimulatorPasteboardServiceTest, ClearWritesEmptyTextAndChecksItTook) {
  simctl.pasteboards[kUDID] = "s3cret";
  ASSERT_TRUE(service().clear(kUDID));
  EXPECT_EQ(simctl.pasteboards[kUDID], "");
  EXPECT_EQ(simctl.calls[0].input, "");

  simctl.pasteboards[kUDID] = "s3cret";
  simctl.pbcopyStoresNothing = true;
  auto refused = service().clear(kUDID);
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().description(), "The Simulator's clipboard didn't empty.");
}

}  // namespace
}  // namespace orvanta
