// There is no simulator device window to stand beside off macOS: the panel is a free window.
#include "viewmodels/window_list.hpp"

namespace orvanta {
namespace {

class NoWindowListReader final : public WindowListReader {
 public:
  [[nodiscard]] bool available() const override { return false; }
  [[nodiscard]] std::vector<WindowRecord> deviceWindows() override { return {}; }
};

}  // namespace

std::unique_ptr<WindowListReader> makeWindowListReader() { return std::make_unique<NoWindowListReader>(); }

}  // namespace orvanta
