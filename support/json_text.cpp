#include "support/json_text.hpp"

namespace orvanta {

std::string plainJsonMessage(std::string_view what) {
  if (what.starts_with("[json.exception.")) {
    auto close = what.find("] ");
    if (close != std::string_view::npos) what.remove_prefix(close + 2);
  }
  return std::string(what);
}

}  // namespace orvanta
