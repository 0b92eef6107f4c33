// orvanta-bench: each benchmark is a named function that prints `name value` lines.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace orvanta::bench {

using BenchFunction = int (*)(const std::vector<std::string>& arguments);

// Registers a benchmark at static-initialisation time; see ORVANTA_BENCH.
struct Registration {
  Registration(const char* name, const char* usage, BenchFunction function);
};

// Prints one figure as `name value`.
void report(const std::string& name, double value);

// The median of `samples` (which it reorders).
double median(std::vector<double>& samples);

inline double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace orvanta::bench

#define ORVANTA_BENCH(name, usage, function) \
  static const ::orvanta::bench::Registration orvanta_bench_##function(name, usage, function)
