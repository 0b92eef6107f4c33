// The command palette: every action of every page in one list, searched as you type. A query matches an
// action when its letters appear in order in the action's text (ignoring case); matches that start words
// and run together rank first. The actions used last come first in an empty search; they are kept
// newest first under "Orvanta.CommandPalette.recents". Actions pinned from the palette get a button of
// their own on the quick-actions bar under the target picker, kept in the order pinned under
// "Orvanta.Toolbar.quickActions".
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
  // Performs the action without remembering it (a button of the quick-actions bar). False when there is no
  // such action.
  bool performPinned(const std::string& id) const;
  // The ids of the recent actions, newest first, as stored.
  [[nodiscard]] std::vector<std::string> recents() const;

  static constexpr const char* quickActionsKey = "Orvanta.Toolbar.quickActions";
  static constexpr std::size_t quickActionLimit = 6;
  // The pinned ids in the order they were pinned, as stored: one that no page offers today is kept (its
  // page may offer it again), but gets no button.
  [[nodiscard]] std::vector<std::string> quickActions() const;
  [[nodiscard]] bool isQuickAction(const std::string& id) const;
  // Pins `id` at the end of the bar (`pinned`) or takes it off; nullopt when done (or nothing needed
  // doing), else the sentence why not: the bar is full, or the settings could not be written.
  [[nodiscard]] std::optional<std::string> setQuickAction(const std::string& id, bool pinned);

  struct QuickButton {
    const PaletteAction* action;
    std::string label;  // "Export…" of "Console: Export…", "Console" of "Go to Console"; the whole title
                        // when another button would show the same words
  };
  // The buttons of the bar: the pinned actions that exist now, in order.
  [[nodiscard]] std::vector<QuickButton> quickButtons() const;

 private:
  [[nodiscard]] const PaletteAction* find(const std::string& id) const;

  std::shared_ptr<SettingsStore> settings_;
  std::vector<PaletteAction> actions_;
};

}  // namespace orvanta
