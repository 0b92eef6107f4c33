#include "support/reference_date.hpp"

#include <cmath>

#include <fmt/format.h>

namespace orvanta {

namespace {
using Clock = std::chrono::system_clock;
constexpr Clock::time_point kReferenceDate{std::chrono::seconds(kReferenceDateUnixSeconds)};
}  // namespace

double toReferenceSeconds(Clock::time_point date) {
  // Subtracting in the clock's integer ticks first keeps the fraction exact before the one rounding.
  return std::chrono::duration<double>(date - kReferenceDate).count();
}

std::optional<Clock::time_point> fromReferenceSeconds(double seconds) {
  if (!std::isfinite(seconds)) return std::nullopt;
  // A margin of a day keeps the sum below from overflowing the clock's 64-bit ticks.
  constexpr double kLimit = std::chrono::duration<double>(Clock::duration::max()).count() -
                            static_cast<double>(kReferenceDateUnixSeconds) - 86400.0;
  if (std::fabs(seconds) > kLimit) return std::nullopt;
  return kReferenceDate + std::chrono::round<Clock::duration>(std::chrono::duration<double>(seconds));
}

std::string formatUtc(Clock::time_point date, UtcFormat format) {
  const auto day = std::chrono::floor<std::chrono::days>(date);
  const std::chrono::year_month_day ymd{day};
  const auto secondsOfDay = std::chrono::floor<std::chrono::seconds>(date - day).count();
  const int year = static_cast<int>(ymd.year());
  const unsigned month = static_cast<unsigned>(ymd.month());
  const unsigned dayOfMonth = static_cast<unsigned>(ymd.day());
  const auto hour = secondsOfDay / 3600;
  const auto minute = secondsOfDay / 60 % 60;
  const auto second = secondsOfDay % 60;
  switch (format) {
    case UtcFormat::compact:
      return fmt::format("{:04}{:02}{:02}-{:02}{:02}{:02}", year, month, dayOfMonth, hour, minute, second);
    case UtcFormat::iso8601:
      return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", year, month, dayOfMonth, hour, minute, second);
    case UtcFormat::iso8601Milliseconds: {
      const auto milliseconds =
          std::chrono::floor<std::chrono::milliseconds>(date - std::chrono::floor<std::chrono::seconds>(date)).count();
      return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z", year, month, dayOfMonth, hour, minute, second,
                         milliseconds);
    }
  }
  return {};
}

}  // namespace orvanta
