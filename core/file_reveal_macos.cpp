#include "core/file_reveal.hpp"

namespace orvanta {

expected<RevealCommand, std::string> revealCommandFor(const std::filesystem::path& file) {
  return RevealCommand{"/usr/bin/open", {"-R", file.string()}};
}

}  // namespace orvanta
