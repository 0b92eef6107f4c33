// A RunWithOptionsFunction that answers pbcopy, pbpaste and pbsync as simctl does (pbcopy prints nothing,
// pbpaste prints the text as is), over one pasteboard per udid, and records every call.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/host_pasteboard.hpp"
#include "core/process_runner.hpp"

namespace orvanta::testing {

struct FakePasteboardSimctl {
  struct Call {
    std::vector<std::string> arguments;
    std::optional<std::string> input;
    std::optional<std::map<std::string, std::string>> environment;
    std::optional<double> timeout;
  };
  std::vector<Call> calls;
  std::map<std::string, std::string> pasteboards;  // by udid
  InMemoryHostPasteboard* host = nullptr;          // what "pbsync host" reads
  bool pbcopyStoresNothing = false;                // the runtimes whose pbcopy exits 0 and keeps nothing
  // A failure for the next run of a subcommand: exit status and stderr.
  std::map<std::string, std::pair<int, std::string>> failures;
  // Runs after a subcommand was answered (a user copying something meanwhile).
  std::map<std::string, std::function<void()>> after;

  RunWithOptionsFunction function() {
    return [this](const std::filesystem::path&, const std::vector<std::string>& arguments,
                  const ProcessRunner::Options& options, orvanta::stop_token) -> ProcessRunner::Result {
      calls.push_back({arguments, options.standardInput, options.environmentOverrides, options.timeout});
      const std::string subcommand = arguments.size() > 1 ? arguments[1] : "";
      ProcessRunner::Output output;
      if (auto failure = failures.find(subcommand); failure != failures.end()) {
        output.terminationStatus = failure->second.first;
        output.stderr = ByteBuffer(failure->second.second);
        failures.erase(failure);
        return output;
      }
      if (subcommand == "pbcopy") {
        if (!pbcopyStoresNothing) pasteboards[arguments.at(2)] = options.standardInput.value_or("");
      } else if (subcommand == "pbpaste") {
        output.stdout = ByteBuffer(pasteboards[arguments.at(2)]);
      } else if (subcommand == "pbsync" && host != nullptr) {
        auto text = host->readText();
        pasteboards[arguments.at(3)] = text && *text ? **text : "";
      }
      if (auto hook = after.find(subcommand); hook != after.end()) hook->second();
      return output;
    };
  }

  std::vector<std::vector<std::string>> argumentLists() const {
    std::vector<std::vector<std::string>> lists;
    for (const auto& call : calls) lists.push_back(call.arguments);
    return lists;
  }
};

}  // namespace orvanta::testing
