// The command palette: every action of every page in one list, searched as you type. A query matches an
// action when its letters appear in order in the action's text (ignoring case); matches that start words
// and run together rank first. The actions used last come first in an empty search; they are kept
// newest first under "Orvanta.CommandPalette.recents".
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/settings_store.hpp"

namespace orvanta {

struct PaletteAction {
  std::string id;     // stable across runs: what the recents remember
  std::string title;  // "Console: Export…"
  std::function<void()> perform;
};

// How well `query` matches `text`: nullopt when its letters do not all appear in order; otherwise higher is
// better. An empty query matches everything with 0.
[[nodiscard]] std::optional<int> fuzzyScore(std::string_view query, std::string_view text);

class CommandPalette {
 public:
  static constexpr const char* recentsKey = "Orvanta.CommandPalette.recents";
  static constexpr std::size_t recentLimit = 8;

  explicit CommandPalette(std::shared_ptr<SettingsStore> settings);

  void add(PaletteAction action);
  void clearActions() { actions_.clear(); }
  [[nodiscard]] const std::vector<PaletteAction>& actions() const { return actions_; }

  // The actions that match, best first. An empty query lists the recent actions (newest first), then the
  // others in the order they were added.
  [[nodiscard]] std::vector<const PaletteAction*> search(std::string_view query) const;
  // Performs the action and remembers it as the newest recent. False when there is no such action.
  bool perform(const std::string& id);
  // The ids of the recent actions, newest first, as stored.
  [[nodiscard]] std::vector<std::string> recents() const;

 private:
  std::shared_ptr<SettingsStore> settings_;
  std::vector<PaletteAction> actions_;
};

}  // namespace orvanta
