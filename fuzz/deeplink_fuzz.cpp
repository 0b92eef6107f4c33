// Feeds arbitrary bytes to the deep-link readers: URL validation, and the URL schemes read from an
// Info.plist (any of the three formats), plus the container and openurl diagnostics' classifiers.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "support/property_list.hpp"
#include "tools/deeplink/app_url_scheme_service.hpp"
#include "tools/deeplink/deep_link_service.hpp"
#include "tools/deeplink/deep_link_validation.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);

  if (auto link = orvanta::validateDeepLink(bytes)) {
    // What is sent is the input without its ends, never longer, and the scheme is never empty.
    if (link->urlString.empty() || link->urlString.size() > size || link->kind.scheme.empty()) __builtin_trap();
    if (bytes.find(link->urlString) == std::string_view::npos) __builtin_trap();
  } else if (link.error().description().empty()) {
    __builtin_trap();
  }

  if (auto plist = orvanta::parsePropertyList(bytes)) {
    for (const auto& scheme : orvanta::declaredURLSchemes(*plist)) {
      if (scheme.scheme.empty()) __builtin_trap();
    }
  }

  (void)orvanta::classifyAppContainerFailure(1, bytes);
  (void)orvanta::isNoHandlerDiagnostic(bytes);
  return 0;
}
