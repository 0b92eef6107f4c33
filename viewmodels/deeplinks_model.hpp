// The Deep links page: a URL checked as it is typed (its kind, or why it is not valid), the URL schemes the
// chosen app declares and whether the link's scheme is among them, favourites, history, and opening it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/deeplink/app_url_scheme_service.hpp"
#include "tools/deeplink/deep_link_store.hpp"
#include "tools/deeplink/deep_link_validation.hpp"
#include "viewmodels/page_model.hpp"

namespace orvanta {

struct DeepLinkCheck {
  bool valid = false;
  std::string text;  // "custom scheme “cafe”", "https", or the validation sentence; empty for no text
};

class DeepLinksModel : public PageModel {
 public:
  explicit DeepLinksModel(PanelSession& session);

  [[nodiscard]] const std::string& url() const { return url_; }
  void setURL(std::string text);
  [[nodiscard]] const DeepLinkCheck& check() const { return check_; }
  // Advice about the link and the chosen app's schemes (a custom scheme the app does not declare, ...).
  [[nodiscard]] std::vector<std::string> notes() const;

  // The chosen app; its declared schemes are read when it changes.
  [[nodiscard]] const std::string& bundleIdentifier() const { return bundleIdentifier_; }
  void setBundleIdentifier(std::string bundleIdentifier);
  [[nodiscard]] const std::optional<expected<std::vector<DeclaredURLScheme>, AppURLSchemeError>>& schemes() const {
    return schemes_;
  }

  [[nodiscard]] std::vector<DeepLinkFavorite> favorites() const;
  [[nodiscard]] std::vector<DeepLinkHistoryEntry> history() const;
  void addFavorite(const std::string& label);
  void removeFavorite(const std::string& id);

  void open();

 private:
  std::string url_;
  DeepLinkCheck check_;
  std::string bundleIdentifier_;
  std::optional<expected<std::vector<DeclaredURLScheme>, AppURLSchemeError>> schemes_;
  std::uint64_t schemesGeneration_ = 0;
};

}  // namespace orvanta
