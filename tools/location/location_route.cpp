#include "tools/location/location_route.hpp"

#include <fmt/format.h>

#include <random>

namespace orvanta {

static_assert(sizeof(LocationRoutePoint) == 32, "a route point must stay compact");

std::string newLocationRouteIdentifier() {
  std::random_device device;
  std::uint64_t high = (std::uint64_t{device()} << 32) | device();
  std::uint64_t low = (std::uint64_t{device()} << 32) | device();
  high = (high & ~std::uint64_t{0xF000}) | 0x4000;                   // version 4
  low = (low & ~(std::uint64_t{0xC} << 60)) | (std::uint64_t{0x8} << 60);  // RFC 4122 variant
  return fmt::format("{:08X}-{:04X}-{:04X}-{:04X}-{:012X}", high >> 32, (high >> 16) & 0xFFFF, high & 0xFFFF,
                     low >> 48, low & 0xFFFFFFFFFFFFULL);
}

}  // namespace orvanta
