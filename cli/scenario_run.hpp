// What `scenario run` and `workspace restore` share: a preflight's outcome reported as issues or as the
// plan and its confirmation, and a confirmed plan run step by step with progress lines, a JUnit report,
// Ctrl-C before the next step and the --json shape of a run. Main thread only.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "automation/scenario_executor.hpp"
#include "automation/scenario_preflight.hpp"
#include "cli/command.hpp"
#include "tools/location/location_route_library.hpp"

namespace orvanta {

// The plan of a preflight that passed. Blocking issues fail with the first issue's case and sentence,
// all of them listed on stderr under `name` (or, with --json, as {"issues": [...]}); a preflight that could
// not decide fails with its sentence. With `printPlan`, a passed plan is printed: `title`, the target and
// the confirmation's text (with --json, {"plan", "confirmation"}).
[[nodiscard]] expected<ScenarioExecutionPlan, CommandFailure> acceptPreflight(
    CommandContext& context, const expected<ScenarioPreflightOutcome, ScenarioPreflightFailure>& outcome,
    const std::string& name, bool printPlan, const std::string& title);

// Asks the confirmation, then runs `plan` under the simulator's gate held as `gateLabel`, printing each
// step as it starts and ends, writing `junit` when not empty, and the summary (or, with --json, the run's
// result). Fails unless every step succeeded; interrupted when cancelled.
[[nodiscard]] CommandOutcome confirmAndExecute(CommandContext& context, const ScenarioExecutionPlan& plan,
                                               const std::string& junit, std::string_view gateLabel);

}  // namespace orvanta
