#include "panel/render.hpp"

#include <QPixmap>
#include <system_error>

#include "panel/panel_window.hpp"

namespace orvanta {

std::string pictureName(const QString& title) { return text(title.toLower().replace(' ', '-')) + ".png"; }

expected<std::vector<std::filesystem::path>, std::string> renderPages(PanelWindow& window,
                                                                      const std::filesystem::path& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) return unexpected("Could not create " + folder.string() + ": " + error.message() + ".");
  window.show();
  window.settle(30'000);
  std::vector<std::filesystem::path> written;
  for (auto* page : window.pages()) {
    window.page(page->title(), true);
    window.settle(30'000);
    page->showcase();
    window.settle(30'000);
    const auto path = folder / pictureName(page->title());
    if (!window.grab().save(QString::fromStdString(path.string()), "PNG")) {
      return unexpected("Could not write " + path.string() + ".");
    }
    written.push_back(path);
  }
  // Last, the command palette over the page, as someone starts to type.
  auto* palette = window.openPalette();
  palette->search()->setText("scr");
  window.settle(30'000);
  const auto path = folder / "command-palette.png";
  const bool saved = palette->grab().save(QString::fromStdString(path.string()), "PNG");
  palette->reject();
  if (!saved) return unexpected("Could not write " + path.string() + ".");
  written.push_back(path);
  return written;
}

}  // namespace orvanta
