// Pictures of the panel: each page shown in turn once its first calls have come back, grabbed into
// DIR/<page>.png ("devices.png", "deep-links.png", ...), then the command palette (command-palette.png).
#pragma once

#include <QString>
#include <filesystem>
#include <vector>

#include "support/expected.hpp"

namespace orvanta {

class PanelWindow;

// The file name of a page's picture: its title in lower case, spaces as hyphens, ".png".
[[nodiscard]] std::string pictureName(const QString& title);

// Writes one PNG per page and one of the palette into `folder` (created when missing); the files written, or a sentence.
[[nodiscard]] expected<std::vector<std::filesystem::path>, std::string> renderPages(PanelWindow& window,
                                                                                  const std::filesystem::path& folder);

}  // namespace orvanta
