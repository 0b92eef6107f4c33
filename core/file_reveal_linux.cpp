#include "core/file_reveal.hpp"
#include "core/host_pasteboard.hpp"

namespace orvanta {

expected<RevealCommand, std::string> revealCommandFor(const std::filesystem::path& file) {
  auto opener = detail::findOnPath({"xdg-open"});
  if (!opener) return unexpected(std::string("Couldn't open the file browser: xdg-open is not installed."));
  auto folder = file.parent_path();
  if (folder.empty()) folder = ".";
  return RevealCommand{*opener, {folder.string()}};
}

}  // namespace orvanta
