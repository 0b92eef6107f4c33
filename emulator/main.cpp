// orvanta-simctl-emulator: stands in for `xcrun` on machines without Xcode. Invoked as
// `orvanta-simctl-emulator simctl <subcommand> ...`, it keeps simulated devices in a state folder
// ($ORVANTA_EMULATOR_HOME) and prints what simctl prints.
//
// Failures and slowness can be injected per subcommand, for tests, through $ORVANTA_EMULATOR_FAULTS or
// <home>/faults.json, both holding {"<subcommand>": {"delaySeconds": 1.5, "exit": 3, "stdout": "...",
// "stderr": "...", "times": 1}}. "times" (file only) limits how many invocations the fault affects.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "emulator/emulator.hpp"
#include "support/atomic_file.hpp"

namespace orvanta::emulator {
namespace {

void writeAll(int fd, const std::string& text) {
  std::size_t done = 0;
  while (done < text.size()) {
    ssize_t wrote = ::write(fd, text.data() + done, text.size() - done);
    if (wrote <= 0) return;
    done += static_cast<std::size_t>(wrote);
  }
}

struct Fault {
  double delaySeconds = 0;
  std::optional<int> exit;
  std::string out;
  std::string err;
};

std::optional<Fault> takeFault(const std::filesystem::path& home, const std::string& subcommand) {
  auto read = [&](const Json& rules) -> std::optional<Fault> {
    if (!rules.is_object() || !rules.contains(subcommand)) return std::nullopt;
    const Json& rule = rules[subcommand];
    Fault fault;
    fault.delaySeconds = rule.value("delaySeconds", 0.0);
    if (rule.contains("exit")) fault.exit = rule["exit"].get<int>();
    fault.out = rule.value("stdout", "");
    fault.err = rule.value("stderr", "");
    return fault;
  };
  if (const char* inline_ = std::getenv("ORVANTA_EMULATOR_FAULTS"); inline_ && *inline_) {
    auto rules = Json::parse(inline_, nullptr, false);
    if (auto fault = read(rules)) return fault;
  }
  const auto file = home / "faults.json";
  auto text = readFile(file, 1 << 20);
  if (!text || !*text) return std::nullopt;
  auto rules = Json::parse(**text, nullptr, false);
  auto fault = read(rules);
  if (fault && rules[subcommand].contains("times")) {
    int times = rules[subcommand]["times"].get<int>() - 1;
    if (times <= 0) {
      rules.erase(subcommand);
    } else {
      rules[subcommand]["times"] = times;
    }
    (void)writeFileAtomically(file, rules.dump(2));
  }
  return fault;
}

int run(int argc, char** argv) {
  if (argc < 3 || std::string(argv[1]) != "simctl") {
    writeAll(2, "usage: orvanta-simctl-emulator simctl <subcommand> [arguments]\n");
    return 64;
  }
  CommandTable table;
  registerDeviceCommands(table);
  registerControlsCommands(table);
  registerLocationCommands(table);
  registerAppsCommands(table);
  registerDeepLinkCommands(table);
  registerIoCommands(table);
  registerPushCommands(table);
  registerPrivacyCommands(table);
  registerLogCommands(table);
  registerPasteboardCommands(table);
  registerAppDataCommands(table);

  const std::string subcommand = argv[2];
  const auto home = emulatorHome();
  if (auto fault = takeFault(home, subcommand)) {
    if (fault->delaySeconds > 0) std::this_thread::sleep_for(std::chrono::duration<double>(fault->delaySeconds));
    if (fault->exit) {
      writeAll(1, fault->out);
      writeAll(2, fault->err);
      return *fault->exit;
    }
  }

  auto handler = table.find(subcommand);
  if (handler == table.end()) {
    writeAll(2, "Unrecognized subcommand: " + subcommand + "\nusage: simctl [--set <path>] [--profiles <path>] <subcommand> ...\n");
    return 64;
  }
  auto devices = DeviceSet::open(home);
  if (!devices) {
    writeAll(2, devices.error() + "\n");
    return 1;
  }
  Invocation call{subcommand, std::vector<std::string>(argv + 3, argv + argc), *devices, {}, {}};
  int status = handler->second(call);
  writeAll(1, call.out);
  writeAll(2, call.err);
  return status;
}

}  // namespace
}  // namespace orvanta::emulator

int main(int argc, char** argv) { return orvanta::emulator::run(argc, argv); }
