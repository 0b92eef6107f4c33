// Delivers a simulated remote notification: `xcrun simctl push <udid> <bundle identifier> <payload file>`.
//
// A push does not take the simulator's mutation gate. It changes nothing that is installed on the
// simulator (no app, no container, no setting that another operation reads back), simctl delivers it
// whatever else runs, and a push that lands while an app is being replaced simply fails with simctl's own
// error. Holding the gate would only make sends fail while a long scenario or recording runs.
#pragma once

#include <filesystem>
#include <string>

#include "core/simctl_client.hpp"
#include "support/expected.hpp"
#include "support/stop_token.hpp"
#include "tools/push/push_error.hpp"

namespace orvanta {

// Thread-safe: it holds only the client, whose run function is thread-safe.
class PushSenderService {
 public:
  explicit PushSenderService(SimctlClient client, std::filesystem::path temporaryFolder);
  // Payload folders go to the user's scratch folder (scratchDirectory()).
  explicit PushSenderService(SimctlClient client);

  // Sends `payload` (as validatePushPayload returns it) to the app on the simulator. Refuses an empty
  // udid or "booted" with noSimulator and an empty bundle identifier with noApp before anything runs or
  // is written. The payload goes to "payload.apns" (mode 0600) in a new folder
  // "Orvanta-Push-<UPPER-CASE UUID>" (mode 0700) in the temporary folder, which is removed before this
  // returns, whatever the outcome. Fails with sendFailed carrying simctl's diagnostic (non-zero exit), the
  // system's message (the folder or file could not be made), or the runner's sentence (simctl could not
  // run, or the stop was requested). Blocks while simctl runs.
  [[nodiscard]] expected<void, PushError> send(const std::string& payload, const std::string& bundleIdentifier,
                                               const std::string& simulatorUDID, orvanta::stop_token stop = {}) const;

 private:
  SimctlClient client_;
  std::filesystem::path temporaryFolder_;
};

}  // namespace orvanta
