#include "support/terminal_text.hpp"

#include <algorithm>

#include <fmt/format.h>

namespace orvanta {
namespace {

// The escape for a C0 control or DEL, written into `out`.
void appendEscape(std::string& out, unsigned char byte) {
  switch (byte) {
    case '\r': out += "\\r"; break;
    case '\b': out += "\\b"; break;
    case '\f': out += "\\f"; break;
    case '\v': out += "\\v"; break;
    default: out += fmt::format("\\x{:02X}", byte);
  }
}

// Carriage return stays: it only moves to the start of the line, which progress lines rely on.
bool isControl(unsigned char byte) {
  return (byte < 0x20 && byte != '\n' && byte != '\t' && byte != '\r') || byte == 0x7F;
}

}  // namespace

std::string escapeForTerminal(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (isControl(byte)) {
      appendEscape(out, byte);
    } else if (byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) >= 0x80 &&
               static_cast<unsigned char>(text[i + 1]) <= 0x9F) {
      out += fmt::format("\\u{:04X}", static_cast<unsigned char>(text[++i]));
    } else {
      out.push_back(static_cast<char>(byte));
    }
  }
  return out;
}

bool TerminalSafeBuffer::put(unsigned char byte) {
  auto write = [this](std::string_view bytes) {
    return target_->sputn(bytes.data(), static_cast<std::streamsize>(bytes.size())) ==
           static_cast<std::streamsize>(bytes.size());
  };
  if (afterC2_) {
    afterC2_ = false;
    if (byte >= 0x80 && byte <= 0x9F) return write(fmt::format("\\u{:04X}", byte));
    if (!write("\xC2")) return false;
  }
  if (byte == 0xC2) {
    afterC2_ = true;
    return true;
  }
  if (isControl(byte)) {
    std::string escaped;
    appendEscape(escaped, byte);
    return write(escaped);
  }
  return target_->sputc(static_cast<char>(byte)) != traits_type::eof();
}

TerminalSafeBuffer::int_type TerminalSafeBuffer::overflow(int_type character) {
  if (traits_type::eq_int_type(character, traits_type::eof())) return traits_type::not_eof(character);
  return put(static_cast<unsigned char>(traits_type::to_char_type(character))) ? character : traits_type::eof();
}

std::streamsize TerminalSafeBuffer::xsputn(const char* text, std::streamsize count) {
  // Runs of plain bytes go on in one piece: an unbuffered target (standard error) then makes one write
  // of a message, not one per byte.
  std::streamsize i = 0;
  while (i < count) {
    std::streamsize run = i;
    if (!afterC2_) {
      while (run < count && !isControl(static_cast<unsigned char>(text[run])) &&
             static_cast<unsigned char>(text[run]) != 0xC2) {
        ++run;
      }
    }
    if (run > i) {
      const std::streamsize written = target_->sputn(text + i, run - i);
      if (written != run - i) return i + std::max<std::streamsize>(written, 0);
      i = run;
      continue;
    }
    if (!put(static_cast<unsigned char>(text[i]))) return i;
    ++i;
  }
  return count;
}

int TerminalSafeBuffer::sync() { return target_->pubsync(); }

TerminalSafeBuffer::~TerminalSafeBuffer() {
  // A lead byte held back to see what follows it goes out as it is when nothing more comes.
  if (afterC2_) {
    target_->sputc('\xC2');
    target_->pubsync();
  }
}

}  // namespace orvanta
