#include "mcp/mcp_server.hpp"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <ostream>
#include <thread>

#include "app/environment.hpp"
#include "mcp/tool_arguments.hpp"
#include "orvanta_config.hpp"
#include "support/json_text.hpp"

namespace orvanta {

const std::vector<std::string>& supportedProtocolVersions() {
  static const std::vector<std::string> versions{"2025-11-25", "2025-06-18", "2025-03-26", "2024-11-05",
                                                 "2024-10-07"};
  return versions;
}

namespace {

using Json = nlohmann::json;

// JSON-RPC's error codes.
constexpr int parseError = -32700;
constexpr int invalidRequest = -32600;
constexpr int methodNotFound = -32601;
constexpr int invalidParams = -32602;

const std::vector<std::string> logLevels{"debug", "info", "notice", "warning", "error", "critical", "alert", "emergency"};

int levelIndex(const std::string& level) {
  for (std::size_t i = 0; i < logLevels.size(); ++i) {
    if (logLevels[i] == level) return static_cast<int>(i);
  }
  return -1;
}

Json toolListing(const ToolDefinition& tool) {
  Json listing = {{"name", tool.name},
                  {"title", tool.title},
                  {"description", tool.description},
                  {"inputSchema", tool.inputSchema},
                  {"annotations",
                   {{"title", tool.title},
                    {"readOnlyHint", tool.annotations.readOnly},
                    {"destructiveHint", tool.annotations.destructive},
                    {"idempotentHint", tool.annotations.idempotent},
                    {"openWorldHint", tool.annotations.openWorld}}}};
  if (tool.outputSchema) listing["outputSchema"] = *tool.outputSchema;
  return listing;
}

// A failure as the text a person or an agent reads: the sentence, then the hints on lines of their own.
std::string failureText(const CommandFailure& failure) {
  std::string text = failure.message;
  for (const auto& hint : failure.hints) text += "\n" + hint;
  return text;
}

Json callResult(const ToolResult& result) {
  if (result.failure) {
    return {{"content", Json::array({{{"type", "text"}, {"text", failureText(*result.failure)}}})},
            {"isError", true}};
  }
  Json content = Json::array();
  content.push_back({{"type", "text"}, {"text", result.document.dump(2, ' ', false, Json::error_handler_t::replace)}});
  for (const auto& block : result.extraContent) content.push_back(block);
  Json structured = result.document.is_object() ? result.document : Json{{"items", result.document}};
  return {{"content", std::move(content)}, {"structuredContent", std::move(structured)}, {"isError", false}};
}

class Server {
 public:
  explicit Server(McpServerOptions options) : options_(std::move(options)) {
    if (options_.tools.empty()) options_.tools = allTools();
  }

  int run(const orvanta::stop_token& stop) {
    std::string buffer;
    bool discarding = false;
    bool inputFailed = false;
    char chunk[64 * 1024];
    while (!stop.stop_requested() && !outputBroken_) {
      reapFinished();
      pollfd descriptor{options_.inputFd, POLLIN, 0};
      const int ready = ::poll(&descriptor, 1, 100);
      if (ready < 0 && errno == EINTR) continue;
      if (ready < 0) {
        diagnose(std::string("orvanta mcp: cannot wait for input: ") + std::strerror(errno));
        inputFailed = true;
        break;
      }
      if (ready == 0) continue;
      const ssize_t count = ::read(options_.inputFd, chunk, sizeof chunk);
      if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
      if (count < 0) {
        diagnose(std::string("orvanta mcp: cannot read input: ") + std::strerror(errno));
        inputFailed = true;
        break;
      }
      if (count == 0) break;
      std::string_view data(chunk, static_cast<std::size_t>(count));
      while (!data.empty()) {
        const auto newline = data.find('\n');
        const auto piece = data.substr(0, newline);
        if (!discarding) buffer.append(piece);
        if (!discarding && buffer.size() > options_.lineBudget) {
          // Too long to be one of ours: say so once, then skip to the end of the line.
          sendError(nullptr, parseError, "The message is longer than " + std::to_string(options_.lineBudget) + " bytes.");
          buffer.clear();
          discarding = true;
        }
        if (newline == std::string_view::npos) break;
        if (!discarding) handleLine(buffer);
        buffer.clear();
        discarding = false;
        data.remove_prefix(newline + 1);
      }
    }
    if (!discarding && !buffer.empty() && !stop.stop_requested()) handleLine(buffer);
    finish(stop.stop_requested() || outputBroken_);
    return inputFailed || outputBroken_ ? 1 : 0;
  }

 private:
  struct Call {
    Json id;
    orvanta::stop_source stop;
    std::atomic<bool> cancelled{false};
    std::atomic<bool> done{false};
    std::thread thread;
  };

  void diagnose(const std::string& line) {
    std::lock_guard lock(diagnosticsMutex_);
    if (options_.diagnostics != nullptr) *options_.diagnostics << line << '\n' << std::flush;
  }

  void send(const Json& message) {
    std::string text = message.dump(-1, ' ', false, Json::error_handler_t::replace);
    text += '\n';
    std::lock_guard lock(outputMutex_);
    if (outputBroken_) return;
    std::string_view rest = text;
    while (!rest.empty()) {
      const ssize_t written = ::write(options_.outputFd, rest.data(), rest.size());
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) {
        outputBroken_ = true;
        diagnose(std::string("orvanta mcp: cannot write output: ") + std::strerror(errno));
        return;
      }
      rest.remove_prefix(static_cast<std::size_t>(written));
    }
  }

  void sendResult(const Json& id, Json result) { send({{"jsonrpc", "2.0"}, {"id", id}, {"result", std::move(result)}}); }

  void sendError(const Json& id, int code, const std::string& message) {
    send({{"jsonrpc", "2.0"}, {"id", id}, {"error", {{"code", code}, {"message", message}}}});
  }

  void log(const std::string& level, const Json& data) {
    if (levelIndex(level) < minimumLevel_.load()) return;
    send({{"jsonrpc", "2.0"},
          {"method", "notifications/message"},
          {"params", {{"level", level}, {"logger", "orvanta"}, {"data", data}}}});
  }

  void handleLine(const std::string& line) {
    if (line.find_first_not_of(" \t\r") == std::string::npos) return;
    auto parsed = parseJsonText(line, options_.lineBudget);
    if (!parsed) {
      sendError(nullptr, parseError, "The message is not JSON: " + parsed.error());
      return;
    }
    const Json& message = *parsed;
    if (!message.is_object()) {
      sendError(nullptr, invalidRequest, "A message must be one JSON-RPC object (batches are not accepted).");
      return;
    }
    const auto id = message.find("id");
    const bool hasId = id != message.end();
    if (hasId && !id->is_string() && !id->is_number_integer()) {
      sendError(nullptr, invalidRequest, "A request's id must be a string or an integer.");
      return;
    }
    const Json replyId = hasId ? *id : Json(nullptr);
    if (message.value("jsonrpc", Json()) != "2.0") {
      if (hasId || !message.contains("method")) sendError(replyId, invalidRequest, "The message is not JSON-RPC 2.0.");
      return;
    }
    const auto method = message.find("method");
    if (method == message.end()) return;  // a response to a request we never send: nothing to do
    if (!method->is_string()) {
      if (hasId) sendError(replyId, invalidRequest, "The method must be a string.");
      return;
    }
    Json params = message.value("params", Json::object());
    if (!params.is_object()) {
      if (hasId) sendError(replyId, invalidParams, "The params must be an object.");
      return;
    }
    const std::string name = method->get<std::string>();
    if (!hasId) {
      handleNotification(name, params);
      return;
    }
    handleRequest(replyId, name, params);
  }

  void handleNotification(const std::string& method, const Json& params) {
    if (method == "notifications/cancelled") {
      const auto requestId = params.find("requestId");
      if (requestId == params.end()) return;
      std::lock_guard lock(callsMutex_);
      if (auto found = calls_.find(requestId->dump()); found != calls_.end()) {
        found->second->cancelled = true;
        found->second->stop.request_stop();
      }
    }
    // notifications/initialized and anything else need no answer.
  }

  void handleRequest(const Json& id, const std::string& method, const Json& params) {
    if (method == "initialize") {
      const auto requested = params.value("protocolVersion", Json());
      const auto& versions = supportedProtocolVersions();
      std::string chosen = versions.front();
      if (requested.is_string()) {
        for (const auto& version : versions) {
          if (version == requested.get<std::string>()) chosen = version;
        }
      }
      sendResult(id, {{"protocolVersion", chosen},
                      {"capabilities", {{"tools", {{"listChanged", false}}}, {"logging", Json::object()}}},
                      {"serverInfo", {{"name", "orvanta"}, {"title", "Orvanta"}, {"version", ORVANTA_VERSION}}},
                      {"instructions",
                       "Tools that act on a simulator take an optional \"device\" (udid or unique name); without "
                       "it they act on the remembered target (get_target, set_target). Destructive tools run only "
                       "with \"confirm\": true."}});
    } else if (method == "ping") {
      sendResult(id, Json::object());
    } else if (method == "tools/list") {
      listTools(id, params);
    } else if (method == "tools/call") {
      callTool(id, params);
    } else if (method == "logging/setLevel") {
      const int level = levelIndex(params.value("level", ""));
      if (level < 0) {
        sendError(id, invalidParams, "The level must be one of debug, info, notice, warning, error, critical, alert, emergency.");
        return;
      }
      minimumLevel_ = level;
      sendResult(id, Json::object());
    } else {
      sendError(id, methodNotFound, "Unknown method: " + method);
    }
  }

  void listTools(const Json& id, const Json& params) {
    std::size_t start = 0;
    if (auto cursor = params.find("cursor"); cursor != params.end() && !cursor->is_null()) {
      const std::string text = cursor->is_string() ? cursor->get<std::string>() : "";
      char* end = nullptr;
      const unsigned long long value = std::strtoull(text.c_str(), &end, 10);
      if (text.empty() || end == nullptr || *end != '\0' || value == 0 || value >= options_.tools.size()) {
        sendError(id, invalidParams, "The cursor is not one this server gave.");
        return;
      }
      start = static_cast<std::size_t>(value);
    }
    const std::size_t pageSize = std::max<std::size_t>(1, options_.toolsPageSize);
    const std::size_t end = std::min(options_.tools.size(), start + pageSize);
    Json listed = Json::array();
    for (std::size_t i = start; i < end; ++i) listed.push_back(toolListing(options_.tools[i]));
    Json result = {{"tools", std::move(listed)}};
    if (end < options_.tools.size()) result["nextCursor"] = std::to_string(end);
    sendResult(id, std::move(result));
  }

  void callTool(const Json& id, const Json& params) {
    const auto name = params.value("name", Json());
    if (!name.is_string()) {
      sendError(id, invalidParams, "tools/call needs the tool's name.");
      return;
    }
    const ToolDefinition* tool = nullptr;
    for (const auto& candidate : options_.tools) {
      if (candidate.name == name.get<std::string>()) tool = &candidate;
    }
    if (tool == nullptr) {
      sendError(id, invalidParams, "Unknown tool: " + name.get<std::string>());
      return;
    }
    Json arguments = params.value("arguments", Json::object());
    if (arguments.is_null()) arguments = Json::object();
    Json progressToken;
    if (auto meta = params.find("_meta"); meta != params.end() && meta->is_object()) {
      progressToken = meta->value("progressToken", Json());
    }
    auto call = std::make_shared<Call>();
    call->id = id;
    {
      std::lock_guard lock(callsMutex_);
      if (calls_.contains(id.dump())) {
        sendError(id, invalidRequest, "A request with this id is still running.");
        return;
      }
      calls_[id.dump()] = call;
      running_.push_back(call);
    }
    call->thread = std::thread([this, call, tool, arguments = std::move(arguments), progressToken] {
      runCall(*call, *tool, arguments, progressToken);
      call->done = true;
    });
  }

  void runCall(Call& call, const ToolDefinition& tool, const Json& arguments, const Json& progressToken) {
    const auto started = std::chrono::steady_clock::now();
    ToolResult result;
    std::optional<Environment> environment;
    if (auto problem = argumentProblem(tool.inputSchema, arguments)) {
      result = ToolResult::failed(CommandFailure::failure("invalidArguments", *problem));
    } else {
      environment.emplace(options_.xcrun);
      double lastProgress = 0;
      ToolCall context{*environment, arguments, call.stop.get_token(),
                       [&](double progress, double total, const std::string& message) {
                         if (progressToken.is_null()) return;
                         // Progress must grow with every notification.
                         progress = std::max(progress, lastProgress + 1e-3);
                         lastProgress = progress;
                         Json notification = {{"progressToken", progressToken}, {"progress", progress}};
                         if (total > 0) notification["total"] = total;
                         if (!message.empty()) notification["message"] = message;
                         send({{"jsonrpc", "2.0"}, {"method", "notifications/progress"}, {"params", notification}});
                       }};
      try {
        result = tool.handler(context);
      } catch (const std::exception& error) {
        result = ToolResult::failed(CommandFailure::failure("internal", std::string("Internal error: ") + error.what()));
      }
      if (auto gateProblem = environment->gateProblem(); result.failure && gateProblem) {
        result = ToolResult::failed(CommandFailure::failure(
            "gateUnavailable", gateProblem->description(),
            {"Changes to a simulator are refused until orvanta can lock it against other processes."}));
      }
      if (auto notice = environment->takeSettingsNotice()) log("warning", *notice);
    }
    const auto elapsed =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - started).count();
    log("debug", tool.name + (result.failure ? " failed (" + result.failure->caseName + ")" : " finished") + " in " +
                     std::to_string(elapsed) + " ms");
    // The id is free for the client to use again once the answer is on its way.
    {
      std::lock_guard lock(callsMutex_);
      calls_.erase(call.id.dump());
    }
    // A cancelled request gets no answer: the client has stopped waiting for one.
    if (call.cancelled) return;
    sendResult(call.id, callResult(result));
  }

  // Joins the threads of the calls that have answered.
  void reapFinished() {
    std::vector<std::shared_ptr<Call>> finished;
    {
      std::lock_guard lock(callsMutex_);
      for (auto it = running_.begin(); it != running_.end();) {
        if ((*it)->done) {
          finished.push_back(*it);
          it = running_.erase(it);
        } else {
          ++it;
        }
      }
    }
    for (auto& call : finished) call->thread.join();
  }

  // Waits for every call: cancelled first when `cancel`, else answered as they finish.
  void finish(bool cancel) {
    std::list<std::shared_ptr<Call>> remaining;
    {
      std::lock_guard lock(callsMutex_);
      remaining.swap(running_);
    }
    for (auto& call : remaining) {
      if (cancel) call->stop.request_stop();
    }
    for (auto& call : remaining) call->thread.join();
  }

  McpServerOptions options_;
  std::mutex outputMutex_;
  std::atomic<bool> outputBroken_{false};
  std::mutex diagnosticsMutex_;
  std::atomic<int> minimumLevel_{levelIndex("info")};
  std::mutex callsMutex_;
  std::map<std::string, std::shared_ptr<Call>> calls_;  // the calls in progress, by their id's JSON text
  std::list<std::shared_ptr<Call>> running_;              // every call whose thread is not joined yet
};

}  // namespace

int runMcpServer(McpServerOptions options, orvanta::stop_token stop) {
  Server server(std::move(options));
  return server.run(stop);
}

}  // namespace orvanta
