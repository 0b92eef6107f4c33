#include "tools/location/gpx_route_parser.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <sstream>
#include <string>

#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using Case = LocationSimulationError::Case;

std::string gpx(const std::string& body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<gpx version=\"1.1\" creator=\"test\" xmlns=\"http://www.topografix.com/GPX/1/1\">" +
         body + "</gpx>\n";
}

std::string point(const char* element, double latitude, double longitude, const std::string& children = "") {
  std::ostringstream text;
  text << '<' << element << " lat=\"" << latitude << "\" lon=\"" << longitude << "\">" << children << "</" << element
       << '>';
  return text.str();
}

std::string track(int points, const std::string& name = "") {
  std::string body = "<trk>" + (name.empty() ? "" : "<name>" + name + "</name>") + "<trkseg>";
  for (int i = 0; i < points; ++i) body += point("trkpt", 47 + i * 0.001, 8.5);
  return body + "</trkseg></trk>";
}

// UTF-16 of a UTF-8 text with characters below U+0800 (all that these tests use).
std::string utf16(const std::string& utf8, bool bigEndian, bool byteOrderMark) {
  std::string out;
  const auto put = [&](unsigned unit) {
    const char high = static_cast<char>(unit >> 8), low = static_cast<char>(unit & 0xFF);
    out += bigEndian ? high : low;
    out += bigEndian ? low : high;
  };
  if (byteOrderMark) put(0xFEFF);
  for (std::size_t i = 0; i < utf8.size(); ++i) {
    const auto byte = static_cast<unsigned char>(utf8[i]);
    put(byte < 0x80 ? byte : ((byte & 0x1Fu) << 6) | (static_cast<unsigned char>(utf8[++i]) & 0x3Fu));
  }
  return out;
}

// The case name of the failure, or "accepted".
std::string failureOf(const std::string& data) {
  const auto result = GPXRouteParser::parse(data, "file.gpx");
  return result ? "accepted" : std::string(result.error().caseName());
}

TEST(GPXRouteParserTest, ReadsRealWorldTrackAndRouteFiles) {
  const auto tracks = GPXRouteParser::parse(testing::readFixture("gpx/gpx10_track.gpx"), "gpx10_track.gpx");
  ASSERT_TRUE(tracks.has_value()) << tracks.error().description();
  const LocationRoute& route = tracks->route;
  EXPECT_EQ(route.name, "Lakeside loop");
  EXPECT_EQ(route.source.filename, "gpx10_track.gpx");
  EXPECT_EQ(route.id.size(), 36u);
  EXPECT_EQ(route.id.find_first_not_of("0123456789ABCDEF-"), std::string::npos);
  ASSERT_EQ(route.segments.size(), 3u);
  EXPECT_EQ(route.segments[0].points.size(), 3u);
  EXPECT_EQ(route.segments[1].points.size(), 2u);
  const LocationInstant six(std::chrono::sys_days(std::chrono::year(2019) / 6 / 1) + std::chrono::hours(6));
  EXPECT_EQ(route.segments[0].points[0], LocationRoutePoint(47.3719, 8.5390, 406.2, six));
  EXPECT_EQ(tracks->notes, (GPXParseNotes{1, 0, 0, 0}));

  const auto routes = GPXRouteParser::parse(testing::readFixture("gpx/gpx11_route_extensions.gpx"), "harbour.gpx");
  ASSERT_TRUE(routes.has_value()) << routes.error().description();
  EXPECT_EQ(routes->route.name, "Harbour <walk>");
  ASSERT_EQ(routes->route.segments.size(), 1u);
  const auto& points = routes->route.segments[0].points;
  ASSERT_EQ(points.size(), 3u);  // the extension's own lat/lon elements are not points
  const LocationInstant start(std::chrono::sys_days(std::chrono::year(2023) / 9 / 13) + std::chrono::hours(23) +
                              std::chrono::milliseconds(250));
  EXPECT_EQ(points[0], LocationRoutePoint(-33.85785, 151.21445, 4.0, start));
  EXPECT_EQ(points[2], LocationRoutePoint(-33.86320, 151.20870));
  EXPECT_EQ(routes->notes, (GPXParseNotes{0, 0, 1, 1}));
}

// A file of exactly the size limit whose bulk is one token: white space, a comment, a processing
// instruction, or an attribute value. Every one parses, within the reader's memory bound, and one byte
// more is refused as too large.
TEST(GPXRouteParserTest, SizeLimitIsExactWhateverTheTokenSizes) {
  constexpr std::size_t limit = 26214400;
  const std::string body = gpx(track(2));
  const std::string head = body.substr(0, body.size() - 7);  // without "</gpx>\n"
  const auto filled = [&](const std::string& open, const std::string& close) {
    return head + open + std::string(limit - head.size() - open.size() - close.size() - 7, 'x') + close +
           "</gpx>\n";
  };
  const struct {
    const char* label;
    std::string data;
  } rows[] = {
      {"white space", head + std::string(limit - body.size(), ' ') + "</gpx>\n"},
      {"one comment", filled("<!--", "-->")},
      {"one processing instruction", filled("<?data ", "?>")},
      {"one attribute value", filled("<extensions><blob value=\"", "\"/></extensions>")},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.label);
    ASSERT_EQ(row.data.size(), limit);
    const auto parsed = GPXRouteParser::parse(row.data, "big.gpx");
    ASSERT_TRUE(parsed.has_value()) << parsed.error().description();
    ASSERT_EQ(parsed->route.segments.size(), 1u);
    EXPECT_EQ(parsed->route.segments[0].points.size(), 2u);
    EXPECT_LE(detail::gpxParserPeakMemoryOfLastParse(), detail::gpxParserMemoryLimit());
    const auto larger = GPXRouteParser::parse(row.data + ' ', "big.gpx");
    ASSERT_FALSE(larger.has_value());
    EXPECT_EQ(larger.error().description(), "The GPX file is larger than 26.2 MB. Use a smaller file.");
  }
}

TEST(GPXRouteParserTest, RefusesHostileAndForeignDocuments) {
  const std::string entity = "<?xml version=\"1.0\"?><!DOCTYPE gpx [<!ENTITY a \"x\">]><gpx>" + track(2) + "</gpx>";
  const auto nested = [](int depth) {
    std::string text;
    for (int i = 0; i < depth; ++i) text = "<x>" + text + "</x>";
    return text;
  };
  const struct {
    const char* label;
    std::string data;
    Case expected;
  } rows[] = {
      {"empty", "", Case::gpxMalformedXML},
      {"unclosed", gpx(track(2)).substr(0, 120), Case::gpxMalformedXML},
      {"entity declaration", entity, Case::gpxUnsafeContent},
      {"entity text in a comment", gpx("<!-- <!ENTITY x 'y'> -->" + track(2)), Case::gpxUnsafeContent},
      {"UTF-16LE with BOM", utf16(entity, false, true), Case::gpxUnsafeContent},
      {"UTF-16BE without BOM", utf16(entity, true, false), Case::gpxUnsafeContent},
      {"entity of an unread DTD", "<!DOCTYPE gpx SYSTEM \"gpx.dtd\"><gpx><trk><name>&ext;</name></trk></gpx>",
       Case::gpxUnsafeContent},
      {"undeclared entity", gpx("<trk><name>&ext;</name></trk>"), Case::gpxMalformedXML},
      {"root in another namespace", "<gpx xmlns=\"http://www.opengis.net/kml/2.2\">" + track(2) + "</gpx>",
       Case::gpxUnsupportedFormat},
      {"root in upper case", "<GPX>" + track(2) + "</GPX>", Case::gpxUnsupportedFormat},
      {"only waypoints", gpx(point("wpt", 1, 2) + point("wpt", 3, 4)), Case::gpxNoPoints},
      {"empty segments", gpx("<trk><trkseg/></trk><rte><name>r</name></rte>"), Case::gpxNoPoints},
      {"65 open elements", gpx(track(2) + nested(64)), Case::gpxMalformedXML},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.label);
    EXPECT_EQ(failureOf(row.data), LocationSimulationError(row.expected).caseName());
  }
  EXPECT_TRUE(GPXRouteParser::parse(gpx(track(2) + nested(63)), "deep.gpx").has_value());  // 64 open elements
  EXPECT_TRUE(GPXRouteParser::parse(gpx(track(2) + "<x a=\"" + std::string(2 << 20, 'a') + "\"/>"), "a.gpx")
                  .has_value());
}

TEST(GPXRouteParserTest, ReadsUTF16Documents) {
  const std::string document =
      "<?xml version=\"1.0\" encoding=\"UTF-16\"?>\n" +
      gpx(track(3, "Z\xC3\xBCrich")).substr(std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n").size());
  for (const bool bigEndian : {false, true}) {
    SCOPED_TRACE(bigEndian);
    const auto result = GPXRouteParser::parse(utf16(document, bigEndian, true), "zurich.gpx");
    ASSERT_TRUE(result.has_value()) << result.error().description();
    EXPECT_EQ(result->route.name, "Z\xC3\xBCrich");
    EXPECT_EQ(result->route.segments.at(0).points.size(), 3u);
  }
}

TEST(GPXRouteParserTest, OneBadPointRefusesTheFile) {
  const struct {
    std::string attributes;
    std::string sentence;  // empty: accepted
  } rows[] = {
      {"lat=\"90\" lon=\"-180\"", ""},
      {"lat=\"-90.000\" lon=\"+180\"", ""},
      {"lon=\"8\"", "Point 2: missing lat attribute."},
      {"lat=\"1e5\" lon=\"8\"", "Point 2: lat is not a finite dot-decimal number."},  // read as typed coordinates are
      {"lat=\"NaN\"", "Point 2: missing lon attribute."},  // presence is checked before form
      {"lat=\"48\" lon=\"\"", "Point 2: lon is not a finite dot-decimal number."},
      {"lat=\"91\" lon=\"x\"", "Point 2: lon is not a finite dot-decimal number."},  // form before range
      {"lat=\"90.0001\" lon=\"8\"", "Point 2: latitude must be between -90 and 90."},
      {"lat=\"0\" lon=\"-180.5\"", "Point 2: longitude must be between -180 and 180."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.attributes);
    const auto result = GPXRouteParser::parse(
        gpx("<trk><trkseg>" + point("trkpt", 1, 1) + "<trkpt " + row.attributes + "/></trkseg></trk>"), "p.gpx");
    if (row.sentence.empty()) {
      EXPECT_TRUE(result.has_value()) << result.error().description();
    } else {
      ASSERT_FALSE(result.has_value());
      EXPECT_EQ(result.error().description(), row.sentence);
    }
  }
}

TEST(GPXRouteParserTest, PointsAreNumberedAcrossTracksAndRoutes) {
  std::string body = track(4) + "<rte>";
  for (int i = 0; i < 5; ++i) body += point("rtept", 1, i);
  body += "</rte>" + point("wpt", 0, 0) + "<trk><trkseg>" + point("trkpt", 1, 1) + "</trkseg><trkseg>" +
          point("trkpt", 1, 2) + point("trkpt", 1, 3) + "<trkpt lat=\"1\"/></trkseg></trk>";
  const auto result = GPXRouteParser::parse(gpx(body), "n.gpx");
  ASSERT_FALSE(result.has_value());
  EXPECT_EQ(result.error().description(), "Point 13: missing lon attribute.");
}

TEST(GPXRouteParserTest, TracksWinOverRoutesAndSkipsAreCounted) {
  const std::string route = "<rte><name>Route</name>" + point("rtept", 1, 1) + point("rtept", 1, 2) + "</rte>";
  const auto result = GPXRouteParser::parse(
      gpx(point("wpt", 5, 5) + route + "<rte/>" + point("wpt", 6, 6) + track(2) + route +
          "<trk><trkseg/><trkseg>" + point("trkpt", 2, 2, "<ele>12 m</ele><time>2024-02-30T10:00:00Z</time>") +
          point("trkpt", 2, 3, "<ele> -3.5 </ele><time>\n2024-03-01T10:00:00Z\n</time>") + "</trkseg></trk>"),
      "mixed.gpx");
  ASSERT_TRUE(result.has_value()) << result.error().description();
  const auto& segments = result->route.segments;
  ASSERT_EQ(segments.size(), 2u);
  EXPECT_EQ(segments[0].points.size(), 2u);
  EXPECT_EQ(segments[1].points[0], LocationRoutePoint(2, 2));  // kept without its unreadable values
  EXPECT_EQ(segments[1].points[1].elevation(), -3.5);
  EXPECT_TRUE(segments[1].points[1].timestamp().has_value());
  EXPECT_EQ(result->notes, (GPXParseNotes{2, 2, 1, 1}));
  EXPECT_EQ(result->route.name, "mixed");  // the first track has no name; the route's is not used
}

TEST(GPXRouteParserTest, ChoosesAndNormalisesTheName) {
  const std::string route = "<rte><name>Route name</name>" + point("rtept", 1, 1) + "</rte>";
  const struct {
    std::string body;
    std::string filename;
    std::string name;
  } rows[] = {
      {track(1, "  Morning\tRun \n "), "f.gpx", "Morning Run"},
      {track(1, "a\xC2\x80\xC2\x9F" "b\xC2\xA0" "c\xE3\x80\x80" "d"), "f.gpx", "a b c d"},
      {track(1, "<![CDATA[ Alps ]]> &amp; <!-- note --> lakes"), "f.gpx", "Alps & lakes"},
      {track(1, std::string(119, 'y') + " z"), "f.gpx", std::string(119, 'y') + " "},
      {"<metadata><name> </name></metadata>" + track(1, "\t"), "Evening ride.v2.gpx", "Evening ride.v2"},
      {track(1, "First") + track(1, "Second"), "f.gpx", "First"},
      {"<trk><trkseg>" + point("trkpt", 1, 1) + "</trkseg><name>Late</name></trk>", "f.gpx", "Late"},
      {route, "f.gpx", "Route name"},
      {"<metadata><name>Meta</name></metadata>" + route + track(1), "f.gpx", "Meta"},
      {track(1), "  \x7F.gpx", "Untitled Route"},
      {track(1), ".gpx", ".gpx"},
      {track(1), "Ride\x01\x02 7.gpx", "Ride 7"},
      {track(1), "caf\xE9.gpx", "caf\xEF\xBF\xBD"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const auto result = GPXRouteParser::parse(gpx(row.body), row.filename);
    ASSERT_TRUE(result.has_value()) << result.error().description();
    EXPECT_EQ(result->route.name, row.name);
  }
}

}  // namespace
}  // namespace orvanta
