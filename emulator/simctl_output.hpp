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

// Old-style property-list text as simctl's listapps and appinfo print it (-[NSDictionary description]):
// dictionary keys sorted, four spaces of indentation per level, a nested container's opening bracket
// preceded by its own level's indentation ("GroupContainers =     {"), and a string left unquoted only
// when it is non-empty ASCII letters and digits. Quoted strings escape \" and \\, line breaks and tabs
// as \n, \r, \t, and every other control or non-ASCII character as \Uxxxx (UTF-16, lower-case hex).
// JSON numbers print as digits and booleans as 1 or 0. Ends with a newline.
std::string openStepText(const Json& value);

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
