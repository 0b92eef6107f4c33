// The bounds of the deep-link tool's remembered lists.
#pragma once

#include <cstddef>

namespace orvanta {

// Opened links kept in the history, newest first.
inline constexpr std::size_t maximumDeepLinkHistoryEntries = 25;
// Favourites kept; adding one more is refused rather than dropping an old one.
inline constexpr std::size_t maximumDeepLinkFavorites = 100;

}  // namespace orvanta
