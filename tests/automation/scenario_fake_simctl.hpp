// A thread-safe RunFunction for the scenario tests: answers by simctl subcommand and records every argv.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "core/process_runner.hpp"

namespace orvanta::testing {

class FakeSimctl {
 public:
  using Answer = std::function<ProcessRunner::Output(const std::vector<std::string>& arguments)>;

  void on(const std::string& subcommand, std::string stdoutText, int status = 0, std::string stderrText = {}) {
    answers_[subcommand] = [=](const std::vector<std::string>&) {
      return ProcessRunner::Output{ByteBuffer(stdoutText), ByteBuffer(stderrText), status, false};
    };
  }
  void on(const std::string& subcommand, Answer answer) { answers_[subcommand] = std::move(answer); }

  RunFunction function() {
    return [this](const std::filesystem::path&, const std::vector<std::string>& arguments,
                  orvanta::stop_token) -> ProcessRunner::Result {
      {
        std::lock_guard lock(mutex_);
        calls_.push_back(arguments);
      }
      auto found = arguments.size() > 1 ? answers_.find(arguments[1]) : answers_.end();
      if (found == answers_.end()) return ProcessRunner::Output{};
      return found->second(arguments);
    };
  }

  // The argument lists after "simctl", joined by spaces, in call order.
  std::vector<std::string> calls() const {
    std::lock_guard lock(mutex_);
    std::vector<std::string> lines;
    for (const auto& call : calls_) {
      std::string line;
      for (std::size_t index = 1; index < call.size(); ++index) line += (index > 1 ? " " : "") + call[index];
      lines.push_back(line);
    }
    return lines;
  }

 private:
  std::map<std::string, Answer> answers_;
  mutable std::mutex mutex_;
  std::vector<std::vector<std::string>> calls_;
};

}  // namespace orvanta::testing
