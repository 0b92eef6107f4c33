// How the log command prints entries: one line each, as NDJSON objects or as the export's text lines,
// formatted into the large blocks an OutputWriter writes.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "capture/console/simulator_log_entry.hpp"
#include "support/output_writer.hpp"

namespace orvanta {

struct ConsoleEntryFormat {
  enum class Kind { text, json };
  Kind kind = Kind::text;
  bool includeRaw = false;  // json: the "raw" member (the log's own line, escaped once more)
};

// One NDJSON object and a newline: {"id", "timestamp"?, "level"?, "processID"?, "processImagePath"?,
// "subsystem"?, "category"?, "message", "raw"?}; the timestamp in RFC 3339 with the log's offset and its
// microseconds. Formatted into space reserved once per entry.
void appendEntryJsonLine(std::string& out, const SimulatorLogEntryView& entry, bool includeRaw);
// The export line (ConsoleExportService::appendLine) and a newline.
void appendEntryTextLine(std::string& out, const SimulatorLogEntryView& entry);
void appendEntryLine(std::string& out, const SimulatorLogEntryView& entry, ConsoleEntryFormat format);

// Formats entries into blocks of about blockBytes and hands them to an OutputWriter. Not thread-safe:
// one producer thread.
class ConsoleEntryPrinter {
 public:
  static constexpr std::size_t blockBytes = 1u << 20;

  ConsoleEntryPrinter(OutputWriter& writer, ConsoleEntryFormat format) : writer_(writer), format_(format) {}
  ~ConsoleEntryPrinter() { flush(); }
  ConsoleEntryPrinter(const ConsoleEntryPrinter&) = delete;
  ConsoleEntryPrinter& operator=(const ConsoleEntryPrinter&) = delete;

  // Makes room in the block for about `lines` entries from `bytes` bytes of log lines, so that it grows
  // once rather than step by step (never beyond a full block and a quarter).
  void reserveFor(std::size_t lines, std::size_t bytes);
  // Adds the entry's line; hands the block over once it is full (which may wait, see OutputWriter).
  void print(const SimulatorLogEntryView& entry);
  // Hands over what is formatted so far.
  void flush();

 private:
  OutputWriter& writer_;
  ConsoleEntryFormat format_;
  OutputBlock block_;
  bool hasBlock_ = false;
};

}  // namespace orvanta
