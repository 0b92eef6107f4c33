// orvanta-bench-panel: how the panel feels, measured offscreen against the simctl emulator.
//   page switch: the time from choosing a page to its window being painted, per page (median, p95, max);
//   memory: the peak resident size with every page opened once.
#include <sys/resource.h>
#include <stdlib.h>

#include <QApplication>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "app/environment.hpp"
#include "panel/pages.hpp"
#include "panel/panel_window.hpp"

namespace {

double percentile(std::vector<double> values, double share) {
  std::sort(values.begin(), values.end());
  const auto index = static_cast<std::size_t>(share * static_cast<double>(values.size() - 1) + 0.5);
  return values[index];
}

}  // namespace

int main(int argc, char** argv) {
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  // A world of its own: the emulator's devices and settings in a scratch folder.
  std::string pattern = (std::filesystem::temp_directory_path() / "orvanta-bench-panel-XXXXXX").string();
  const std::filesystem::path root = ::mkdtemp(pattern.data());
  ::setenv("ORVANTA_XCRUN", ORVANTA_EMULATOR, 0);
  ::setenv("ORVANTA_EMULATOR_HOME", (root / "emulator").c_str(), 0);
  ::setenv("XDG_CONFIG_HOME", (root / "config").c_str(), 1);
  ::setenv("XDG_DATA_HOME", (root / "data").c_str(), 1);
  const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 30;

  int status = 0;
  {
    QApplication application(argc, argv);
    orvanta::Environment environment(std::nullopt);
    (void)environment.selection().setSelectedUDID(std::string("3BC9A608-0042-414F-B35C-7ADB869BC572"));
    orvanta::PanelWindow window(environment, orvanta::PanelQuestions::dialogs());
    window.show();
    window.settle(60'000);
    for (auto* page : window.pages()) {
      window.page(page->title(), true);
      window.settle(60'000);
    }
    std::printf("page switch, %d rounds (ms)     median     p95     max\n", rounds);
    const auto& pages = window.pages();
    for (std::size_t index = 0; index < pages.size(); ++index) {
      std::vector<double> times;
      for (int round = 0; round < rounds; ++round) {
        window.pageList()->setCurrentRow(static_cast<int>((index + 1) % pages.size()));
        window.repaint();
        const auto began = std::chrono::steady_clock::now();
        window.pageList()->setCurrentRow(static_cast<int>(index));
        window.repaint();
        times.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - began).count());
        window.settle(60'000);
      }
      std::printf("  %-28s %8.2f %7.2f %7.2f\n", pages[index]->title().toStdString().c_str(), percentile(times, 0.5),
                  percentile(times, 0.95), *std::max_element(times.begin(), times.end()));
    }
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
#ifdef __APPLE__
    const double peakMiB = static_cast<double>(usage.ru_maxrss) / (1024.0 * 1024.0);
#else
    const double peakMiB = static_cast<double>(usage.ru_maxrss) / 1024.0;
#endif
    std::printf("peak resident size with every page opened: %.1f MiB\n", peakMiB);
  }
  std::error_code ignored;
  std::filesystem::remove_all(root, ignored);
  return status;
}
