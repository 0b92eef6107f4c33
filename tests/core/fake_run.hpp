// A RunFunction for tests: records every argv and replays canned outputs.
#pragma once

#include <deque>
#include <filesystem>
#include <string>
#include <vector>

#include "core/process_runner.hpp"
#include "tests/support/test_files.hpp"

namespace orvanta::testing {

struct FakeRun {
  struct Call {
    std::filesystem::path executable;
    std::vector<std::string> arguments;
  };
  std::vector<Call> calls;
  std::deque<ProcessRunner::Result> replies;

  void reply(std::string stdoutText, int status = 0, std::string stderrText = {}) {
    replies.push_back(ProcessRunner::Output{ByteBuffer(stdoutText), ByteBuffer(stderrText), status, false});
  }
  void fail(ProcessRunnerError error) { replies.push_back(unexpected(std::move(error))); }

  RunFunction function() {
    return [this](const std::filesystem::path& executable, const std::vector<std::string>& arguments,
                  orvanta::stop_token) -> ProcessRunner::Result {
      calls.push_back({executable, arguments});
      if (replies.empty()) return ProcessRunner::Output{};
      auto next = std::move(replies.front());
      replies.pop_front();
      return next;
    };
  }
};

}  // namespace orvanta::testing
