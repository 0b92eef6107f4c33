// Unpredictable bytes from the operating system.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace orvanta {

// Fills `bytes` from the system's random source (getrandom on Linux, arc4random_buf on macOS). Unlike a
// seeded engine, a forked child never repeats its parent's sequence. May block only very early in boot
// until the kernel's pool is ready. Thread-safe.
void fillRandomBytes(std::span<std::uint8_t> bytes);

}  // namespace orvanta
