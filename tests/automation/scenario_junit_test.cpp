#include "automation/scenario_junit.hpp"

#include <gtest/gtest.h>

#include "tests/support/junit_xml.hpp"

namespace orvanta {
namespace {

using testing::Parsed;
using testing::parseJUnit;

ScenarioStepResult result(std::string title, ScenarioStepOutcome outcome) {
  return {"ID", std::move(title), std::nullopt, 0.25, std::move(outcome)};
}

TEST(ScenarioJUnitTest, OneWellFormedTestCasePerStepWithFailuresAndSkipsInPlace) {
  ScenarioResult run;
  run.plan.scenarioName = "Café <\"night\"> & 'day'";
  run.plan.simulatorName = "iPhone 16";
  run.stepResults = {
      result("Set Appearance: Dark", ScenarioStepOutcome::succeeded("Appearance set to Dark.")),
      result("Reset App Data", ScenarioStepOutcome::partial("App data reset, but <the list> & more.")),
      result("Open Deep Link", ScenarioStepOutcome::failed(std::string("simctl said \x01 \"no\" \xFF\n"))),
      result("Launch App", ScenarioStepOutcome::of(ScenarioStepOutcome::Case::notRun)),
      result("Terminate App", ScenarioStepOutcome::of(ScenarioStepOutcome::Case::cancelled)),
  };
  auto parsed = parseJUnit(scenarioJUnitReport(run));
  ASSERT_TRUE(parsed.wellFormed) << scenarioJUnitReport(run);
  EXPECT_EQ(parsed.order, (std::vector<std::string>{"1. Set Appearance: Dark", "2. Reset App Data", "3. Open Deep Link",
                                                    "4. Launch App", "5. Terminate App"}));
  EXPECT_EQ(parsed.children["1. Set Appearance: Dark"], std::vector<std::string>{"system-out"});
  EXPECT_EQ(parsed.children["2. Reset App Data"], std::vector<std::string>{"failure"});
  EXPECT_EQ(parsed.children["3. Open Deep Link"], std::vector<std::string>{"failure"});
  EXPECT_EQ(parsed.children["4. Launch App"], std::vector<std::string>{"skipped"});
  EXPECT_EQ(parsed.children["5. Terminate App"], std::vector<std::string>{"skipped"});
  EXPECT_EQ(parsed.attributes["testsuite.name"], "Café <\"night\"> & 'day'");
  EXPECT_EQ(parsed.attributes["testsuite.tests"], "5");
  EXPECT_EQ(parsed.attributes["testsuite.failures"], "2");
  EXPECT_EQ(parsed.attributes["testsuite.skipped"], "2");
  EXPECT_EQ(parsed.attributes["failure.message"], "App data reset, but <the list> & more.");
}

TEST(ScenarioJUnitTest, TheEscaperKeepsTextAndReplacesWhatXmlCannotHold) {
  EXPECT_EQ(xmlEscaped("a&b<c>d\"e'f"), "a&amp;b&lt;c&gt;d&quot;e&apos;f");
  EXPECT_EQ(xmlEscaped("tab\there\nline"), "tab&#9;here&#10;line");
  EXPECT_EQ(xmlEscaped("caf\xC3\xA9 \xF0\x9F\x98\x80"), "caf\xC3\xA9 \xF0\x9F\x98\x80");
  const std::string replacement = "\xEF\xBF\xBD";
  EXPECT_EQ(xmlEscaped(std::string("\x00\x1F\x7F", 3)), replacement + replacement + replacement);
  EXPECT_EQ(xmlEscaped("\xC0\xAF\xED\xA0\x80"), replacement + replacement + replacement + replacement + replacement);
}

}  // namespace
}  // namespace orvanta
