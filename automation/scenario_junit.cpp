#include "automation/scenario_junit.hpp"

#include <array>
#include <cstdio>

#include "support/reference_date.hpp"

namespace orvanta {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

// The length of the well-formed UTF-8 sequence at the start of `text`, or 0.
std::size_t sequenceLength(std::string_view text) {
  const auto byte = [&](std::size_t index) { return static_cast<unsigned char>(text[index]); };
  const unsigned char lead = byte(0);
  std::size_t length = 0;
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) length = 2;
  else if (lead >= 0xE0 && lead <= 0xEF) length = 3;
  else if (lead >= 0xF0 && lead <= 0xF4) length = 4;
  else return 0;
  if (text.size() < length) return 0;
  for (std::size_t index = 1; index < length; ++index) {
    if ((byte(index) & 0xC0) != 0x80) return 0;
  }
  if (lead == 0xE0 && byte(1) < 0xA0) return 0;   // overlong
  if (lead == 0xED && byte(1) >= 0xA0) return 0;  // surrogates
  if (lead == 0xF0 && byte(1) < 0x90) return 0;   // overlong
  if (lead == 0xF4 && byte(1) >= 0x90) return 0;  // above U+10FFFF
  if (lead == 0xEF && byte(1) == 0xBF && (byte(2) == 0xBE || byte(2) == 0xBF)) return 0;  // U+FFFE, U+FFFF
  return length;
}

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
    const std::size_t length = sequenceLength(text);
    if (length == 0) {
      escaped += kReplacement;
      text.remove_prefix(1);
      continue;
    }
    if (length == 1) {
      const char c = text.front();
      switch (c) {
        case '&': escaped += "&amp;"; break;
        case '<': escaped += "&lt;"; break;
        case '>': escaped += "&gt;"; break;
        case '"': escaped += "&quot;"; break;
        case '\'': escaped += "&apos;"; break;
        case '\t': escaped += "&#9;"; break;
        case '\n': escaped += "&#10;"; break;
        case '\r': escaped += "&#13;"; break;
        default:
          if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
            escaped += kReplacement;
          } else {
            escaped += c;
          }
      }
    } else {
      escaped.append(text.substr(0, length));
    }
    text.remove_prefix(length);
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
      case Case::succeeded: xml += ">\n      <system-out>" + message + "</system-out>\n    </testcase>\n"; break;
      case Case::failed:
        xml += ">\n      <failure type=\"failed\" message=\"" + message + "\">" + message + "</failure>\n    </testcase>\n";
        break;
      case Case::partial:
        xml += ">\n      <failure type=\"partial\" message=\"" + message + "\">" + message + "</failure>\n    </testcase>\n";
        break;
      case Case::notRun: xml += ">\n      <skipped message=\"Not run.\"/>\n    </testcase>\n"; break;
      case Case::cancelled: xml += ">\n      <skipped message=\"Cancelled.\"/>\n    </testcase>\n"; break;
      case Case::pending:
      case Case::running: xml += ">\n      <skipped message=\"Did not finish.\"/>\n    </testcase>\n"; break;
    }
  }
  xml += "  </testsuite>\n</testsuites>\n";
  return xml;
}

}  // namespace orvanta
