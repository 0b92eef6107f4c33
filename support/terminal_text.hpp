// Text from outside (log messages, app and device names, simctl's diagnostics, names in imported files)
// shown on a terminal: control characters that a terminal would act on are shown escaped instead, so that
// no text we relay can move the cursor, change colours or retitle the window.
#pragma once

#include <streambuf>
#include <string>
#include <string_view>

namespace orvanta {

// `text` with C0 controls other than newline, tab and carriage return, DEL, and the C1 controls (U+0080 to
// U+009F) written as "\x1B", "\b", "\x7F", "\u009B". Everything else, valid or not, is left as it is. Pure; thread-safe.
[[nodiscard]] std::string escapeForTerminal(std::string_view text);

// A stream buffer that passes what is written to `target` with escapeForTerminal's escapes applied, byte
// by byte (a C1 control split across two writes is still caught). Used by one stream on one thread.
class TerminalSafeBuffer : public std::streambuf {
 public:
  explicit TerminalSafeBuffer(std::streambuf* target) : target_(target) {}
  ~TerminalSafeBuffer() override;
  TerminalSafeBuffer(const TerminalSafeBuffer&) = delete;
  TerminalSafeBuffer& operator=(const TerminalSafeBuffer&) = delete;

 protected:
  int_type overflow(int_type character) override;
  std::streamsize xsputn(const char* text, std::streamsize count) override;
  int sync() override;

 private:
  bool put(unsigned char byte);
  std::streambuf* target_;
  bool afterC2_ = false;  // the last byte was 0xC2, the lead byte of a possible C1 control
};

}  // namespace orvanta
