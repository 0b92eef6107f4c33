#include "viewmodels/deeplinks_model.hpp"

#include "app/environment.hpp"
#include "tools/deeplink/deep_link_service.hpp"

namespace orvanta {

DeepLinksModel::DeepLinksModel(PanelSession& session) : PageModel(session) {
  session_.listen(lifetime_, [this] { changed(); });
}

void DeepLinksModel::setURL(std::string text) {
  url_ = std::move(text);
  if (trimDeepLinkWhitespace(url_).empty()) {
    check_ = {};
  } else if (auto link = validateDeepLink(url_)) {
    check_ = {true, link->kind.kind == DeepLinkKind::Case::custom
                        ? "custom scheme \xE2\x80\x9C" + link->kind.scheme + "\xE2\x80\x9D"
                        : link->kind.scheme};
  } else {
    check_ = {false, link.error().description()};
  }
  changed();
}

std::vector<std::string> DeepLinksModel::notes() const {
  if (!check_.valid || bundleIdentifier_.empty() || !schemes_) return {};
  auto link = validateDeepLink(url_);
  if (!link) return {};
  return deepLinkAppNotes(*link, bundleIdentifier_, *schemes_);
}

void DeepLinksModel::setBundleIdentifier(std::string bundleIdentifier) {
  bundleIdentifier_ = std::move(bundleIdentifier);
  schemes_.reset();
  const auto generation = ++schemesGeneration_;
  auto device = session_.target();
  if (bundleIdentifier_.empty() || !device) {
    changed();
    return;
  }
  using Outcome = expected<std::vector<DeclaredURLScheme>, AppURLSchemeError>;
  run<Outcome>(
      [run = session_.environment().run(), xcrun = session_.environment().xcrunPath(), bundle = bundleIdentifier_,
       udid = device->udid](const orvanta::stop_token& stop) {
        return AppURLSchemeService(run, xcrun).declaredSchemes(bundle, udid, stop);
      },
      [this, generation](Outcome declared) {
        if (generation == schemesGeneration_) schemes_ = std::move(declared);
      });
}

std::vector<DeepLinkFavorite> DeepLinksModel::favorites() const {
  return DeepLinkFavoriteStore(session_.environment().settings()).favorites();
}

std::vector<DeepLinkHistoryEntry> DeepLinksModel::history() const {
  return DeepLinkHistoryStore(session_.environment().settings()).entries();
}

void DeepLinksModel::addFavorite(const std::string& label) {
  auto added = DeepLinkFavoriteStore(session_.environment().settings()).add(url_, label);
  if (!added) return fail(added.error().description());
  succeed("Favorite \xE2\x80\x9C" + added->title() + "\xE2\x80\x9D added.");
}

void DeepLinksModel::removeFavorite(const std::string& id) {
  auto removed = DeepLinkFavoriteStore(session_.environment().settings()).remove(id);
  if (!removed) return fail(removed.error().description());
  succeed("Favorite \xE2\x80\x9C" + removed->title() + "\xE2\x80\x9D removed.");
}

void DeepLinksModel::open() {
  auto link = validateDeepLink(url_);
  if (!link) return fail(link.error().description());
  if (!requireTarget()) return;
  auto& environment = session_.environment();
  using Outcome = expected<DeepLinkLaunchResult, DeepLinkError>;
  run<Outcome>(
      [service = DeepLinkService({environment.run(), environment.xcrunPath(),
                                  std::make_shared<DeepLinkHistoryStore>(environment.settings())}),
       link = *link, status = session_.status()](const orvanta::stop_token& stop) mutable {
        return service.open(link, status, stop);
      },
      [this, name = session_.status().device->name](Outcome opened) {
        if (!opened) return fail(opened.error().description());
        succeed("Opened " + opened->urlString + " on " + name + ".");
      });
}

}  // namespace orvanta
