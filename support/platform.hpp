// Which operating system this build is for, where behaviour (not just an implementation) differs.
#pragma once

namespace orvanta {

#ifdef __APPLE__
inline constexpr bool buildIsForMacOS = true;
#else
inline constexpr bool buildIsForMacOS = false;
#endif

}  // namespace orvanta
