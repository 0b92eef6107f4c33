// Checks run on XML and binary property lists before libplist reads them.
//
// libplist 2.2 recurses once per nesting level and copies a binary object once per reference to it, so
// a small hostile file can exhaust the stack or the memory. These checks bound both, without building
// anything, and report the problem as a PropertyListError. Pure functions; thread-safe.
#pragma once

#include <string_view>

#include "support/expected.hpp"
#include "support/property_list.hpp"

namespace orvanta::detail {

// Well-formed XML (expat's reason and position otherwise), no entity declarations, at most
// propertyListMaxDepth <array> and <dict> elements nested, and no element deeper than such a nest needs.
[[nodiscard]] expected<void, PropertyListError> checkXmlPropertyList(std::string_view xml);

// A "bplist00" document whose trailer, offsets and references stay inside the input, whose objects form
// no cycle, whose containers nest no deeper than propertyListMaxDepth, and whose expansion into a tree
// (every reference a copy) stays within a budget proportional to the input.
[[nodiscard]] expected<void, PropertyListError> checkBinaryPropertyList(std::string_view bytes);

}  // namespace orvanta::detail
