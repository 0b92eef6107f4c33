// Feeds arbitrary bytes to the GPX route parser and checks what it promises about any route it returns.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "tools/location/gpx_route_parser.hpp"
#include "tools/location/gpx_timestamp.hpp"
#include "tools/location/location_route_playback.hpp"
#include "tools/location/route_name.hpp"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

// Counts code points, refusing anything that is not well-formed UTF-8 (as normalizeRouteName promises).
std::size_t codePoints(std::string_view text) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < text.size(); ++count) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const std::size_t size = lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    require(lead < 0x80 || (lead >= 0xC2 && lead <= 0xF4));
    require(i + size <= text.size());
    for (std::size_t j = 1; j < size; ++j) require((static_cast<unsigned char>(text[i + j]) & 0xC0) == 0x80);
    i += size;
  }
  return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const auto result = orvanta::GPXRouteParser::parse(bytes, "fuzz.gpx");
  if (!result) {
    require(!result.error().description().empty());
  } else {
    const auto& route = result->route;
    require(!route.segments.empty());
    for (const auto& segment : route.segments) {
      require(!segment.points.empty());
      for (const auto& point : segment.points) {
        require(point.latitude >= -90 && point.latitude <= 90);
        require(point.longitude >= -180 && point.longitude <= 180);
      }
    }
    require(!route.name.empty() && codePoints(route.name) <= orvanta::maximumRouteNameLength);
    require(route.id.size() == 36);
    const auto& notes = result->notes;
    require(notes.ignoredWaypointCount >= 0 && notes.ignoredRouteCount >= 0 && notes.unreadableTimestampCount >= 0 &&
            notes.unreadableElevationCount >= 0);
    const auto metrics = orvanta::routeMetrics(route);
    require(metrics.has_value() && metrics->distanceMeters >= 0);
    (void)orvanta::prepareRoutePlayback(route);
  }
  // The text readers on their own, with the same bytes.
  (void)orvanta::GPXTimestamp::read(bytes);
  require(codePoints(orvanta::normalizeRouteName(bytes)) <= orvanta::maximumRouteNameLength);
  return 0;
}
