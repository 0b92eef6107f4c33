#include "automation/scenario_junit.hpp"

#include <array>
#include <cstdio>

#include "support/reference_date.hpp"
#include "support/utf8.hpp"

namespace orvanta {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

std::string seconds(double value) {
  std::array<char, 32> buffer{};
  std::snprintf(buffer.data(), buffer.size(), "%.3f", value);
  return buffer.data();
}

}  // namespace

std::string xmlEscaped(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  while (!text.empty()) {
    const Utf8Sequence sequence = decodeUtf8(text);
    if (sequence.length == 0) {
      escaped += kReplacement;
      text.remove_prefix(sequence.invalidLength);
      continue;
    }
    const char32_t c = sequence.codePoint;
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&apos;";
        break;
      case '\t':
        escaped += "&#9;";
        break;
      case '\n':
        escaped += "&#10;";
        break;
      case '\r':
        escaped += "&#13;";
        break;
      default:
        // What XML 1.0 does not allow in a document: other C0 controls, DEL, U+FFFE and U+FFFF.
        if (c < 0x20 || c == 0x7F || c == 0xFFFE || c == 0xFFFF) {
          escaped += kReplacement;
        } else {
          escaped.append(text.substr(0, sequence.length));
        }
    }
    text.remove_prefix(sequence.length);
  }
  return escaped;
}

std::string scenarioJUnitReport(const ScenarioResult& result) {
  using Case = ScenarioStepOutcome::Case;
  std::size_t failures = 0;
  std::size_t skipped = 0;
  double total = 0;
  for (const auto& step : result.stepResults) {
    const auto kind = step.outcome.kind;
    if (kind == Case::failed || kind == Case::partial) ++failures;
    if (kind == Case::notRun || kind == Case::cancelled || kind == Case::pending || kind == Case::running) ++skipped;
    total += step.duration.value_or(0);
  }
  const std::string suite = xmlEscaped(result.plan.scenarioName);
  const std::string counts = " tests=\"" + std::to_string(result.stepResults.size()) + "\" failures=\"" +
                             std::to_string(failures) + "\" errors=\"0\" skipped=\"" + std::to_string(skipped) +
                             "\" time=\"" + seconds(total) + "\"";
  std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  xml += "<testsuites name=\"orvanta scenario\"" + counts + ">\n";
  xml += "  <testsuite name=\"" + suite + "\"" + counts;
  if (!result.stepResults.empty() && result.stepResults.front().startedAt) {
    xml += " timestamp=\"" + formatUtc(*result.stepResults.front().startedAt, UtcFormat::iso8601) + "\"";
  }
  xml += ">\n";
  xml += "    <properties>\n";
  xml += "      <property name=\"simulator\" value=\"" + xmlEscaped(result.plan.simulatorName) + "\"/>\n";
  xml += "      <property name=\"simulatorUDID\" value=\"" + xmlEscaped(result.plan.simulatorUDID) + "\"/>\n";
  if (result.plan.app) {
    xml += "      <property name=\"app\" value=\"" + xmlEscaped(result.plan.app->bundleIdentifier) + "\"/>\n";
  }
  xml += "    </properties>\n";
  for (std::size_t index = 0; index < result.stepResults.size(); ++index) {
    const auto& step = result.stepResults[index];
    xml += "    <testcase name=\"" + xmlEscaped(std::to_string(index + 1) + ". " + step.title) + "\" classname=\"" +
           suite + "\" time=\"" + seconds(step.duration.value_or(0)) + "\"";
    const std::string message = xmlEscaped(step.outcome.message());
    switch (step.outcome.kind) {
      case Case::succeeded:
        xml += ">\n      <system-out>" + message + "</system-out>\n    </testcase>\n";
        break;
      case Case::failed:
        xml += ">\n      <failure type=\"failed\" message=\"" + message + "\">" + message +
               "</failure>\n    </testcase>\n";
        break;
      case Case::partial:
        xml += ">\n      <failure type=\"partial\" message=\"" + message + "\">" + message +
               "</failure>\n    </testcase>\n";
        break;
      case Case::notRun:
        xml += ">\n      <skipped message=\"Not run.\"/>\n    </testcase>\n";
        break;
      case Case::cancelled:
        xml += ">\n      <skipped message=\"Cancelled.\"/>\n    </testcase>\n";
        break;
      case Case::pending:
      case Case::running:
        xml += ">\n      <skipped message=\"Did not finish.\"/>\n    </testcase>\n";
        break;
    }
  }
  xml += "  </testsuite>\n</testsuites>\n";
  return xml;
}

}  // namespace orvanta
