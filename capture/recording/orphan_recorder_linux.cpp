#include "capture/recording/orphan_recorder.hpp"

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

namespace orvanta {

void endOrphanRecorders(const std::filesystem::path& folder) {
  const std::string marker = folder.string() + "/";
  std::vector<pid_t> recorders;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
    const auto name = entry.path().filename().string();
    if (name.empty() || name.find_first_not_of("0123456789") != std::string::npos) continue;
    struct stat info {};
    if (::stat(entry.path().c_str(), &info) != 0 || info.st_uid != ::geteuid()) continue;
    std::ifstream file(entry.path() / "cmdline", std::ios::binary);
    std::string arguments;
    arguments.resize(64 * 1024);
    file.read(arguments.data(), static_cast<std::streamsize>(arguments.size()));
    arguments.resize(static_cast<std::size_t>(file.gcount()));
    if (arguments.find(marker) == std::string::npos) continue;
    recorders.push_back(static_cast<pid_t>(std::stol(name)));
  }
  if (recorders.empty()) return;
  for (pid_t pid : recorders) ::kill(pid, SIGINT);
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(2);
  for (pid_t pid : recorders) {
    while (::kill(pid, 0) == 0 && std::chrono::steady_clock::now() < giveUp) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    if (::kill(pid, 0) == 0) ::kill(pid, SIGKILL);
  }
}

}  // namespace orvanta
