// The yardstick for `orvanta logs --json`: the least a program must do to print the same objects from
// `log stream --style ndjson` on standard input. Single-threaded, no filters, no limits: read, find the
// fields with simdjson, write {"id", "timestamp", "level", "processID", "processImagePath", "subsystem",
// "category", "message"} with a table-driven escaper into one large buffer.
#include <unistd.h>

#include <simdjson.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace {

// The output, written through a pointer into space made ahead (no zero fill, no check per byte).
std::vector<char> out(8 << 20);
std::size_t used = 0;

void ensure(std::size_t more) {
  if (used + more > out.size()) out.resize(std::max(out.size() * 2, used + more));
}

void put(std::string_view text) {
  ensure(text.size());
  std::memcpy(out.data() + used, text.data(), text.size());
  used += text.size();
}

void putEscaped(std::string_view text) {
  static constexpr char hex[] = "0123456789abcdef";
  ensure(6 * text.size() + 2);
  char* at = out.data() + used;
  *at++ = '"';
  for (const char byte : text) {
    const auto c = static_cast<unsigned char>(byte);
    if (c >= 0x20 && c != '"' && c != '\\') {
      *at++ = static_cast<char>(c);
      continue;
    }
    *at++ = '\\';
    switch (c) {
      case '"': *at++ = '"'; break;
      case '\\': *at++ = '\\'; break;
      case '\n': *at++ = 'n'; break;
      case '\r': *at++ = 'r'; break;
      case '\t': *at++ = 't'; break;
      default:
        *at++ = 'u';
        *at++ = '0';
        *at++ = '0';
        *at++ = hex[c >> 4];
        *at++ = hex[c & 0xF];
    }
  }
  *at++ = '"';
  used = static_cast<std::size_t>(at - out.data());
}

std::uint64_t state = 0x9E3779B97F4A7C15ull;
std::uint64_t nextRandom() {
  state ^= state << 13;
  state ^= state >> 7;
  state ^= state << 17;
  return state;
}

void putId() {
  static constexpr char hex[] = "0123456789ABCDEF";
  char text[36];
  std::uint64_t bits[2] = {nextRandom(), nextRandom()};
  int nibble = 0;
  for (int i = 0; i < 36; ++i) {
    if (i == 8 || i == 13 || i == 18 || i == 23) {
      text[i] = '-';
      continue;
    }
    text[i] = hex[(bits[nibble / 16] >> (4 * (nibble % 16))) & 0xF];
    ++nibble;
  }
  put("{\"id\":\"");
  put(std::string_view(text, 36));
  put("\"");
}

// "2024-01-15 10:23:45.123456-0800" -> "2024-01-15T10:23:45.123456-08:00".
void putTimestamp(std::string_view text) {
  if (text.size() != 31) return;
  std::string value(text.substr(0, 29));
  value[10] = 'T';
  value += ':';
  value += text.substr(29);
  put(",\"timestamp\":\"");
  put(value);
  put("\"");
}

void printLine(simdjson::ondemand::parser& parser, const char* data, std::size_t size, std::size_t capacity) {
  using namespace simdjson;
  ondemand::document document;
  ondemand::object object;
  if (parser.iterate(data, size, capacity).get(document) != SUCCESS || document.get_object().get(object) != SUCCESS) {
    putId();
    put(",\"message\":");
    putEscaped(std::string_view(data, size));
    put("}\n");
    return;
  }
  putId();
  std::string_view message;
  for (auto field : object) {
    std::string_view key, value;
    if (field.unescaped_key().get(key) != SUCCESS) break;
    if (key == "processID") {
      std::int64_t number = 0;
      if (field.value().get_int64().get(number) == SUCCESS) {
        put(",\"processID\":");
        put(std::to_string(number));
      }
      continue;
    }
    const bool wanted = key == "eventMessage" || key == "messageType" || key == "timestamp" ||
                        key == "processImagePath" || key == "subsystem" || key == "category";
    if (!wanted || field.value().get_string().get(value) != SUCCESS) continue;
    if (key == "eventMessage") {
      message = value;
    } else if (key == "timestamp") {
      putTimestamp(value);
    } else if (key == "messageType") {
      put(",\"level\":\"");
      put(value == "Default" ? "notice" : value == "Debug" ? "debug" : value == "Info" ? "info"
                              : value == "Error" ? "error" : "fault");
      put("\"");
    } else {
      put(",\"");
      put(key);
      put("\":");
      putEscaped(value);
    }
  }
  put(",\"message\":");
  putEscaped(message);
  put("}\n");
}

void flush() {
  std::size_t done = 0;
  while (done < used) {
    const ssize_t wrote = ::write(STDOUT_FILENO, out.data() + done, used - done);
    if (wrote <= 0) _exit(1);
    done += static_cast<std::size_t>(wrote);
  }
  used = 0;
}

}  // namespace

int main() {
  simdjson::ondemand::parser parser;
  std::vector<char> buffer((1 << 20) + simdjson::SIMDJSON_PADDING);
  std::size_t held = 0;
  for (;;) {
    if (held + (64 << 10) > buffer.size() - simdjson::SIMDJSON_PADDING) buffer.resize(buffer.size() * 2);
    const ssize_t got = ::read(STDIN_FILENO, buffer.data() + held, buffer.size() - simdjson::SIMDJSON_PADDING - held);
    if (got <= 0) break;
    held += static_cast<std::size_t>(got);
    std::size_t start = 0;
    while (const void* found = std::memchr(buffer.data() + start, '\n', held - start)) {
      const auto end = static_cast<std::size_t>(static_cast<const char*>(found) - buffer.data());
      if (end > start) printLine(parser, buffer.data() + start, end - start, buffer.size() - start);
      start = end + 1;
    }
    std::memmove(buffer.data(), buffer.data() + start, held - start);
    held -= start;
    if (used > (1 << 20)) flush();
  }
  flush();
  return 0;
}
