// The MCP server: its framing, negotiation and errors with tools made for the test (in-process, over
// pipes), and the real tools over the emulator through `orvanta mcp`.
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "mcp/mcp_server.hpp"
#include "tests/cli/cli_harness.hpp"

namespace orvanta {
namespace {

using Json = nlohmann::json;
using namespace std::chrono_literals;

// A server on a thread of its own, spoken to through a pair of pipes.
class ServerHarness {
 public:
  explicit ServerHarness(std::vector<ToolDefinition> tools, std::size_t lineBudget = 1024 * 1024,
                         std::size_t pageSize = 64) {
    int input[2];
    int output[2];
    EXPECT_EQ(::pipe2(input, O_CLOEXEC), 0);
    EXPECT_EQ(::pipe2(output, O_CLOEXEC), 0);
    toServer_ = input[1];
    fromServer_ = output[0];
    McpServerOptions options;
    options.inputFd = input[0];
    options.outputFd = output[1];
    options.tools = std::move(tools);
    options.lineBudget = lineBudget;
    options.toolsPageSize = pageSize;
    serverInput_ = input[0];
    serverOutput_ = output[1];
    thread_ = std::thread([this, options = std::move(options)]() mutable {
      status_ = runMcpServer(std::move(options), stop_.get_token());
      exited_ = true;
    });
  }
  ~ServerHarness() {
    closeInput();
    stop_.request_stop();
    if (thread_.joinable()) thread_.join();
    for (int fd : {serverInput_, serverOutput_, fromServer_}) ::close(fd);
  }

  void sendRaw(const std::string& text) {
    ASSERT_EQ(::write(toServer_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  void send(const Json& message) { sendRaw(message.dump() + "\n"); }
  void closeInput() {
    if (toServer_ >= 0) ::close(toServer_);
    toServer_ = -1;
  }
  // The next message the server writes; null after `timeout` without one.
  Json receive(std::chrono::milliseconds timeout = 5s) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (true) {
      if (auto newline = pending_.find('\n'); newline != std::string::npos) {
        auto line = pending_.substr(0, newline);
        pending_.erase(0, newline + 1);
        return Json::parse(line);
      }
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
      if (left.count() <= 0) return nullptr;
      pollfd descriptor{fromServer_, POLLIN, 0};
      if (::poll(&descriptor, 1, static_cast<int>(left.count())) <= 0) continue;
      char chunk[4096];
      const ssize_t count = ::read(fromServer_, chunk, sizeof chunk);
      if (count <= 0) return nullptr;
      pending_.append(chunk, static_cast<std::size_t>(count));
    }
  }
  Json request(int id, const std::string& method, Json params = Json::object()) {
    send({{"jsonrpc", "2.0"}, {"id", id}, {"method", method}, {"params", params}});
    return receive();
  }
  // Waits for the server to return after its input closed.
  bool waitForExit(std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!exited_ && std::chrono::steady_clock::now() < deadline) std::this_thread::sleep_for(10ms);
    return exited_;
  }

 private:
  int toServer_ = -1, fromServer_ = -1, serverInput_ = -1, serverOutput_ = -1;
  std::string pending_;
  orvanta::stop_source stop_;
  std::thread thread_;
  std::atomic<int> status_{-1};
  std::atomic<bool> exited_{false};
};

ToolDefinition echoTool() {
  return {"echo", "Echo", "Returns its text.",
          schema::object({{"text", schema::string("text")}, {"count", schema::integer("count", 1, 3)}}, {"text"}),
          std::nullopt, {.readOnly = true}, false, false,
          [](ToolCall& call) { return ToolResult::of({{"text", *call.string("text")}}); }};
}

// Reports progress, then waits until it is cancelled (or 10 s pass) and says which.
ToolDefinition waitTool(std::atomic<bool>& finished) {
  return {"wait", "Wait", "Waits for cancellation.", schema::object({}), std::nullopt, {}, false, false,
          [&finished](ToolCall& call) {
            call.progress(1, 2, "waiting");
            const auto deadline = std::chrono::steady_clock::now() + 10s;
            while (!call.stop.stop_requested() && std::chrono::steady_clock::now() < deadline) std::this_thread::sleep_for(10ms);
            finished = true;
            return call.stop.stop_requested() ? ToolResult::failed(CommandFailure::interrupted())
                                              : ToolResult::of({{"waited", true}});
          }};
}

TEST(McpServer, NegotiatesTheRevisionAndAnswersPing) {
  ServerHarness server({echoTool()});
  for (const auto& [asked, answered] : std::vector<std::pair<Json, std::string>>{
           {"2025-11-25", "2025-11-25"}, {"2025-06-18", "2025-06-18"}, {"2024-11-05", "2024-11-05"},
           {"2099-01-01", "2025-11-25"}, {nullptr, "2025-11-25"}}) {
    SCOPED_TRACE(asked.dump());
    auto reply = server.request(1, "initialize",
                                {{"protocolVersion", asked}, {"capabilities", Json::object()},
                                 {"clientInfo", {{"name", "test"}, {"version", "1"}}}});
    EXPECT_EQ(reply["id"], 1);
    EXPECT_EQ(reply["result"]["protocolVersion"], answered);
    EXPECT_TRUE(reply["result"]["capabilities"].contains("tools"));
    EXPECT_TRUE(reply["result"]["capabilities"].contains("logging"));
  }
  server.send({{"jsonrpc", "2.0"}, {"method", "notifications/initialized"}});
  EXPECT_EQ(server.request(2, "ping"), Json({{"jsonrpc", "2.0"}, {"id", 2}, {"result", Json::object()}}));
}

TEST(McpServer, FramesMessagesByLineWhateverTheWritesAre) {
  ServerHarness server({echoTool()});
  // Two messages in one write, one split over writes, blank lines and a CRLF ending.
  server.sendRaw("{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"ping\"}\n\n{\"jsonrpc\":\"2.0\",\"id\":\"two\",\"met");
  EXPECT_EQ(server.receive()["id"], 1);
  server.sendRaw("hod\":\"ping\"}\r\n   \n");
  EXPECT_EQ(server.receive()["id"], "two");
  // The last message may end with the input instead of a newline; the server then exits by itself.
  server.sendRaw("{\"jsonrpc\":\"2.0\",\"id\":3,\"method\":\"ping\"}");
  server.closeInput();
  EXPECT_EQ(server.receive()["id"], 3);
  EXPECT_TRUE(server.waitForExit(5s));
}

TEST(McpServer, MalformedMessagesAreProtocolErrorsAndTheServerCarriesOn) {
  ServerHarness server({echoTool()}, 4096);
  const std::string deep = std::string(70, '[') + std::string(70, ']');
  struct Case {
    std::string line;
    Json id;
    int code;
  };
  for (const auto& [line, id, code] : std::vector<Case>{
           {"this is not json", nullptr, -32700},
           {"{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"ping\"", nullptr, -32700},
           {"{\"jsonrpc\":\"2.0\",\"id\":2,\"params\":" + deep + ",\"method\":\"ping\"}", nullptr, -32700},
           {"[{\"jsonrpc\":\"2.0\",\"id\":3,\"method\":\"ping\"}]", nullptr, -32600},
           {"{\"jsonrpc\":\"1.0\",\"id\":4,\"method\":\"ping\"}", 4, -32600},
           {"{\"jsonrpc\":\"2.0\",\"id\":{\"x\":1},\"method\":\"ping\"}", nullptr, -32600},
           {"{\"jsonrpc\":\"2.0\",\"id\":5,\"method\":\"resources/list\"}", 5, -32601},
           {"{\"jsonrpc\":\"2.0\",\"id\":6,\"method\":\"tools/call\",\"params\":{\"name\":\"nope\"}}", 6, -32602},
           {"{\"jsonrpc\":\"2.0\",\"id\":7,\"method\":\"tools/call\",\"params\":[]}", 7, -32602},
           {"{\"jsonrpc\":\"2.0\",\"id\":8,\"method\":\"logging/setLevel\",\"params\":{\"level\":\"loud\"}}", 8, -32602},
           {"{\"jsonrpc\":\"2.0\",\"id\":9,\"method\":\"tools/list\",\"params\":{\"cursor\":\"x\"}}", 9, -32602},
           {"{\"jsonrpc\":\"2.0\",\"id\":10,\"method\":\"ping\",\"pad\":\"" + std::string(5000, 'a') + "\"}", nullptr, -32700},
       }) {
    SCOPED_TRACE(line.substr(0, 80));
    server.sendRaw(line + "\n");
    auto reply = server.receive();
    EXPECT_EQ(reply["id"], id);
    EXPECT_EQ(reply["error"]["code"], code) << reply.dump();
  }
  // Notifications get no answer, known or not; the next request is answered as usual.
  server.send({{"jsonrpc", "2.0"}, {"method", "notifications/whatever"}});
  EXPECT_EQ(server.request(11, "ping")["id"], 11);
}

TEST(McpServer, ArgumentsOutsideTheSchemaAreToolErrors) {
  ServerHarness server({echoTool()});
  auto call = [&](Json arguments) {
    return server.request(1, "tools/call", {{"name", "echo"}, {"arguments", arguments}})["result"];
  };
  auto fine = call({{"text", "hi"}, {"count", 2}});
  EXPECT_EQ(fine["isError"], false);
  EXPECT_EQ(fine["structuredContent"], Json({{"text", "hi"}}));
  EXPECT_EQ(Json::parse(fine["content"][0]["text"].get<std::string>()), Json({{"text", "hi"}}));
  for (const auto& [arguments, sentence] : std::vector<std::pair<Json, std::string>>{
           {Json::object(), "The argument \"text\" is required."},
           {{{"text", 1}}, "The argument \"text\" must be a string."},
           {{{"text", "a"}, {"count", 2.5}}, "The argument \"count\" must be an integer."},
           {{{"text", "a"}, {"count", 9}}, "The argument \"count\" must be at most 3."},
           {{{"text", "a"}, {"color", "red"}}, "The tool takes no argument \"color\"."},
       }) {
    SCOPED_TRACE(arguments.dump());
    auto result = call(arguments);
    EXPECT_EQ(result["isError"], true);
    EXPECT_EQ(result["content"][0]["text"], sentence);
    EXPECT_FALSE(result.contains("structuredContent"));
  }
}

TEST(McpServer, ListsToolsPageByPage) {
  std::vector<ToolDefinition> tools;
  for (const char* name : {"a", "b", "c", "d", "e"}) {
    auto tool = echoTool();
    tool.name = name;
    tools.push_back(tool);
  }
  ServerHarness server(tools, 1024 * 1024, 2);
  std::vector<std::string> names;
  Json params = Json::object();
  for (int page = 0; page < 5; ++page) {
    auto reply = server.request(page, "tools/list", params)["result"];
    for (const auto& tool : reply["tools"]) {
      names.push_back(tool["name"]);
      EXPECT_EQ(tool["inputSchema"]["additionalProperties"], false);
      EXPECT_EQ(tool["annotations"]["readOnlyHint"], true);
    }
    if (!reply.contains("nextCursor")) break;
    params = {{"cursor", reply["nextCursor"]}};
  }
  EXPECT_EQ(names, (std::vector<std::string>{"a", "b", "c", "d", "e"}));
}

TEST(McpServer, ACancelledCallStopsAndIsNotAnsweredWhileOthersGoOn) {
  std::atomic<bool> finished{false};
  ServerHarness server({echoTool(), waitTool(finished)});
  server.request(1, "logging/setLevel", {{"level", "debug"}});
  server.send({{"jsonrpc", "2.0"}, {"id", 7}, {"method", "tools/call"},
               {"params", {{"name", "wait"}, {"arguments", Json::object()}, {"_meta", {{"progressToken", "p7"}}}}}});
  auto progress = server.receive();
  EXPECT_EQ(progress["method"], "notifications/progress");
  EXPECT_EQ(progress["params"]["progressToken"], "p7");
  EXPECT_EQ(progress["params"]["total"], 2);
  EXPECT_EQ(progress["params"]["message"], "waiting");
  // The waiting call does not hold the others up.
  auto echoed = server.request(8, "tools/call", {{"name", "echo"}, {"arguments", {{"text", "meanwhile"}}}});
  while (echoed.contains("method")) echoed = server.receive();  // the log line of the call
  EXPECT_EQ(echoed["id"], 8);
  EXPECT_FALSE(finished);

  const auto cancelledAt = std::chrono::steady_clock::now();
  server.send({{"jsonrpc", "2.0"}, {"method", "notifications/cancelled"}, {"params", {{"requestId", 7}, {"reason", "test"}}}});
  // The log line says the call ended; no answer for request 7 comes.
  for (Json message = server.receive(2s); !message.is_null(); message = server.receive(500ms)) {
    EXPECT_NE(message.value("id", Json()), 7) << message.dump();
  }
  EXPECT_TRUE(finished);
  EXPECT_LT(std::chrono::steady_clock::now() - cancelledAt, 5s);
  EXPECT_EQ(server.request(9, "ping")["id"], 9);
}

TEST(McpServer, InputClosedWaitsForCallsInFlightThenExits) {
  auto slow = echoTool();
  slow.handler = [](ToolCall& call) {
    std::this_thread::sleep_for(300ms);
    return ToolResult::of({{"text", *call.string("text")}});
  };
  ServerHarness server({slow});
  server.send({{"jsonrpc", "2.0"}, {"id", 1}, {"method", "tools/call"}, {"params", {{"name", "echo"}, {"arguments", {{"text", "late"}}}}}});
  server.closeInput();
  auto reply = server.receive();
  EXPECT_EQ(reply["result"]["structuredContent"]["text"], "late");
  EXPECT_TRUE(server.waitForExit(5s));
}

// ---- the real tools, through `orvanta mcp` over the emulator ----------------------------------------------

class McpProgramTest : public testing::TargetedCliTest {
 protected:
  // Runs `orvanta mcp` with these requests (an initialize first) and returns the answers by id.
  std::map<int, Json> session(const std::vector<Json>& calls) {
    std::string input = Json({{"jsonrpc", "2.0"}, {"id", 0}, {"method", "initialize"},
                              {"params", {{"protocolVersion", "2025-11-25"}, {"capabilities", Json::object()},
                                          {"clientInfo", {{"name", "test"}, {"version", "1"}}}}}})
                            .dump() + "\n";
    int id = 1;
    for (const auto& call : calls) {
      input += Json({{"jsonrpc", "2.0"}, {"id", id++}, {"method", "tools/call"}, {"params", call}}).dump() + "\n";
    }
    auto result = orvanta({"mcp"}, input);
    EXPECT_EQ(result.status, 0) << result.err;
    std::map<int, Json> answers;
    std::istringstream lines(result.out);
    for (std::string line; std::getline(lines, line);) {
      auto message = Json::parse(line);  // every line on stdout is a message
      if (message.contains("id")) answers[message["id"].get<int>()] = message;
    }
    return answers;
  }
  static Json tool(const std::string& name, Json arguments = Json::object()) {
    return {{"name", name}, {"arguments", std::move(arguments)}};
  }
};

TEST_F(McpProgramTest, ToolsAnswerWithTheCommandLinesJson) {
  auto answers = session({tool("list_devices"), tool("get_target")});
  ASSERT_EQ(answers.size(), 3u);
  const auto devices = orvanta({"devices", "--json"}).json();
  EXPECT_EQ(answers[1]["result"]["structuredContent"]["items"], devices);
  EXPECT_EQ(Json::parse(answers[1]["result"]["content"][0]["text"].get<std::string>()), devices);
  EXPECT_EQ(answers[2]["result"]["structuredContent"], orvanta({"target", "--json"}).json());

  // A change, read back the next time; and the same change as the command line reports it.
  answers = session({tool("set_appearance", {{"appearance", "dark"}})});
  EXPECT_EQ(answers[1]["result"]["structuredContent"]["value"], "dark");
  EXPECT_EQ(answers[1]["result"]["structuredContent"]["confirmed"], true);
  answers = session({tool("get_appearance")});
  EXPECT_EQ(answers[1]["result"]["structuredContent"], orvanta({"ui", "appearance", "--json"}).json());
  EXPECT_EQ(answers[1]["result"]["structuredContent"]["value"], "dark");
}

TEST_F(McpProgramTest, DeviceArgumentAndItsRefusals) {
  // The named device instead of the target; a device that is not booted, a name that matches nothing and
  // a name that two devices share are refused with the command line's sentences.
  auto answers = session({tool("get_appearance", {{"device", testing::kIPhone15Old}}),
                          tool("get_appearance", {{"device", testing::kIPadPro}}),
                          tool("get_appearance", {{"device", "No Such Phone"}}),
                          tool("get_appearance", {{"device", "iPhone 15"}})});
  EXPECT_EQ(answers[1]["result"]["structuredContent"]["simulatorUDID"], testing::kIPhone15Old) << answers[1].dump();
  const auto text = [&](int id) { return answers[id]["result"]["content"][0]["text"].get<std::string>(); };
  for (int id : {2, 3, 4}) EXPECT_EQ(answers[id]["result"]["isError"], true) << id;
  EXPECT_TRUE(testing::contains(text(2), "The selected simulator is no longer booted.")) << text(2);
  EXPECT_TRUE(testing::contains(text(3), "No listed simulator has the udid or name \"No Such Phone\".")) << text(3);
  EXPECT_TRUE(testing::contains(text(4), "Several simulators are named \"iPhone 15\"; give a udid instead:")) << text(4);
  // Without a remembered target nothing is chosen for the caller, even with a simulator booted.
  ASSERT_EQ(orvanta({"target", "clear"}).status, 0);
  answers = session({tool("get_appearance")});
  EXPECT_EQ(answers[1]["result"]["isError"], true);
  const std::string sentence = "Choose a booted simulator.";
  EXPECT_TRUE(testing::contains(answers[1]["result"]["content"][0]["text"], sentence + "\n")) << answers[1].dump();
  EXPECT_TRUE(testing::contains(orvanta({"ui", "appearance"}).err, "orvanta: " + sentence + "\n"));
}

TEST_F(McpProgramTest, DestructiveToolsAskForConfirmAndChangeNothingWithoutIt) {
  const auto before = orvanta({"apps", "--json"}).json();
  ASSERT_FALSE(before.empty());
  std::string bundle;
  for (const auto& app : before) {
    if (app["kind"] == "user") bundle = app["bundleIdentifier"];
  }
  ASSERT_FALSE(bundle.empty());
  auto answers = session({tool("uninstall_app", {{"bundleIdentifier", bundle}}),
                          tool("erase_device", {{"device", testing::kIPhone16}, {"confirm", false}})});
  const auto& uninstall = answers[1]["result"];
  EXPECT_EQ(uninstall["isError"], true);
  EXPECT_TRUE(testing::contains(uninstall["content"][0]["text"], "Uninstall")) << uninstall.dump();
  EXPECT_TRUE(testing::contains(uninstall["content"][0]["text"], "\"confirm\": true"));
  const auto& erase = answers[2]["result"];
  EXPECT_EQ(erase["isError"], true);
  EXPECT_TRUE(testing::contains(erase["content"][0]["text"],
                                std::string("Erase all content and settings of iPhone 16 (") + testing::kIPhone16 + ")?"))
      << erase.dump();
  EXPECT_EQ(orvanta({"apps", "--json"}).json(), before);

  answers = session({tool("uninstall_app", {{"bundleIdentifier", bundle}, {"confirm", true}})});
  EXPECT_EQ(answers[1]["result"]["isError"], false) << answers[1].dump();
  EXPECT_EQ(answers[1]["result"]["structuredContent"]["bundleIdentifier"], bundle);
}

TEST_F(McpProgramTest, AWorkspaceIsRestoredAsTheCommandLineRestoresIt) {
  ASSERT_EQ(orvanta({"ui", "appearance", "dark"}).status, 0);
  ASSERT_EQ(orvanta({"workspace", "save", "Dark"}).status, 0);
  ASSERT_EQ(orvanta({"ui", "appearance", "light"}).status, 0);
  auto answers = session({tool("restore_workspace", {{"workspace", "Dark"}}),
                          tool("restore_workspace", {{"workspace", "Dark"}, {"confirm", true}}),
                          tool("restore_workspace", {{"workspace", "Nothing"}, {"confirm", true}})});
  EXPECT_EQ(answers[1]["result"]["isError"], true);
  EXPECT_TRUE(testing::contains(answers[1]["result"]["content"][0]["text"], "Restore Workspace: Dark")) << answers[1].dump();
  const auto& restored = answers[2]["result"];
  EXPECT_EQ(restored["isError"], false) << restored.dump();
  EXPECT_EQ(restored["structuredContent"]["stepResults"][0]["outcome"], "succeeded");
  EXPECT_EQ(orvanta({"ui", "appearance", "--json"}).json()["value"], "dark");
  EXPECT_EQ(answers[3]["result"]["isError"], true);
}

TEST_F(McpProgramTest, ScreenshotComesAsAnImageNoLargerThan2000Pixels) {
  auto answers = session({tool("take_screenshot")});
  const auto& result = answers[1]["result"];
  ASSERT_EQ(result["isError"], false) << result.dump();
  const auto& structured = result["structuredContent"];
  EXPECT_TRUE(std::filesystem::exists(structured["path"].get<std::string>()));
  ASSERT_EQ(result["content"].size(), 2u);
  EXPECT_EQ(result["content"][1]["type"], "image");
  EXPECT_EQ(result["content"][1]["mimeType"], "image/png");
  EXPECT_FALSE(result["content"][1]["data"].get<std::string>().empty());
}

TEST_F(McpProgramTest, DataToolsAnswerAsTheDataCommands) {
  const std::string query = "SELECT name, type FROM sqlite_master ORDER BY name";
  const std::string database = "Library/Application Support/Cafe.sqlite";
  auto answers = session({tool("data_ls", {{"bundleIdentifier", "com.example.cafe"}, {"recursive", true}}),
                          tool("data_sql", {{"bundleIdentifier", "com.example.cafe"}, {"path", database}, {"query", query}}),
                          tool("data_sql", {{"bundleIdentifier", "com.example.cafe"}, {"path", database},
                                            {"query", "DELETE FROM sqlite_master"}}),
                          tool("reset_app_data", {{"bundleIdentifier", "com.example.cafe"}}),
                          tool("data_inspect", {{"bundleIdentifier", "com.example.cafe"}, {"path", database}})});
  EXPECT_EQ(answers[1]["result"]["structuredContent"]["items"],
            orvanta({"data", "ls", "com.example.cafe", "--recursive", "--json"}).json());
  const auto rows = orvanta({"data", "sql", "com.example.cafe", database, query, "--json"}).json();
  ASSERT_FALSE(rows.empty());
  EXPECT_EQ(answers[2]["result"]["structuredContent"]["items"], rows);
  EXPECT_EQ(answers[3]["result"]["isError"], true);  // writing is refused
  EXPECT_EQ(answers[4]["result"]["isError"], true);
  EXPECT_TRUE(testing::contains(answers[4]["result"]["content"][0]["text"],
                                "? It is uninstalled and installed again from its installed build.\n"));
  EXPECT_EQ(answers[5]["result"]["structuredContent"],
            orvanta({"data", "inspect", "com.example.cafe", database, "--json"}).json());
  EXPECT_EQ(answers[5]["result"]["structuredContent"]["kind"], "sqlite");
  // A preference written is there when read, as the command line reads it.
  answers = session({tool("write_defaults", {{"bundleIdentifier", "com.example.cafe"}, {"key", "visits"},
                                             {"value", "7"}, {"type", "int"}})});
  EXPECT_EQ(answers[1]["result"]["structuredContent"]["confirmed"], true) << answers[1].dump();
  answers = session({tool("get_defaults", {{"bundleIdentifier", "com.example.cafe"}})});
  const auto defaults = orvanta({"defaults", "com.example.cafe", "--json"}).json();
  EXPECT_EQ(answers[1]["result"]["structuredContent"], defaults);
  EXPECT_EQ(defaults["values"]["visits"]["value"], 7);
}

// The long tools in this process's own server, cancelled while they run: each stops at once, gets no
// answer, and leaves no child (the log stream, the recorder) behind.
TEST_F(McpProgramTest, CancelledLongToolsStopAndLeaveNoChildBehind) {
  for (const auto& [key, value] : environmentForTest()) ::setenv(key.c_str(), value.c_str(), 1);
  for (const auto& [name, arguments] : std::vector<std::pair<std::string, Json>>{
           {"read_logs", {{"durationSeconds", 60}}}, {"record_video", {{"durationSeconds", 60}}}}) {
    SCOPED_TRACE(name);
    ServerHarness server(allTools());
    server.send({{"jsonrpc", "2.0"}, {"id", 1}, {"method", "tools/call"},
                 {"params", {{"name", name}, {"arguments", arguments}, {"_meta", {{"progressToken", 1}}}}}});
    // The first progress report comes once the child runs.
    auto progress = server.receive(10s);
    ASSERT_EQ(progress["method"], "notifications/progress") << progress.dump();
    EXPECT_GT(emulatorProcessesAlive(), 0);
    const auto cancelledAt = std::chrono::steady_clock::now();
    server.send({{"jsonrpc", "2.0"}, {"method", "notifications/cancelled"}, {"params", {{"requestId", 1}}}});
    server.closeInput();
    EXPECT_TRUE(server.waitForExit(10s));
    EXPECT_LT(std::chrono::steady_clock::now() - cancelledAt, 10s);
    for (Json message = server.receive(200ms); !message.is_null(); message = server.receive(200ms)) {
      EXPECT_FALSE(message.contains("id")) << message.dump();
    }
    EXPECT_EQ(emulatorProcessesAlive(), 0);
  }
}

}  // namespace
}  // namespace orvanta
