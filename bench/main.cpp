// orvanta-bench NAME [ARGS...]: runs one benchmark and prints its figures, one `name value` per line.
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <map>

#include "bench/bench.hpp"

namespace orvanta::bench {
namespace {
struct Entry {
  const char* usage;
  BenchFunction function;
};
std::map<std::string, Entry>& registry() {
  static std::map<std::string, Entry> entries;
  return entries;
}
}  // namespace

Registration::Registration(const char* name, const char* usage, BenchFunction function) {
  registry()[name] = Entry{usage, function};
}

void report(const std::string& name, double value) {
  fmt::print("{} {:.4g}\n", name, value);
  std::fflush(stdout);
}

double median(std::vector<double>& samples) {
  if (samples.empty()) return 0;
  auto middle = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2);
  std::nth_element(samples.begin(), middle, samples.end());
  return *middle;
}

}  // namespace orvanta::bench

int main(int argc, char** argv) {
  auto& entries = orvanta::bench::registry();
  if (argc < 2 || !entries.contains(argv[1])) {
    std::fputs("usage: orvanta-bench NAME [ARGS...]\n", stderr);
    for (const auto& [name, entry] : entries) fmt::print(stderr, "  {} {}\n", name, entry.usage);
    return 2;
  }
  std::vector<std::string> arguments(argv + 2, argv + argc);
  return entries.at(argv[1]).function(arguments);
}
