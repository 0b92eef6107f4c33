#include "tools/location/location_scenario_list.hpp"

#include <optional>

#include "support/text.hpp"
#include "support/utf8.hpp"

namespace orvanta {
namespace {

bool isContinuationByte(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// The byte offset of code point number `column` in valid UTF-8 `text`, or its size when it is shorter.
std::size_t byteOffsetOfColumn(std::string_view text, std::size_t column) {
  std::size_t offset = 0;
  for (std::size_t seen = 0; offset < text.size(); ++offset) {
    if (isContinuationByte(text[offset])) continue;
    if (seen++ == column) return offset;
  }
  return text.size();
}

std::size_t codePointCount(std::string_view text) {
  std::size_t count = 0;
  for (char c : text) {
    if (!isContinuationByte(c)) ++count;
  }
  return count;
}

// The column at which "Description" starts when `line` is a table header: "Name", white space, then
// "Description" somewhere further on.
std::optional<std::size_t> descriptionColumn(std::string_view line) {
  if (!line.starts_with("Name") || line.size() == 4 || (line[4] != ' ' && line[4] != '\t')) return std::nullopt;
  const auto at = line.find("Description", 4);
  if (at == std::string_view::npos) return std::nullopt;
  return codePointCount(line.substr(0, at));
}

bool hasControlCharacter(std::string_view line) {
  for (char c : line) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) return true;
  }
  return false;
}

}  // namespace

expected<std::vector<LocationScenario>, LocationSimulationError> parseLocationScenarioList(std::string_view output) {
  auto notAList = [] {
    return unexpected(LocationSimulationError::scenariosUnavailable(std::string(unexpectedScenarioListReason)));
  };
  if (!isValidUtf8(output)) return notAList();
  std::vector<std::string_view> lines;
  for (std::size_t start = 0; start < output.size();) {
    std::size_t end = output.find('\n', start);
    if (end == std::string_view::npos) end = output.size();
    lines.push_back(trimWhitespace(output.substr(start, end - start)));
    start = end + 1;
  }

  std::vector<LocationScenario> scenarios;
  for (std::size_t header = 0; header < lines.size(); ++header) {
    const auto column = descriptionColumn(lines[header]);
    if (!column) continue;
    for (std::size_t i = header + 1; i < lines.size(); ++i) {
      const std::string_view line = lines[i];
      if (line.empty()) continue;
      const std::size_t split = byteOffsetOfColumn(line, *column);
      scenarios.push_back({std::string(trimWhitespace(line.substr(0, split))), std::string(trimWhitespace(line.substr(split)))});
    }
    return scenarios;
  }

  // No header: the bare names that simctl prints.
  for (const std::string_view line : lines) {
    if (line.empty()) continue;
    if (hasControlCharacter(line)) return notAList();
    scenarios.push_back({std::string(line), {}});
  }
  return scenarios;
}

}  // namespace orvanta
