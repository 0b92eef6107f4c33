#include "tools/location/gpx_route_parser.hpp"

#include <expat.h>
#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/number_text.hpp"
#include "support/uuid.hpp"
#include "tools/location/gpx_timestamp.hpp"
#include "tools/location/route_name.hpp"

namespace orvanta {
namespace {

using Case = LocationSimulationError::Case;

// GPX 1.0 and 1.1 share this namespace prefix ("http://www.topografix.com/GPX/1/0", ".../1/1").
constexpr std::string_view kGPXNamespaceBase = "http://www.topografix.com/GPX/";
// Expat joins a namespace URI and a local name with this byte, which no XML 1.0 text can contain.
constexpr char kNamespaceSeparator = '\x01';
constexpr std::size_t kFeedBytes = std::size_t{1} << 20;
constexpr std::size_t kMaximumValueText = 1024;
// Expat's own memory in one parse. Expat holds a whole token (a tag with its attributes, a comment, a
// processing instruction) in its input buffer until the token ends, and that buffer grows by doubling
// from 1 KiB: for a token as long as the largest file plus one slice it reaches 32 MiB, while the 16 MiB
// it replaces is still held. An attribute value is copied once more into expat's string pool, which also
// doubles (at most twice the value's length, with the old block held during the copy). So one parse of
// an accepted file needs at most about 48 MiB + 3 x 25 MiB = 123 MiB in the worst case; the limit leaves
// room above that, and is there only so that a fault in this reasoning ends as a clear error rather than
// an unbounded allocation.
constexpr std::size_t kExpatMemoryLimit =
    std::size_t{6} * static_cast<std::size_t>(GPXRouteParser::maximumBytes);

bool containsEntityDeclaration(std::string_view data) {
  static constexpr std::string_view plain = "<!ENTITY";
  // What the UTF-16 little-endian ("<\0!\0...Y\0") and big-endian ("\0<\0!...\0Y") forms have in common.
  static constexpr char wideBytes[] = {'<', 0, '!', 0, 'E', 0, 'N', 0, 'T', 0, 'I', 0, 'T', 0, 'Y'};
  static constexpr std::string_view wide(wideBytes, sizeof wideBytes);
  // "!" is rare in GPX, so looking for it first is one quick pass instead of two substring searches.
  const char* const begin = data.data();
  const char* const end = begin + data.size();
  for (const char* at = begin;
       (at = static_cast<const char*>(std::memchr(at, '!', static_cast<std::size_t>(end - at)))); ++at) {
    const auto offset = static_cast<std::size_t>(at - begin);
    if (offset >= 1 && data.substr(offset - 1, plain.size()) == plain) return true;
    if (offset >= 2 && data.substr(offset - 2, wide.size()) == wide) return true;
  }
  return false;
}

std::string_view trimXMLSpace(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

// Expat's allocator, counting per thread what expat holds: a parse runs on one thread from the creation
// of its parser to its release, and the release returns every byte.
thread_local std::size_t expatBytesInUse = 0;
thread_local std::size_t expatPeakBytes = 0;
constexpr std::size_t kBlockHeader = alignof(std::max_align_t);

void* storeSize(void* block, std::size_t size) {
  if (!block) return nullptr;
  std::memcpy(block, &size, sizeof size);
  expatBytesInUse += size;
  expatPeakBytes = std::max(expatPeakBytes, expatBytesInUse);
  return static_cast<unsigned char*>(block) + kBlockHeader;
}

void* takeSize(void* pointer, std::size_t& size) {
  void* block = static_cast<unsigned char*>(pointer) - kBlockHeader;
  std::memcpy(&size, block, sizeof size);
  expatBytesInUse -= size;
  return block;
}

void* expatMalloc(std::size_t size) {
  if (size > kExpatMemoryLimit - expatBytesInUse) return nullptr;
  return storeSize(std::malloc(kBlockHeader + size), size);
}

void expatFree(void* pointer) {
  if (!pointer) return;
  std::size_t size = 0;
  std::free(takeSize(pointer, size));
}

void* expatRealloc(void* pointer, std::size_t size) {
  if (!pointer) return expatMalloc(size);
  std::size_t oldSize = 0;
  void* block = takeSize(pointer, oldSize);
  if (size <= kExpatMemoryLimit - expatBytesInUse) {
    if (void* grown = std::realloc(block, kBlockHeader + size)) return storeSize(grown, size);
  }
  storeSize(block, oldSize);  // a refused or failed realloc leaves the old block with expat
  return nullptr;
}

constexpr XML_Memory_Handling_Suite kExpatMemory = {expatMalloc, expatRealloc, expatFree};

// A run of at most `capacity` points that never moves. Large runs are pages mapped for them alone, so
// that releasing one gives its memory back to the system at once instead of to the allocator's free lists,
// whose thresholds depend on whatever the process allocated before.
class PointBlock {
 public:
  explicit PointBlock(std::size_t capacity) : capacity_(capacity) {
    if (mapped()) {
      void* pages = mmap(nullptr, bytes(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
      if (pages == MAP_FAILED) throw std::bad_alloc();
      points_ = static_cast<LocationRoutePoint*>(pages);
    } else {
      points_ = std::allocator<LocationRoutePoint>().allocate(capacity_);
    }
  }
  PointBlock(PointBlock&& other) noexcept
      : points_(std::exchange(other.points_, nullptr)), size_(other.size_), capacity_(other.capacity_) {}
  PointBlock& operator=(PointBlock&&) = delete;
  ~PointBlock() {
    if (!points_) return;
    if (mapped()) {
      munmap(points_, bytes());
    } else {
      std::allocator<LocationRoutePoint>().deallocate(points_, capacity_);
    }
  }

  [[nodiscard]] bool full() const { return size_ == capacity_; }
  [[nodiscard]] std::size_t capacity() const { return capacity_; }
  void push(const LocationRoutePoint& point) { std::construct_at(points_ + size_++, point); }
  [[nodiscard]] const LocationRoutePoint* begin() const { return points_; }
  [[nodiscard]] const LocationRoutePoint* end() const { return points_ + size_; }

 private:
  static constexpr std::size_t kMappedCapacity = 2048;  // 64 KiB
  [[nodiscard]] bool mapped() const { return capacity_ >= kMappedCapacity; }
  [[nodiscard]] std::size_t bytes() const { return capacity_ * sizeof(LocationRoutePoint); }

  LocationRoutePoint* points_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_;
};
static_assert(std::is_trivially_copyable_v<LocationRoutePoint> && std::is_trivially_destructible_v<LocationRoutePoint>);

// Collects a segment's points in blocks of growing size, so that a long track does not pass through the
// copies of a growing vector; take() hands them over in one vector of the exact size, releasing each
// block as soon as it is copied.
class SegmentBuilder {
 public:
  void push(const LocationRoutePoint& point) {
    if (blocks_.empty() || blocks_.back().full()) {
      blocks_.emplace_back(blocks_.empty() ? 16 : std::min<std::size_t>(blocks_.back().capacity() * 2, 16384));
    }
    blocks_.back().push(point);
    ++size_;
  }
  [[nodiscard]] bool empty() const { return size_ == 0; }
  LocationRouteSegment take() {
    LocationRouteSegment segment;
    segment.points.reserve(size_);
    for (auto& block : blocks_) {
      segment.points.insert(segment.points.end(), block.begin(), block.end());
      PointBlock released(std::move(block));
    }
    blocks_.clear();
    size_ = 0;
    return segment;
  }

 private:
  std::vector<PointBlock> blocks_;
  std::size_t size_ = 0;
};

// What an open element means here, decided from its name and its parent's role when it starts.
enum class Role : std::uint8_t { ignored, gpx, metadata, track, trackSegment, route, point, text };
// Whose character data is being collected.
enum class TextTarget : std::uint8_t { none, trackName, routeName, metadataName, elevation, time };

struct ParserDeleter {
  void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};

// The state of one parse. Expat's callbacks are noexcept: they run inside C code, so running out of
// memory in one of them ends the program rather than unwinding through expat.
class DocumentReader {
 public:
  explicit DocumentReader(XML_Parser parser) : parser_(parser) {}

  std::optional<LocationSimulationError> failure;
  bool sawRoot = false;
  std::vector<LocationRouteSegment> trackSegments;
  std::vector<LocationRouteSegment> routeSegments;
  std::optional<std::string> firstTrackName;
  std::optional<std::string> firstRouteName;
  std::optional<std::string> metadataName;
  GPXParseNotes notes;

  static void XMLCALL onStart(void* reader, const XML_Char* name, const XML_Char** attributes) noexcept {
    static_cast<DocumentReader*>(reader)->start(name, attributes);
  }
  static void XMLCALL onEnd(void* reader, const XML_Char*) noexcept { static_cast<DocumentReader*>(reader)->end(); }
  static void XMLCALL onText(void* reader, const XML_Char* text, int length) noexcept {
    static_cast<DocumentReader*>(reader)->collect(std::string_view(text, static_cast<std::size_t>(length)));
  }
  static void XMLCALL onEntityDeclaration(void* reader, const XML_Char*, int, const XML_Char*, int, const XML_Char*,
                                          const XML_Char*, const XML_Char*, const XML_Char*) noexcept {
    static_cast<DocumentReader*>(reader)->fail(LocationSimulationError(Case::gpxUnsafeContent));
  }
  static void XMLCALL onSkippedEntity(void* reader, const XML_Char*, int) noexcept {
    static_cast<DocumentReader*>(reader)->fail(LocationSimulationError(Case::gpxUnsafeContent));
  }
  static int XMLCALL onExternalEntity(XML_Parser parser, const XML_Char*, const XML_Char*, const XML_Char*,
                                      const XML_Char*) noexcept {
    // The reader is the parser's user data; answering with an error gives the entity no content.
    static_cast<DocumentReader*>(XML_GetUserData(parser))->fail(LocationSimulationError(Case::gpxUnsafeContent));
    return XML_STATUS_ERROR;
  }

  void fail(LocationSimulationError error) {
    if (failure) return;
    failure = std::move(error);
    XML_StopParser(parser_, XML_FALSE);
  }

 private:
  struct ElementName {
    std::string_view local;
    bool isGPX;
  };

  static ElementName split(const XML_Char* name) {
    const char* separator = std::strrchr(name, kNamespaceSeparator);
    if (!separator) return {name, true};
    const std::string_view uri(name, static_cast<std::size_t>(separator - name));
    return {separator + 1, uri.empty() || uri.starts_with(kGPXNamespaceBase)};
  }

  void start(const XML_Char* rawName, const XML_Char** attributes) {
    if (failure) return;
    if (depth_ == GPXRouteParser::maximumDepth) return fail(LocationSimulationError(Case::gpxMalformedXML));
    const ElementName element = split(rawName);
    Role role = Role::ignored;
    if (depth_ == 0) {
      if (!element.isGPX || element.local != "gpx") return fail(LocationSimulationError(Case::gpxUnsupportedFormat));
      sawRoot = true;
      role = Role::gpx;
    } else if (element.isGPX) {
      role = roleOf(stack_[depth_ - 1], element.local, attributes);
    }
    stack_[depth_++] = role;
  }

  Role roleOf(Role parent, std::string_view name, const XML_Char** attributes) {
    switch (parent) {
      case Role::gpx:
        if (name == "trk") {
          ++trackCount_;
          return Role::track;
        }
        if (name == "rte") {
          ++routeCount_;
          return Role::route;
        }
        if (name == "wpt") ++notes.ignoredWaypointCount;
        if (name == "metadata") return Role::metadata;
        return Role::ignored;
      case Role::metadata:
        if (name == "name" && !metadataName) return beginText(TextTarget::metadataName);
        return Role::ignored;
      case Role::track:
        if (name == "trkseg") return Role::trackSegment;
        if (name == "name" && trackCount_ == 1 && !firstTrackName) return beginText(TextTarget::trackName);
        return Role::ignored;
      case Role::route:
        if (name == "rtept") return beginPoint(attributes);
        if (name == "name" && routeCount_ == 1 && !firstRouteName) return beginText(TextTarget::routeName);
        return Role::ignored;
      case Role::trackSegment:
        if (name == "trkpt") return beginPoint(attributes);
        return Role::ignored;
      case Role::point:
        if (name == "ele") return beginText(TextTarget::elevation);
        if (name == "time") return beginText(TextTarget::time);
        return Role::ignored;
      case Role::ignored:
      case Role::text:
        return Role::ignored;
    }
    return Role::ignored;
  }

  Role beginText(TextTarget target) {
    // Character data is only wanted inside these few elements; without a handler elsewhere, expat does
    // not report the white space between elements at all.
    XML_SetCharacterDataHandler(parser_, onText);
    textTarget_ = target;
    text_.clear();
    textTooLong_ = false;
    return Role::text;
  }

  Role beginPoint(const XML_Char** attributes) {
    ++pointNumber_;
    const XML_Char* latitudeText = nullptr;
    const XML_Char* longitudeText = nullptr;
    for (const XML_Char** attribute = attributes; *attribute; attribute += 2) {
      if (std::strcmp(attribute[0], "lat") == 0) {
        latitudeText = attribute[1];
      } else if (std::strcmp(attribute[0], "lon") == 0) {
        longitudeText = attribute[1];
      }
    }
    const auto problem = [&]() -> std::optional<GPXPointProblem> {
      if (!latitudeText) return GPXPointProblem::missingLatitude;
      if (!longitudeText) return GPXPointProblem::missingLongitude;
      const std::optional<double> latitude = parseStrictDecimal(latitudeText);
      if (!latitude) return GPXPointProblem::invalidLatitude;
      const std::optional<double> longitude = parseStrictDecimal(longitudeText);
      if (!longitude) return GPXPointProblem::invalidLongitude;
      if (*latitude < -90 || *latitude > 90) return GPXPointProblem::latitudeOutOfRange;
      if (*longitude < -180 || *longitude > 180) return GPXPointProblem::longitudeOutOfRange;
      pendingPoint_ = LocationRoutePoint(*latitude, *longitude);
      return std::nullopt;
    }();
    if (problem) fail(LocationSimulationError::gpxInvalidPoint(pointNumber_, *problem));
    return Role::point;
  }

  void collect(std::string_view text) {
    if (textTarget_ == TextTarget::none || failure) return;
    if (textTarget_ == TextTarget::elevation || textTarget_ == TextTarget::time) {
      if (text_.size() + text.size() > kMaximumValueText) {
        textTooLong_ = true;
      } else {
        text_ += text;
      }
    } else {
      nameBuilder_.append(text);
    }
  }

  void end() {
    if (failure) return;
    switch (stack_[--depth_]) {
      case Role::point:
        currentSegment_.push(pendingPoint_);
        pendingPoint_ = {};
        break;
      case Role::trackSegment:
        if (!currentSegment_.empty()) trackSegments.push_back(currentSegment_.take());
        break;
      case Role::route:
        if (!currentSegment_.empty()) routeSegments.push_back(currentSegment_.take());
        break;
      case Role::text:
        endText();
        break;
      case Role::ignored:
      case Role::gpx:
      case Role::metadata:
      case Role::track:
        break;
    }
  }

  void endText() {
    XML_SetCharacterDataHandler(parser_, nullptr);
    const std::string_view value = textTooLong_ ? std::string_view() : trimXMLSpace(text_);
    switch (std::exchange(textTarget_, TextTarget::none)) {
      case TextTarget::trackName: firstTrackName = nameBuilder_.take(); break;
      case TextTarget::routeName: firstRouteName = nameBuilder_.take(); break;
      case TextTarget::metadataName: metadataName = nameBuilder_.take(); break;
      case TextTarget::elevation:
        if (const auto metres = parsePlainDecimal(value)) {
          pendingPoint_.setElevation(*metres);
        } else {
          ++notes.unreadableElevationCount;
        }
        break;
      case TextTarget::time:
        if (const auto result = GPXTimestamp::read(value); result.kind == GPXTimestamp::Result::Case::valid) {
          pendingPoint_.setTimestamp(result.instant);
        } else {
          ++notes.unreadableTimestampCount;
        }
        break;
      case TextTarget::none:
        break;
    }
  }

  XML_Parser parser_;
  std::array<Role, GPXRouteParser::maximumDepth> stack_{};
  std::size_t depth_ = 0;
  std::int64_t trackCount_ = 0;
  std::int64_t routeCount_ = 0;
  std::int64_t pointNumber_ = 0;
  LocationRoutePoint pendingPoint_;
  SegmentBuilder currentSegment_;
  TextTarget textTarget_ = TextTarget::none;
  std::string text_;
  bool textTooLong_ = false;
  detail::RouteNameBuilder nameBuilder_;
};

std::string chooseName(std::initializer_list<const std::optional<std::string>*> candidates,
                       std::string_view sourceFilename) {
  for (const auto* candidate : candidates) {
    if (*candidate && !(*candidate)->empty()) return **candidate;
  }
  const auto dot = sourceFilename.rfind('.');
  std::string name = normalizeRouteName(dot == 0 || dot == std::string_view::npos ? sourceFilename
                                                                                   : sourceFilename.substr(0, dot));
  return name.empty() ? "Untitled Route" : name;
}

}  // namespace

expected<GPXParseResult, LocationSimulationError> GPXRouteParser::parse(std::string_view data,
                                                                        std::string_view sourceFilename) {
  if (data.size() > static_cast<std::size_t>(maximumBytes))
    return unexpected(LocationSimulationError::gpxTooLarge(maximumBytes));
  if (data.empty()) return unexpected(LocationSimulationError(Case::gpxMalformedXML));
  if (containsEntityDeclaration(data)) return unexpected(LocationSimulationError(Case::gpxUnsafeContent));

  expatPeakBytes = 0;
  const std::unique_ptr<XML_ParserStruct, ParserDeleter> parser(
      XML_ParserCreate_MM(nullptr, &kExpatMemory, &kNamespaceSeparator));
  if (!parser) return unexpected(LocationSimulationError(Case::gpxMalformedXML));
  DocumentReader reader(parser.get());
  XML_SetUserData(parser.get(), &reader);
  XML_SetElementHandler(parser.get(), DocumentReader::onStart, DocumentReader::onEnd);
  XML_SetEntityDeclHandler(parser.get(), DocumentReader::onEntityDeclaration);
  XML_SetSkippedEntityHandler(parser.get(), DocumentReader::onSkippedEntity);
  XML_SetExternalEntityRefHandler(parser.get(), DocumentReader::onExternalEntity);
  XML_SetParamEntityParsing(parser.get(), XML_PARAM_ENTITY_PARSING_NEVER);

  // Fed in slices: expat copies what it is given into its own buffer, and a slice keeps that copy small.
  XML_Status status = XML_STATUS_OK;
  for (std::size_t offset = 0; status == XML_STATUS_OK && offset < data.size();) {
    const std::size_t size = std::min(kFeedBytes, data.size() - offset);
    const bool last = offset + size == data.size();
    status = XML_Parse(parser.get(), data.data() + offset, static_cast<int>(size), last ? XML_TRUE : XML_FALSE);
    offset += size;
  }
  if (reader.failure) return unexpected(std::move(*reader.failure));
  if (status != XML_STATUS_OK && XML_GetErrorCode(parser.get()) == XML_ERROR_NO_MEMORY) {
    return unexpected(LocationSimulationError(Case::gpxReaderOutOfMemory));
  }
  if (status != XML_STATUS_OK || !reader.sawRoot) return unexpected(LocationSimulationError(Case::gpxMalformedXML));

  GPXParseResult result;
  const std::optional<std::string>* ownName = &reader.firstTrackName;
  if (!reader.trackSegments.empty()) {
    result.route.segments = std::move(reader.trackSegments);
    reader.notes.ignoredRouteCount = static_cast<std::int64_t>(reader.routeSegments.size());
  } else if (!reader.routeSegments.empty()) {
    result.route.segments = std::move(reader.routeSegments);
    ownName = &reader.firstRouteName;
  } else {
    return unexpected(LocationSimulationError(Case::gpxNoPoints));
  }
  result.route.id = makeUUID();
  result.route.name = chooseName({ownName, &reader.metadataName}, sourceFilename);
  result.route.source.filename = std::string(sourceFilename);
  result.notes = reader.notes;
  return result;
}

namespace detail {
std::size_t gpxParserPeakMemoryOfLastParse() { return expatPeakBytes; }
std::size_t gpxParserMemoryLimit() { return kExpatMemoryLimit; }
}  // namespace detail

}  // namespace orvanta
