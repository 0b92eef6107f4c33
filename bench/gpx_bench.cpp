// orvanta-bench gpx: the GPX route parser against a bare expat pass over the same bytes, and a generator
// of the large single-track file the figures are usually taken on.
#include <expat.h>
#include <fmt/format.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>

#include "bench/bench.hpp"
#include "tools/location/gpx_route_parser.hpp"

namespace orvanta::bench {
namespace {

// Expat configured as the route parser configures it (namespaces on, the same slices), with handlers
// that do nothing: the floor that the parser's own work sits on.
double expatSeconds(const std::string& data) {
  auto start = std::chrono::steady_clock::now();
  XML_Parser parser = XML_ParserCreateNS(nullptr, '\x01');
  XML_SetElementHandler(parser, [](void*, const XML_Char*, const XML_Char**) {}, [](void*, const XML_Char*) {});
  XML_SetCharacterDataHandler(parser, [](void*, const XML_Char*, int) {});
  constexpr std::size_t slice = std::size_t{1} << 20;
  XML_Status status = XML_STATUS_OK;
  for (std::size_t offset = 0; status == XML_STATUS_OK && offset < data.size(); offset += slice) {
    const std::size_t size = std::min(slice, data.size() - offset);
    status = XML_Parse(parser, data.data() + offset, static_cast<int>(size), offset + size == data.size());
  }
  XML_ParserFree(parser);
  if (status != XML_STATUS_OK) {
    std::fputs("gpx: expat refused the file\n", stderr);
    std::exit(1);
  }
  return secondsSince(start);
}

// A pretty-printed single track, as a watch or phone app exports it: a point a second with elevation and
// time, wandering from Zurich. Stops before the next point would take the file past `bytes`.
int generate(const std::string& path, double mebibytes) {
  const auto limit = static_cast<std::size_t>(mebibytes * 1024 * 1024);
  std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<gpx version=\"1.1\" creator=\"orvanta-bench\" xmlns=\"http://www.topografix.com/GPX/1/1\"\n"
      "     xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">\n"
      "  <metadata>\n    <name>Generated ride</name>\n    <time>2024-05-01T06:00:00Z</time>\n  </metadata>\n"
      "  <trk>\n    <name>Generated ride</name>\n    <type>cycling</type>\n    <trkseg>\n";
  const std::string closing = "    </trkseg>\n  </trk>\n</gpx>\n";
  std::mt19937_64 random(20240501);
  std::normal_distribution<double> step(0, 0.00004);
  double latitude = 47.376887, longitude = 8.541694, elevation = 408.0;
  const auto start = std::chrono::sys_seconds(std::chrono::sys_days(std::chrono::year(2024) / 5 / 1)) +
                     std::chrono::hours(6);
  for (long second = 0;; ++second) {
    latitude += step(random);
    longitude += step(random) + 0.00003;
    elevation += step(random) * 2000;
    const auto time = start + std::chrono::seconds(second);
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss clock(time - day);
    const std::string point = fmt::format(
        "      <trkpt lat=\"{:.7f}\" lon=\"{:.7f}\">\n        <ele>{:.1f}</ele>\n"
        "        <time>{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z</time>\n      </trkpt>\n",
        latitude, longitude, elevation, static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
        static_cast<unsigned>(date.day()), clock.hours().count(), clock.minutes().count(), clock.seconds().count());
    if (text.size() + point.size() + closing.size() > limit) break;
    text += point;
  }
  text += closing;
  std::ofstream file(path, std::ios::binary);
  file << text;
  if (!file.flush()) {
    fmt::print(stderr, "gpx: cannot write {}\n", path);
    return 1;
  }
  fmt::print("gpx.generated_bytes {}\n", text.size());
  return 0;
}

int gpxBench(const std::vector<std::string>& arguments) {
  if (arguments.size() >= 2 && arguments[0] == "--generate") {
    return generate(arguments[1], arguments.size() >= 3 ? std::atof(arguments[2].c_str()) : 25.0);
  }
  if (arguments.empty()) {
    std::fputs("usage: orvanta-bench gpx FILE [RUNS] | gpx --generate FILE [MIB]\n", stderr);
    return 2;
  }
  std::ifstream file(arguments[0], std::ios::binary);
  const std::string data((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (!file.good() && !file.eof()) {
    fmt::print(stderr, "gpx: cannot read {}\n", arguments[0]);
    return 1;
  }
  const int runs = arguments.size() >= 2 ? std::max(1, std::atoi(arguments[1].c_str())) : 9;
  std::vector<double> ours, bare;
  std::size_t points = 0;
  // Interleaved so that drift in the machine's load affects both alike.
  for (int i = 0; i < runs; ++i) {
    bare.push_back(expatSeconds(data));
    auto start = std::chrono::steady_clock::now();
    auto result = GPXRouteParser::parse(data, "bench.gpx");
    ours.push_back(secondsSince(start));
    if (!result) {
      fmt::print(stderr, "gpx: {}\n", result.error().description());
      return 1;
    }
    points = 0;
    for (const auto& segment : result->route.segments) points += segment.points.size();
  }
  const double parseMs = median(ours) * 1e3;
  const double expatMs = median(bare) * 1e3;
  report("gpx.parse_ms", parseMs);
  report("gpx.expat_ms", expatMs);
  report("gpx.ratio", parseMs / expatMs);
  fmt::print("gpx.points {}\n", points);  // exact, where report() would round it
  return 0;
}

}  // namespace

ORVANTA_BENCH("gpx", "FILE [RUNS] | --generate FILE [MIB]: GPX route parser against a bare expat pass", gpxBench);

}  // namespace orvanta::bench
