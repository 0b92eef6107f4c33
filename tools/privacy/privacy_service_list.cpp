#include "tools/privacy/privacy_service_list.hpp"

#include <algorithm>

namespace orvanta {
namespace {

constexpr std::string_view kSpace = " \t";

std::string_view trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

bool isWordCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
}

// The word of an indented "<word> - <description>" line.
std::optional<std::string_view> entryWord(std::string_view line) {
  if (line.empty() || kSpace.find(line.front()) == std::string_view::npos) return std::nullopt;
  const std::string_view text = trimmed(line);
  const auto separator = text.find(" - ");
  if (separator == std::string_view::npos || separator == 0) return std::nullopt;
  const std::string_view word = text.substr(0, separator);
  if (!std::all_of(word.begin(), word.end(), isWordCharacter)) return std::nullopt;
  return word;
}

}  // namespace

std::optional<std::vector<std::string>> parsePrivacyServiceWords(std::string_view usageText) {
  std::vector<std::string> words;
  bool inSection = false;
  while (!usageText.empty()) {
    const auto end = usageText.find('\n');
    const std::string_view line = usageText.substr(0, end);
    usageText.remove_prefix(end == std::string_view::npos ? usageText.size() : end + 1);
    if (!inSection) {
      // The section's heading is the indented word "service" alone on its line.
      inSection = !line.empty() && kSpace.find(line.front()) != std::string_view::npos && trimmed(line) == "service";
      continue;
    }
    if (auto word = entryWord(line)) {
      if (std::find(words.begin(), words.end(), *word) == words.end()) words.emplace_back(*word);
    } else if (!words.empty()) {
      break;  // the next section, or the end of this one
    }
  }
  if (words.empty()) return std::nullopt;
  return words;
}

bool SimulatorPrivacyServiceList::offers(std::string_view word) const { return find(word) != nullptr; }

const SimulatorPrivacyServiceOption* SimulatorPrivacyServiceList::find(std::string_view word) const {
  for (const auto& service : services) {
    if (service.name == word) return &service;
  }
  return nullptr;
}

SimulatorPrivacyServiceList privacyServicesFromWords(const std::vector<std::string>& words) {
  SimulatorPrivacyServiceList list;
  for (auto type : allPrivacyServiceTypes) {
    if (std::find(words.begin(), words.end(), commandWord(type)) != words.end()) {
      list.services.push_back(SimulatorPrivacyServiceOption::known(type));
    }
  }
  for (const auto& word : words) {
    if (!privacyServiceTypeFromCommandWord(word)) list.services.push_back(SimulatorPrivacyServiceOption::named(word));
  }
  return list;
}

SimulatorPrivacyServiceList builtInPrivacyServices() {
  SimulatorPrivacyServiceList list;
  for (auto type : allPrivacyServiceTypes) list.services.push_back(SimulatorPrivacyServiceOption::known(type));
  list.fromSimctl = false;
  return list;
}

std::optional<SimulatorPrivacyServiceList> readOfferedPrivacyServices(const SimctlClient& client,
                                                                      orvanta::stop_token stop) {
  if (stop.stop_requested()) return std::nullopt;
  auto output = client.simctl({"privacy"}, stop);
  if (!output) {
    if (output.error().kind == ProcessRunnerError::Case::cancelled) return std::nullopt;
    return builtInPrivacyServices();
  }
  for (const ByteBuffer* stream : {&output->stdout, &output->stderr}) {
    if (auto words = parsePrivacyServiceWords(stream->view())) return privacyServicesFromWords(*words);
  }
  return builtInPrivacyServices();
}

}  // namespace orvanta
