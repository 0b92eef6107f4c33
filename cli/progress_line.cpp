#include "cli/progress_line.hpp"

#include <chrono>
#include <thread>

#include <fmt/format.h>

namespace orvanta {

ProgressLine::ProgressLine(std::ostream& stream, std::string label) : stream_(stream), label_(std::move(label)) {
  ticker_ = orvanta::jthread([this](orvanta::stop_token stop) {
    const auto began = std::chrono::steady_clock::now();
    std::size_t shown = 0;
    for (int tick = 0; !stop.stop_requested(); ++tick) {
      if (tick % 4 == 0) {
        std::lock_guard guard(lock_);
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
        std::string line = fmt::format("{}… {:.1f} s{}", label_, seconds, detail_.empty() ? "" : " (" + detail_ + ")");
        // Spaces wipe what a longer line before it left behind.
        const std::size_t length = line.size();
        if (length < shown) line.append(shown - length, ' ');
        shown = length;
        stream_ << '\r' << line << std::flush;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    stream_ << '\n' << std::flush;
  });
}

ProgressLine::~ProgressLine() {
  ticker_.request_stop();
  if (ticker_.joinable()) ticker_.join();
}

void ProgressLine::setDetail(std::string detail) {
  std::lock_guard guard(lock_);
  detail_ = std::move(detail);
}

}  // namespace orvanta
