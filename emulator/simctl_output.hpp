// Writing output the way simctl writes it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace orvanta::emulator {

using Json = nlohmann::ordered_json;

// Pretty JSON as Foundation writes it: two-space indent, " : " between key and value, slashes escaped
// as "\/" (unless `escapeSlashes` is false, as with `list -e`), empty containers split over two lines.
std::string appleJson(const Json& value, bool escapeSlashes = true);

// The error envelope simctl prints on stderr, and the exit status it goes with (the code modulo 256).
struct SimctlFailure {
  std::string domain;
  std::int64_t code = 0;
  std::string description;    // one or more lines, without the final newline
  std::string underlying;     // optional "Underlying error" block, already formatted
  int exitStatus() const { return static_cast<int>(static_cast<std::uint64_t>(code) & 0xFFu); }
  std::string envelope() const;
};

}  // namespace orvanta::emulator
