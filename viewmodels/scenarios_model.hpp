// The Scenarios page: the saved scenarios (import, export, duplicate, rename, reorder, delete), the steps of
// the chosen one edited in place, a check that marks the steps it is blocked on, and a run whose steps show
// their state while they go. PlanRunModel is the check-confirm-run part that the Workspaces page shares.
//
// Main thread only, like every view model; the check and the run go to the session's workers.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "automation/scenario_executor.hpp"
#include "automation/scenario_library.hpp"
#include "automation/scenario_preflight.hpp"
#include "support/atomic_file.hpp"
#include "support/expected.hpp"
#include "support/stop_token.hpp"
#include "tools/location/location_route_library.hpp"
#include "viewmodels/page_model.hpp"

namespace orvanta {

// One value of a step as the editor shows it. `choices` holds (value, label) pairs when the value is
// picked rather than typed; an empty value of an optional field means "not set".
struct StepField {
  std::string key;  // the payload field's JSON name ("latitude", "wifiBars", "_0")
  std::string label;
  std::string value;
  std::vector<std::pair<std::string, std::string>> choices;
  bool multiline = false;
  bool operator==(const StepField&) const = default;
};

// The editable values of `kind`, filled with its current values. `routes` are offered for a route step.
[[nodiscard]] std::vector<StepField> stepFields(const ScenarioStepKind& kind,
                                                const std::vector<LocationRouteRecent>& routes = {});
// `kind` with the values of `fields` (matched by key; missing keys keep the kind's value). Fails with a
// sentence naming the field whose text does not read as its type; whether the values fit together is
// left to the check, which judges by each tool's rules.
[[nodiscard]] expected<ScenarioStepKind, std::string> stepKindWithFields(ScenarioStepKind kind,
                                                                         const std::vector<StepField>& fields);
// A new step of `kind` with the values one usually starts from (dark appearance, Apple Park, "grant
// photos", a minimal push payload, the newest played route).
[[nodiscard]] ScenarioStepKind newStepKind(ScenarioStepKind::Case kind,
                                           const std::vector<LocationRouteRecent>& routes = {});
// The kind's name in the "add a step" menu ("Set Appearance", "Privacy Action").
[[nodiscard]] std::string stepKindName(ScenarioStepKind::Case kind);

// A step's line while a run shows it: "2. Set Appearance: Dark — succeeded (0.4 s): Appearance set to Dark."
[[nodiscard]] std::string stepStateText(std::size_t index, const ScenarioStepResult& result);

// Checks a plan, has it confirmed and runs it, each step's state kept as it changes. Shared by the pages
// that run a plan (a scenario, a workspace restore).
class PlanRunModel : public PageModel {
 public:
  // The issues of the last check that blocked (empty otherwise), and those of one step.
  [[nodiscard]] const std::vector<ScenarioPreflightIssue>& issues() const { return issues_; }
  [[nodiscard]] std::vector<ScenarioPreflightIssue> issuesOf(const std::string& stepID) const;

  // A checked plan waits for the user's answer.
  [[nodiscard]] bool awaitingConfirmation() const { return plan_.has_value(); }
  [[nodiscard]] const std::optional<ScenarioConfirmation>& confirmation() const { return confirmation_; }
  // As the command line shows it before it asks: "<title>: <name>", the target, a blank line and the
  // confirmation's text. Empty when no plan waits.
  [[nodiscard]] std::string confirmationText() const;
  // "Run 3 Steps".
  [[nodiscard]] std::string confirmButtonTitle() const { return confirmation_ ? confirmation_->confirmButtonTitle : ""; }
  // Runs the waiting plan under the simulator's gate; refused with the gate's sentence when another
  // operation holds the simulator. A plan runs once: either way it no longer waits.
  void confirmRun();
  // Drops the waiting plan (the user said no).
  void discardRun();
  // Stops the run before its next step; the step that runs finishes.
  void cancelRun();

  [[nodiscard]] bool running() const { return running_; }
  [[nodiscard]] bool cancelling() const { return running_ && stop_.stop_requested(); }
  // The steps of the current or last run, as they stand.
  [[nodiscard]] const std::vector<ScenarioStepResult>& stepResults() const { return steps_; }
  // "3 succeeded, 1 failed, 2 not run." once the last run ended.
  [[nodiscard]] const std::optional<std::string>& summary() const { return summary_; }

 protected:
  // `title` heads the confirmation ("Run Scenario"); the run holds the gate as `gateLabel`.
  PlanRunModel(PanelSession& session, std::string title, std::string_view gateLabel);

  struct PlanCheck {
    std::string name;  // what is checked, for the sentences
    expected<ScenarioPreflightOutcome, ScenarioPreflightFailure> outcome;
  };
  // Runs `call` (a preflight) on a worker; a plan then waits for confirmation and `ready` is called, issues
  // are kept and shown.
  void checkPlan(std::function<PlanCheck(const orvanta::stop_token&)> call, std::function<void()> ready);
  // The simulator the user chose, remembered as the command line remembers it.
  [[nodiscard]] std::optional<std::string> rememberedSimulator();
  void forgetCheck();
  // Called on the main thread when a run has ended.
  virtual void runEnded() {}

 private:
  struct Live;
  void syncSteps(Live& live, std::uint64_t generation);

  std::string title_;
  std::string gateLabel_;
  std::vector<ScenarioPreflightIssue> issues_;
  std::optional<ScenarioExecutionPlan> plan_;
  std::optional<ScenarioConfirmation> confirmation_;
  std::vector<ScenarioStepResult> steps_;
  std::optional<std::string> summary_;
  bool running_ = false;
  orvanta::stop_source stop_;
  std::uint64_t generation_ = 0;  // of the run whose progress is shown
};

// What the Scenarios and Workspaces pages share: the items of a versioned document store, the one chosen,
// and where the choice goes when items come and go. The chosen item's plan is what PlanRunModel checks and
// runs, so a new choice forgets the last check.
template <class Store>
class StoredItemsModel : public PlanRunModel {
 public:
  using Record = typename Store::Record;

  [[nodiscard]] const std::string& selectedID() const { return selectedID_; }
  void select(std::string id) {
    if (id == selectedID_) return;
    selectedID_ = std::move(id);
    forgetCheck();
    changed();
  }
  // The chosen item, when it is a readable one.
  [[nodiscard]] const Record* selected() const { return selectedID_.empty() ? nullptr : store_.lookup(selectedID_); }

  // Refused with the store's sentence when another item has the name.
  void rename(const std::string& id, const std::string& name) {
    const auto* record = store_.lookup(id);
    if (record == nullptr) return fail(notFoundText());
    auto renamed = *record;
    renamed.name = name;
    auto done = store_.update(renamed);
    if (!done) return fail(done.error().description());
    succeed("Renamed to \"" + done->name + "\".");
  }
  // Deleting the chosen item chooses the one after it, or the new last one.
  void remove(const std::string& id) {
    const auto* entry = store_.find(id);
    if (entry == nullptr) return fail(notFoundText());
    const std::string name = entry->readable() ? "\"" + entry->record.name + "\"" : entry->id();
    const std::ptrdiff_t position = entry - store_.entries.data();
    if (auto done = store_.remove(id); !done) return fail(done.error().description());
    if (id == selectedID_) chooseAfterRemoval(position);
    succeed("Deleted " + name + ".");
  }
  // The item as an import file of its own (even one of a newer version, as it is stored).
  void exportTo(const std::string& id, const std::filesystem::path& file) {
    const auto* entry = store_.find(id);
    if (entry == nullptr) return fail(notFoundText());
    auto item = store_.item(*entry);
    if (!item) return fail(item.error().description());
    if (auto written = writeFileAtomically(file, exportedItemText(*item), 0644); !written) {
      return fail(written.error().description());
    }
    succeed("Exported to " + file.string());
  }

 protected:
  using PlanRunModel::PlanRunModel;

  static std::string notFoundText() {
    using Error = typename Store::Error;
    return Error::of(Error::Case::notFound).description();
  }

  // Reads the store's file again (another process may have changed it); the choice stays while its item
  // is listed, else the first item is chosen. False, with the sentence shown, when there is no file to read.
  bool loadStore() {
    auto file = Store::defaultFile();
    if (!file) {
      fail(file.error().description());
      return false;
    }
    store_ = Store::load(*file);
    if (store_.recoveryNotice()) fail(*store_.recoveryNotice());
    if (selectedID_.empty() || store_.find(selectedID_) == nullptr) {
      selectedID_ = store_.entries.empty() ? std::string() : store_.entries.front().id();
    }
    return true;
  }
  // After the chosen item, which stood at `position`, was removed: the one after it takes its place, or
  // the new last one.
  void chooseAfterRemoval(std::ptrdiff_t position) {
    position = std::min<std::ptrdiff_t>(position, std::ssize(store_.entries) - 1);
    selectedID_ = position < 0 ? std::string() : store_.entries[static_cast<std::size_t>(position)].id();
    forgetCheck();
  }

  Store store_;
  std::string selectedID_;
};

class ScenariosModel : public StoredItemsModel<ScenarioLibrary> {
 public:
  explicit ScenariosModel(PanelSession& session);

  // Reads the library file again (another process may have changed it).
  void reload();
  [[nodiscard]] const ScenarioLibrary& library() const { return store_; }

  // A new scenario without steps, chosen; a name that is taken is numbered.
  void create(const std::string& name);
  void importFrom(const std::filesystem::path& file);
  void duplicate(const std::string& id);
  // Sets the scenario's description, trimmed; an empty one removes it. Nothing is saved when it is unchanged.
  void describe(const std::string& id, const std::string& description);
  // One place up (-1) or down (+1).
  void move(const std::string& id, int offset);

  // The steps of the chosen scenario.
  void addStep(ScenarioStepKind::Case kind);
  void editStep(const std::string& stepID, const std::vector<StepField>& fields);
  void removeStep(const std::string& stepID);
  void moveStep(const std::string& stepID, int offset);
  // The played routes a route step can name.
  [[nodiscard]] std::vector<LocationRouteRecent> routes() const;

  // The app the app steps act on; empty for none.
  std::string bundleIdentifier;
  // Checks the chosen scenario against the target and the app; `ready` when a plan waits for confirmation.
  void check(std::function<void()> ready = {});

 private:
  // Applies `change` to the chosen scenario's steps and saves; it returns the sentence to show, or nothing
  // when there is nothing to save.
  void changeSteps(const std::function<std::optional<std::string>(std::vector<ScenarioStep>&)>& change);
};

}  // namespace orvanta
