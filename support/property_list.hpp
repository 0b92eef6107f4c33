// Reading property lists: the old-style text that `simctl listapps` and `simctl appinfo` print, and the
// XML and binary forms of an app's Info.plist, all into one PropertyListValue.
//
// The text reader is our own; XML and binary go through libplist, after checks that keep hostile input
// from driving it into deep recursion or unbounded expansion. Every reader is a pure function of its
// input: it never crashes, never reads outside the input, keeps nesting to propertyListMaxDepth and
// reports what is wrong as a PropertyListError. All functions are thread-safe and do not block on
// anything but the CPU.
//
// The text reader, in detail:
//  - Dictionaries `{ key = value; ... }` (every entry ends with `;`), arrays `( a, b )` with an optional
//    trailing comma, `<0fbd 7777>` data (whitespace allowed anywhere between the hex digits), quoted
//    strings ("..." or '...') and unquoted strings made of ASCII letters, digits and `_$+/:.-`.
//    Every scalar is a string, since the format has no other types: `CFBundleVersion = 0;` reads "0".
//  - Escapes in quoted strings: \" \' \\ \n \t \r \b \f \a \v, octal \NNN (one to three digits, up to
//    \377, read as U+0000..U+00FF) and \Uxxxx (exactly four hex digits, `\u` also accepted) as UTF-16:
//    a surrogate pair becomes one character; a lone surrogate becomes U+FFFD, so that one damaged name
//    does not make a whole app list unreadable. Any other escape is an error.
//  - `//` and `/* */` comments wherever whitespace may stand.
//  - Text is UTF-8. Bytes from 0x80 up inside quoted strings are copied unchanged (not validated); a NUL
//    byte anywhere is an error. A leading UTF-8 byte-order mark is skipped; UTF-16 text is refused.
//  - Anything but whitespace and comments after the top-level value is an error.
//  - Repeated keys: the dictionary keeps the first position and the last value (see PropertyListDictionary).
// Error positions are 1-based lines and columns; columns count characters (UTF-8 sequences), not bytes.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "support/expected.hpp"
#include "support/property_list_value.hpp"

namespace orvanta {

// Containers may nest this deep (the top-level container is level 1); one level more is `tooDeep`.
inline constexpr std::size_t propertyListMaxDepth = 256;

// Why a property list could not be read. description() is the sentence shown to users.
struct PropertyListError {
  enum class Case { malformed, unsupportedFormat, tooDeep, tooLarge };

  Case kind = Case::malformed;
  std::string message;     // malformed, unsupportedFormat: what is wrong, without position or final period
  std::size_t line = 0;    // malformed, tooDeep: where, 1-based; 0 when the reader gives no position
  std::size_t column = 0;  // 1-based, in characters

  static PropertyListError malformed(std::string message, std::size_t line = 0, std::size_t column = 0);
  static PropertyListError unsupportedFormat(std::string message);
  static PropertyListError tooDeep(std::size_t line = 0, std::size_t column = 0);
  static PropertyListError tooLarge();

  // e.g. "Unexpected character '}' at line 3, column 5.", "The property list is too large."
  [[nodiscard]] std::string description() const;
  // The case's name as scripts see it ("malformed", ...).
  [[nodiscard]] std::string_view caseName() const;

  bool operator==(const PropertyListError&) const = default;
};

enum class PropertyListFormat { openStep, xml, binary };

// Which reader parsePropertyList() picks: "bplist" at the very start is binary; "<?xml", "<plist" or
// "<!" after an optional UTF-8 byte-order mark and whitespace is XML; anything else is old-style text.
[[nodiscard]] PropertyListFormat detectPropertyListFormat(std::string_view bytes) noexcept;

// Reads old-style (OpenStep) text as described at the top of this file.
// Errors: `malformed` with the position of the offending character (for an unterminated string, comment,
// data or container: the position where it opened); `tooDeep`; `unsupportedFormat` for UTF-16 text.
[[nodiscard]] expected<PropertyListValue, PropertyListError> parseOpenStepPropertyList(std::string_view text);

// Reads an XML or binary ("bplist00") property list through libplist. Booleans, integers, reals and dates keep
// their types; libplist's UIDs become integers. Integers are read as 64-bit signed values (libplist cannot tell an
// unsigned value above INT64_MAX from a negative one).
// XML may follow a UTF-8 byte-order mark and blank lines. It is first checked for well-formedness (expat; entity
// declarations refused, external entities never loaded): `malformed` with expat's reason and position, counted in
// the whole input. Binary structure is checked before libplist sees it: out-of-range offsets or references and
// reference cycles are `malformed`; shared objects that would expand past a budget proportional to the input (tens
// of MiB), or input of 4 GiB or more, are `tooLarge`. Nesting past propertyListMaxDepth is `tooDeep`. Other binary
// versions ("bplist15") are `unsupportedFormat`; whatever libplist itself refuses is `malformed` without a
// position. A binary key holding a NUL character is `malformed` (libplist 2.2 would abort on it); in a binary
// string value, libplist ends the string at the NUL.
[[nodiscard]] expected<PropertyListValue, PropertyListError> parseXmlOrBinaryPropertyList(std::string_view bytes);

// Detects the format (detectPropertyListFormat) and reads with the matching reader.
[[nodiscard]] expected<PropertyListValue, PropertyListError> parsePropertyList(std::string_view bytes);

}  // namespace orvanta
