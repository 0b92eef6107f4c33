#include "cli/app_data_session.hpp"

#include <algorithm>
#include <ostream>

#include <fmt/format.h>

#include "app/environment.hpp"
#include "cli/target_resolution.hpp"
#include "support/number_text.hpp"
#include "support/reference_date.hpp"
#include "support/utf8.hpp"

namespace orvanta {
namespace {

std::size_t characterCount(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

}  // namespace

CommandOutcome AppDataSession::resolve() {
  auto device = requireSelectedTarget(context_);
  if (!device) return unexpected(device.error());
  device_ = *device;
  return {};
}

CommandFailure AppDataSession::failure(const AppDataError& error) const {
  using Case = AppDataError::Case;
  if (error.kind == Case::cancelled || context_.stop.stop_requested()) return CommandFailure::interrupted();
  std::vector<std::string> hints;
  switch (error.kind) {
    case Case::simulatorBusy:
      if (auto holder = context_.environment.gate().otherProcessHolder(device_.udid)) {
        hints.push_back(device_.name + " is held by " + *holder + ".");
      }
      break;
    case Case::appNotInstalled: hints.push_back("'orvanta apps' lists the installed apps."); break;
    case Case::containerNotFound: hints.push_back("'orvanta data path BUNDLE-ID groups' lists the app's groups."); break;
    case Case::snapshotNotFound: hints.push_back("'orvanta data snapshot list' lists the snapshots."); break;
    case Case::queryRefused:
      hints.push_back("The query runs on a read-only copy; one SELECT (or a read-only PRAGMA) at a time.");
      break;
    default: break;
  }
  return CommandFailure::failure(std::string(error.caseName()), error.description(), std::move(hints));
}

SimctlClient simctlWithTimeout(const CommandContext& context, double seconds) {
  return context.environment.simctlWithTimeout(seconds);
}

void printColumns(std::ostream& out, const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    if (widths.size() < row.size()) widths.resize(row.size(), 0);
    for (std::size_t column = 0; column < row.size(); ++column) {
      widths[column] = std::max(widths[column], characterCount(row[column]));
    }
  }
  for (const auto& row : rows) {
    std::string line;
    for (std::size_t column = 0; column < row.size(); ++column) {
      line += row[column];
      if (column + 1 < row.size()) line += std::string(widths[column] - characterCount(row[column]) + 2, ' ');
    }
    out << line << '\n';
  }
}

std::string byteCountText(std::uintmax_t bytes) {
  if (bytes < 1000) return fmt::format("{} B", bytes);
  constexpr const char* units[] = {"kB", "MB", "GB", "TB"};
  double value = static_cast<double>(bytes);
  std::size_t unit = 0;
  for (value /= 1000; value >= 1000 && unit + 1 < std::size(units); value /= 1000) ++unit;
  return formatTrimmedFixed(value, 1) + " " + units[unit];
}


}  // namespace orvanta
