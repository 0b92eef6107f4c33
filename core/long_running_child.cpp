#include "core/long_running_child.hpp"

namespace orvanta {
namespace {

class RunnerChild final : public LongRunningChild {
 public:
  explicit RunnerChild(std::unique_ptr<ProcessRunner::LongRunningProcess> process) : process_(std::move(process)) {}
  void sendSignal(int signal) override { process_->sendSignal(signal); }
  std::optional<ProcessRunner::Result> waitForResult(std::chrono::milliseconds limit) override {
    return process_->waitForResult(limit);
  }
  ProcessRunner::Result terminate() override {
    process_->execution().cancel();
    return process_->waitForResult();
  }

 private:
  std::unique_ptr<ProcessRunner::LongRunningProcess> process_;
};

}  // namespace

StartLongRunningFunction makeStartLongRunningFunction(const ProcessRunner& runner, bool keepOutput) {
  return [&runner, keepOutput](const std::filesystem::path& executable, const std::vector<std::string>& arguments,
                   OutputCallback onOutput) -> expected<std::unique_ptr<LongRunningChild>, ProcessRunnerError> {
    auto process = runner.startLongRunning(executable, arguments, std::move(onOutput), keepOutput);
    if (!process) return unexpected(process.error());
    return std::unique_ptr<LongRunningChild>(std::make_unique<RunnerChild>(std::move(*process)));
  };
}

}  // namespace orvanta
