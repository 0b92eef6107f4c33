// orvanta-bench-panel: how the panel feels, measured offscreen against the simctl emulator.
//   page switch: the time from choosing a page to its window being painted, per page (median, p95, max);
//   memory: the peak resident size with every page opened once;
//   console flood: 100,000 log lines a second arrive as the stream service hands them over (a batch of
//   20,000 real-shaped entries every 0.2 s); the time to apply one batch to the console's model and paint
//   the list (median, p95, max over three runs), with no filter and with a search text.
#include <sys/resource.h>
#include <stdlib.h>

#include <QApplication>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <thread>
#include <vector>

#include "app/environment.hpp"
#include "panel/pages.hpp"
#include "bench/log_lines/log_lines.hpp"
#include "capture/console/simulator_log_entry.hpp"
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

    // The console under a flood. Parsing happens on the stream's reading thread, so it is done before the
    // clock starts: what is measured is the main thread's share.
    auto* console = window.page<orvanta::ConsolePage>("Console", true);
    window.settle(60'000);
    constexpr std::size_t batchSize = 20'000;
    constexpr int batches = 40;
    auto makeBatch = [](std::size_t first) {
      orvanta::SimulatorLogEntryParser parser;
      std::vector<orvanta::SimulatorLogEntry> batch;
      batch.reserve(batchSize);
      const std::string text = orvanta::bench::generateLogLines(batchSize, first);
      std::size_t start = 0;
      while (start < text.size()) {
        const auto end = text.find('\n', start);
        if (auto entry = parser.parse(text.substr(start, end - start))) batch.push_back(std::move(*entry));
        start = end + 1;
      }
      return batch;
    };
    std::printf("console, batches of %zu entries (ms)        median     p95     max   model p95\n", batchSize);
    for (const char* search : {"", "request"}) {
      console->search()->setText(search);
      for (int runIndex = 1; runIndex <= 3; ++runIndex) {
        console->model().clear();
        std::vector<double> times;
        std::vector<double> modelTimes;
        for (int batch = 0; batch < batches; ++batch) {
          // Made on a thread of its own, as the stream's reading thread makes them: their memory is that
          // thread's, not the main thread's, as in the panel.
          std::vector<orvanta::SimulatorLogEntry> entries;
          std::thread reader([&] { entries = makeBatch(static_cast<std::size_t>(batch) * batchSize); });
          reader.join();
          const auto began = std::chrono::steady_clock::now();
          console->model().receive(std::move(entries));
          const auto applied = std::chrono::steady_clock::now();
          window.repaint();
          times.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - began).count());
          modelTimes.push_back(std::chrono::duration<double, std::milli>(applied - began).count());
          // The panel's 40 ms turn of the services' loop, where the batch's leftovers go to be freed.
          environment.mainLoop().runFor(orvanta::MainLoop::Seconds(0));
        }
        std::printf("  %-10s run %d, %4zu shown        %8.2f %7.2f %7.2f %11.2f\n", *search ? "searching" : "all",
                    runIndex, console->model().shown().size(), percentile(times, 0.5), percentile(times, 0.95),
                    *std::max_element(times.begin(), times.end()), percentile(modelTimes, 0.95));
      }
    }

  }
  std::error_code ignored;
  std::filesystem::remove_all(root, ignored);
  return status;
}
