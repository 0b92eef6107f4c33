#include "tools/push/push_sender_service.hpp"

#include "support/app_paths.hpp"
#include "support/private_directory.hpp"

namespace orvanta {
namespace {

// What simctl said about a failed push: its stderr, else its stdout, else the exit status.
std::string diagnostic(const ProcessRunner::Output& output) {
  return simctlFailureText(output);
}

// The system's own message for a file failure, without the path around it.
std::string systemReason(const FileError& error) {
  return error.message.empty() ? error.description() : error.message;
}

}  // namespace

PushSenderService::PushSenderService(SimctlClient client, std::filesystem::path temporaryFolder)
    : client_(std::move(client)), temporaryFolder_(std::move(temporaryFolder)) {}

PushSenderService::PushSenderService(SimctlClient client) : PushSenderService(std::move(client), scratchDirectory()) {}

expected<void, PushError> PushSenderService::send(const std::string& payload, const std::string& bundleIdentifier,
                                                  const std::string& simulatorUDID, orvanta::stop_token stop) const {
  if (simulatorUDID.empty() || simulatorUDID == "booted") return unexpected(PushError::noSimulator());
  if (bundleIdentifier.empty()) return unexpected(PushError::noApp());

  // Every send gets a folder of its own, so concurrent sends never share a file. The folder is removed
  // when `folder` goes out of scope, on every path out of this function: payloads never pile up in the
  // temporary folder.
  auto folder = PrivateDirectory::createUnique(temporaryFolder_, "Orvanta-Push-");
  if (!folder) return unexpected(PushError::sendFailed(systemReason(folder.error())));
  auto file = folder->writeFile("payload.apns", payload);
  if (!file) return unexpected(PushError::sendFailed(systemReason(file.error())));

  auto output = client_.simctl({"push", simulatorUDID, bundleIdentifier, file->string()}, std::move(stop));
  if (!output) return unexpected(PushError::sendFailed(output.error().description()));
  if (output->terminationStatus != 0 || output->terminatedBySignal) {
    return unexpected(PushError::sendFailed(diagnostic(*output)));
  }
  return {};
}

}  // namespace orvanta
