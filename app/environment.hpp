// The environment that creates and owns the program's services and hands them to the commands.
#pragma once

#include <filesystem>

#include "core/process_runner.hpp"

namespace orvanta {

struct GlobalOptions;

// Created once per invocation on the main thread; services are created on first use.
class Environment {
 public:
  explicit Environment(const GlobalOptions& options);

  [[nodiscard]] const ProcessRunner& processRunner() const { return runner_; }
  [[nodiscard]] const RunFunction& run() const { return run_; }
  // --xcrun, else $ORVANTA_XCRUN when set and not empty, else /usr/bin/xcrun.
  [[nodiscard]] const std::filesystem::path& xcrunPath() const { return xcrun_; }

 private:
  ProcessRunner runner_;
  RunFunction run_;
  std::filesystem::path xcrun_;
};

}  // namespace orvanta
