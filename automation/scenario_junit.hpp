// A scenario run's results as a JUnit XML report, the format CI systems read: one <testsuite> for the run
// and one <testcase> per step, in order. A failed or partially completed step carries a <failure>; a
// step that never ran (not run, cancelled, still pending) a <skipped>. Pure; thread-safe.
#pragma once

#include <string>
#include <string_view>

#include "automation/scenario_executor.hpp"

namespace orvanta {

// `text` made safe for XML character data and attribute values: & < > " ' as entities, and characters XML
// 1.0 does not allow (control characters other than tab, line feed and carriage return, and bytes that
// are not UTF-8) as U+FFFD.
[[nodiscard]] std::string xmlEscaped(std::string_view text);

// The whole document, UTF-8, with an XML declaration.
[[nodiscard]] std::string scenarioJUnitReport(const ScenarioResult& result);

}  // namespace orvanta
