// What every page's view model has: the call in progress, the last sentence it shows (a result or a
// failure, as the system words it), and the way its calls run off the main thread.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "automation/scenario_executor.hpp"
#include "core/simulator_mutation_gate.hpp"
#include "viewmodels/panel_session.hpp"

namespace orvanta {

struct PageMessage {
  enum class Kind { result, failure };
  Kind kind = Kind::result;
  std::string text;
  bool operator==(const PageMessage&) const = default;
};

class PageModel {
 public:
  explicit PageModel(PanelSession& session);
  virtual ~PageModel();
  PageModel(const PageModel&) = delete;
  PageModel& operator=(const PageModel&) = delete;

  // A call of this page is running; its buttons are disabled meanwhile.
  [[nodiscard]] bool busy() const { return running_ > 0; }
  [[nodiscard]] const std::optional<PageMessage>& message() const { return message_; }
  // The view's hook: called on the main thread after the page's state changed.
  void onChanged(std::function<void()> callback) { changed_ = std::move(callback); }

 protected:
  // Runs `call` on a worker and `done` with its result on the main thread, unless the page has gone.
  template <class Result>
  void run(std::function<Result(const orvanta::stop_token&)> call, std::function<void(Result)> done) {
    ++running_;
    changed();
    session_.work().post<Result>(lifetime_, std::move(call), [this, done = std::move(done)](Result result) {
      --running_;
      done(std::move(result));
      changed();
    });
  }
  // Takes the simulator's mutation gate for `label` for as long as the returned hold lives (capture it in
  // the call's `done`); none, with `busyText` shown, when another operation holds it.
  std::shared_ptr<SimulatorGateHold> hold(const std::string& udid, std::string_view label, std::string_view busyText);

  // Runs one step as a scenario would (the same services, read-back and sentences) on the target, with
  // `app` for the steps that need one. Shows the step's outcome; "(confirmed)" marks a value read back.
  // `after` runs with the outcome on the main thread.
  void runStep(ScenarioStepKind kind, std::optional<SimulatorApp> app = std::nullopt,
               std::function<void(const ScenarioStepOutcome&)> after = {},
               std::optional<SimulatorPrivacyServiceList> privacyServices = std::nullopt);

  // The target, or false with the tool's sentence shown.
  std::optional<SimulatorDevice> requireTarget(const TargetRequirement& requirement = {});

  void show(PageMessage message);
  void fail(std::string text) { show({PageMessage::Kind::failure, std::move(text)}); }
  void succeed(std::string text) { show({PageMessage::Kind::result, std::move(text)}); }
  void clearMessage() { message_.reset(); }
  void changed() const {
    if (changed_) changed_();
  }
  [[nodiscard]] ScenarioExecutorEnvironment executorEnvironment();

  PanelSession& session_;
  std::shared_ptr<int> lifetime_ = std::make_shared<int>(0);

 private:
  int running_ = 0;
  std::optional<PageMessage> message_;
  std::function<void()> changed_;
};

// Runs a one-step plan with the executor, without the shared gate (the caller holds what it needs).
// Blocks while simctl runs; call it on a worker thread with an executor environment of the call's own.
[[nodiscard]] ScenarioStepOutcome runSingleStep(const ScenarioExecutorEnvironment& environment,
                                                const SimulatorDevice& device, const std::optional<SimulatorApp>& app,
                                                const ScenarioPlanStep& step);

// The message a step's outcome shows: its summary, "(confirmed)" added for a value read back.
[[nodiscard]] PageMessage stepMessage(ScenarioStepKind::Case kind, const ScenarioStepOutcome& outcome);

}  // namespace orvanta
