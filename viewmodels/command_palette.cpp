#include "viewmodels/command_palette.hpp"

#include <algorithm>

#include "support/settings_list.hpp"

namespace orvanta {

namespace {

struct IdCodec {
  static nlohmann::json encode(const std::string& id) { return id; }
  static std::optional<std::string> decode(const nlohmann::json& item) {
    if (!item.is_string()) return std::nullopt;
    return item.get<std::string>();
  }
};

using RecentIds = RecentList<std::string, IdCodec>;

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool startsWord(std::string_view text, std::size_t at) {
  if (at == 0) return true;
  const char before = text[at - 1];
  return before == ' ' || before == ':' || before == '-' || before == '/' || before == '(' ||
         (before >= 'a' && before <= 'z' && text[at] >= 'A' && text[at] <= 'Z');
}

// One pass over `text`: each query letter continues the run when it can, else takes the next letter that
// starts a word (when `preferWordStarts`), else the next one at all. Runs and word starts score; gaps
// between the letters found cost.
std::optional<int> matchScore(std::string_view query, std::string_view text, bool preferWordStarts) {
  int score = 0;
  std::size_t at = 0;
  std::optional<std::size_t> previous;
  for (char letter : query) {
    const char wanted = lower(letter);
    if (wanted == ' ') continue;
    std::optional<std::size_t> found;
    if (previous && *previous + 1 < text.size() && lower(text[*previous + 1]) == wanted) found = *previous + 1;
    for (std::size_t i = at; !found && preferWordStarts && i < text.size(); ++i) {
      if (lower(text[i]) == wanted && startsWord(text, i)) found = i;
    }
    for (std::size_t i = at; !found && i < text.size(); ++i) {
      if (lower(text[i]) == wanted) found = i;
    }
    if (!found) return std::nullopt;
    score += 1;
    if (previous && *found == *previous + 1) score += 5;
    if (startsWord(text, *found)) score += 8;
    // Letters far apart are a weaker match than a run ("scr" means "Screenshot" more than "Scenarios:
    // Rename"): a gap costs 3, and 1 for each further letter skipped, up to 15.
    if (previous && *found > *previous + 1) score -= static_cast<int>(std::min<std::size_t>(3 + (*found - *previous - 2), 15));
    previous = found;
    at = *found + 1;
  }
  // Of two texts that match equally well, the shorter is the likelier meaning.
  return score * 4 - static_cast<int>(std::min<std::size_t>(text.size(), 200) / 8);
}

}  // namespace

std::optional<int> fuzzyScore(std::string_view query, std::string_view text) {
  // Preferring word starts can skip past the only way to match ("xy" in "axy Xz"); plain first
  // occurrences always find a match when there is one.
  if (auto preferred = matchScore(query, text, true)) return preferred;
  return matchScore(query, text, false);
}

CommandPalette::CommandPalette(std::shared_ptr<SettingsStore> settings) : settings_(std::move(settings)) {}

void CommandPalette::add(PaletteAction action) {
  std::erase_if(actions_, [&](const PaletteAction& old) { return old.id == action.id; });
  actions_.push_back(std::move(action));
}

std::vector<std::string> CommandPalette::recents() const {
  return RecentIds(settings_, recentsKey, recentLimit).entries();
}

std::vector<const PaletteAction*> CommandPalette::search(std::string_view query) const {
  std::vector<const PaletteAction*> found;
  const bool empty = std::all_of(query.begin(), query.end(), [](char c) { return c == ' '; });
  if (empty) {
    for (const auto& id : recents()) {
      auto action = std::find_if(actions_.begin(), actions_.end(), [&](const PaletteAction& a) { return a.id == id; });
      if (action != actions_.end()) found.push_back(&*action);
    }
    for (const auto& action : actions_) {
      if (std::find(found.begin(), found.end(), &action) == found.end()) found.push_back(&action);
    }
    return found;
  }
  std::vector<std::pair<int, const PaletteAction*>> scored;
  for (const auto& action : actions_) {
    if (auto score = fuzzyScore(query, action.title)) scored.emplace_back(*score, &action);
  }
  std::stable_sort(scored.begin(), scored.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
  for (const auto& [score, action] : scored) found.push_back(action);
  return found;
}

const PaletteAction* CommandPalette::find(const std::string& id) const {
  auto action = std::find_if(actions_.begin(), actions_.end(), [&](const PaletteAction& a) { return a.id == id; });
  return action == actions_.end() ? nullptr : &*action;
}

bool CommandPalette::perform(const std::string& id) {
  if (find(id) == nullptr) return false;
  // Remembered first: the action may change the page, or close the palette, under our feet. A recents
  // list that cannot be written is no reason not to act.
  (void)RecentIds(settings_, recentsKey, recentLimit).record(id, [](const auto& a, const auto& b) { return a == b; });
  return performPinned(id);
}

bool CommandPalette::performPinned(const std::string& id) const {
  const auto* action = find(id);
  if (action == nullptr) return false;
  // A copy: the action may clear the list it is kept in.
  auto perform = action->perform;
  if (perform) perform();
  return true;
}

std::vector<std::string> CommandPalette::quickActions() const {
  return decodeSettingsItems<std::string>(SettingsList(settings_, quickActionsKey).load(), IdCodec::decode);
}

bool CommandPalette::isQuickAction(const std::string& id) const {
  const auto pinned = quickActions();
  return std::find(pinned.begin(), pinned.end(), id) != pinned.end();
}

std::optional<std::string> CommandPalette::setQuickAction(const std::string& id, bool pinned) {
  bool full = false;
  auto written = SettingsList(settings_, quickActionsKey).update([&](nlohmann::json stored) {
    auto ids = decodeSettingsItems<std::string>(stored, IdCodec::decode);
    const bool present = std::find(ids.begin(), ids.end(), id) != ids.end();
    if (pinned && !present) {
      if (ids.size() >= quickActionLimit) {
        full = true;
      } else {
        ids.push_back(id);
      }
    }
    if (!pinned) std::erase(ids, id);
    return encodeSettingsItems(ids, IdCodec::encode);
  });
  if (!written) return "Could not save the quick actions: " + written.error().description();
  if (full) {
    return "The quick actions bar holds " + std::to_string(quickActionLimit) + " actions: take one off first.";
  }
  return std::nullopt;
}

std::vector<CommandPalette::QuickButton> CommandPalette::quickButtons() const {
  std::vector<QuickButton> buttons;
  for (const auto& id : quickActions()) {
    const auto* action = find(id);
    if (action == nullptr) continue;
    std::string_view label = action->title;
    if (label.rfind("Go to ", 0) == 0) {
      label.remove_prefix(6);
    } else if (const auto colon = label.find(": "); colon != std::string_view::npos) {
      label.remove_prefix(colon + 2);
    }
    buttons.push_back({action, std::string(label)});
  }
  // "Clear" of two pages would be two buttons that look alike: those say which page they belong to.
  std::vector<std::string> shortLabels;
  for (const auto& button : buttons) shortLabels.push_back(button.label);
  for (auto& button : buttons) {
    if (std::count(shortLabels.begin(), shortLabels.end(), button.label) > 1) button.label = button.action->title;
  }
  return buttons;
}

}  // namespace orvanta
