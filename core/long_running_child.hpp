// The seam through which services start children that run until told to stop (a screen recorder, a log
// stream): the real ProcessRunner in the program, a scripted fake in tests.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/process_runner.hpp"

namespace orvanta {

// A running child. Destroying it while the child runs ends the child's group and reaps it.
class LongRunningChild {
 public:
  virtual ~LongRunningChild() = default;
  // Sends `signal` to the child; nothing once it has ended. Any thread; does not block.
  virtual void sendSignal(int signal) = 0;
  // The child's result once it has ended, waiting at most `limit`; nullopt when it still runs. Any thread.
  [[nodiscard]] virtual std::optional<ProcessRunner::Result> waitForResult(std::chrono::milliseconds limit) = 0;
  // Ends the child (SIGTERM, then SIGKILL to its group 2 s later) and waits for it. Blocks; any thread.
  virtual ProcessRunner::Result terminate() = 0;
};

// Starts `executable` with `arguments`; `onOutput` sees the output as it arrives (on another thread).
using StartLongRunningFunction = std::function<expected<std::unique_ptr<LongRunningChild>, ProcessRunnerError>(
    const std::filesystem::path& executable, const std::vector<std::string>& arguments, OutputCallback onOutput)>;

// A StartLongRunningFunction over `runner`'s startLongRunning (`runner` must outlive it). With
// `keepOutput` false, output seen by onOutput is not also kept for the result (see
// ProcessExecution::keepOutput): for children that print without end.
[[nodiscard]] StartLongRunningFunction makeStartLongRunningFunction(const ProcessRunner& runner,
                                                                    bool keepOutput = true);

}  // namespace orvanta
