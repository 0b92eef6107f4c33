#include "core/simulator_mutation_gate.hpp"

#include <unistd.h>

#include <fmt/format.h>

#include "support/app_paths.hpp"


namespace orvanta {

SimulatorMutationGate::SimulatorMutationGate(std::optional<std::filesystem::path> lockDirectory)
    : lockDirectory_(std::move(lockDirectory)) {}

SimulatorMutationGate::SimulatorMutationGate(FileError problem) : problem_(std::move(problem)) {}

std::optional<std::filesystem::path> SimulatorMutationGate::lockFile(const std::string& udid) const {
  if (!lockDirectory_) return std::nullopt;
  std::string name = "gate-";
  for (char c : udid) {
    const bool plain = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-';
    name += plain ? c : '_';
  }
  return *lockDirectory_ / (name + ".lock");
}

bool SimulatorMutationGate::acquire(const std::string& udid, std::string_view label) {
  if (holders_.contains(udid)) return false;
  // A gate that cannot reach other processes would let them change the simulator under us: refuse.
  if (problem_ && !lockDirectory_) return false;
  Hold hold{std::string(label), std::nullopt};
  if (auto path = lockFile(udid)) {
    if (auto ready = ensurePrivateDirectory(*lockDirectory_); !ready) {
      problem_ = ready.error();
      return false;
    }
    auto lock = FileLock::acquire(*path, FileLock::Wait::nonBlocking);
    if (!lock) {
      problem_ = lock.error();
      return false;
    }
    if (!*lock) return false;  // another process holds this simulator
    (void)(*lock)->writeNote(fmt::format("{} (pid {})", label, ::getpid()));
    hold.lock = std::move(**lock);
  }
  holders_.emplace(udid, std::move(hold));
  return true;
}

void SimulatorMutationGate::release(const std::string& udid, std::string_view label) {
  auto found = holders_.find(udid);
  if (found == holders_.end() || found->second.label != label) return;
  holders_.erase(found);
}

std::optional<std::string> SimulatorMutationGate::holder(const std::string& udid) const {
  auto found = holders_.find(udid);
  if (found == holders_.end()) return std::nullopt;
  return found->second.label;
}

std::optional<std::string> SimulatorMutationGate::otherProcessHolder(const std::string& udid) const {
  if (holders_.contains(udid)) return std::nullopt;
  auto path = lockFile(udid);
  if (!path) return std::nullopt;
  auto probe = FileLock::acquire(*path, FileLock::Wait::nonBlocking);
  if (!probe || *probe) return std::nullopt;  // free (or unusable): nobody else holds it
  auto note = FileLock::readNote(*path);
  if (!note || note->empty()) return std::string("another orvanta process");
  return *note;
}

}  // namespace orvanta
