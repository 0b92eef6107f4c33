// Writing the binary property-list format ("bplist00") that real app bundles carry as Info.plist, so the
// emulator's apps look like apps built by Xcode. Written here rather than taken from our reader's library,
// so that the emulator stays an independent witness of the format.
#pragma once

#include <string>

#include "emulator/simctl_output.hpp"

namespace orvanta::emulator {

// The bytes of a bplist00 document holding `value`: objects become dictionaries (keys in the JSON's
// order), arrays arrays, strings ASCII or UTF-16 strings (as CoreFoundation chooses), booleans booleans,
// integers 1/2/4/8-byte integers (negative ones 8 bytes), other numbers 64-bit reals, null an empty string.
// Every object is written once (no sharing), with the smallest reference and offset sizes that fit.
std::string binaryPropertyList(const Json& value);

}  // namespace orvanta::emulator
