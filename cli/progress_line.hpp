// One line on a terminal that shows how long a wait has taken: "Booting iPhone 16… 3.4 s (Booting)".
#pragma once

#include <mutex>
#include <ostream>
#include <string>

#include "support/stop_token.hpp"

namespace orvanta {

// While alive, a thread of its own rewrites the line five times a second; the destructor stops the thread
// and ends the line. Only for a terminal: nothing else may write to `stream` meanwhile. setDetail may be
// called from any thread.
class ProgressLine {
 public:
  ProgressLine(std::ostream& stream, std::string label);
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  // The text shown in brackets after the time, e.g. the state last read back.
  void setDetail(std::string detail);

 private:
  std::ostream& stream_;
  const std::string label_;
  std::mutex lock_;  // guards detail_ and the stream while the thread writes
  std::string detail_;
  orvanta::jthread ticker_;
};

}  // namespace orvanta
