#include "app/environment.hpp"

#include <cstdlib>

#include "app/command.hpp"

namespace orvanta {

namespace {
std::filesystem::path resolveXcrun(const GlobalOptions& options) {
  if (options.xcrun) return *options.xcrun;
  if (const char* fromEnvironment = std::getenv("ORVANTA_XCRUN"); fromEnvironment && *fromEnvironment) {
    return fromEnvironment;
  }
  return std::filesystem::path("/usr/bin") / "xcrun";
}
}  // namespace

Environment::Environment(const GlobalOptions& options)
    : run_(makeRunFunction(runner_)), xcrun_(resolveXcrun(options)) {}

}  // namespace orvanta
