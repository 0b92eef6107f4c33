#include "tools/location/location_route.hpp"

namespace orvanta {

static_assert(sizeof(LocationRoutePoint) == 32, "a route point must stay compact");

}  // namespace orvanta
