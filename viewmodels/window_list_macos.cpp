// The device windows from CoreGraphics' list of on-screen windows. Only owners, numbers, layers and bounds
// are read: they need no permission, where titles would need Screen Recording.
#include <CoreFoundation/CoreFoundation.h>
#include <CoreGraphics/CoreGraphics.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "viewmodels/window_list.hpp"

namespace orvanta {
namespace {

// Owns one Core Foundation reference (from a Create or Copy function).
template <typename T>
class CFHolder {
 public:
  explicit CFHolder(T value) : value_(value) {}
  ~CFHolder() {
    if (value_ != nullptr) CFRelease(value_);
  }
  CFHolder(const CFHolder&) = delete;
  CFHolder& operator=(const CFHolder&) = delete;
  T get() const { return value_; }

 private:
  T value_;
};

// The value under `key` when it has the type `typeID`. It belongs to `dictionary` and is not released.
CFTypeRef typedValue(CFDictionaryRef dictionary, CFStringRef key, CFTypeID typeID) {
  CFTypeRef value = CFDictionaryGetValue(dictionary, key);
  if (value == nullptr || CFGetTypeID(value) != typeID) return nullptr;
  return value;
}

std::optional<std::string> stringValue(CFDictionaryRef dictionary, CFStringRef key) {
  const auto text = static_cast<CFStringRef>(typedValue(dictionary, key, CFStringGetTypeID()));
  if (text == nullptr) return std::nullopt;
  if (const char* direct = CFStringGetCStringPtr(text, kCFStringEncodingUTF8); direct != nullptr) {
    return std::string(direct);
  }
  const CFIndex most = CFStringGetMaximumSizeForEncoding(CFStringGetLength(text), kCFStringEncodingUTF8);
  if (most == kCFNotFound) return std::nullopt;
  std::string buffer(static_cast<std::size_t>(most) + 1, '\0');
  if (!CFStringGetCString(text, buffer.data(), most + 1, kCFStringEncodingUTF8)) return std::nullopt;
  buffer.resize(std::char_traits<char>::length(buffer.c_str()));
  return buffer;
}

// The number under `key` when it is a whole number that T holds.
template <typename T>
std::optional<T> integerValue(CFDictionaryRef dictionary, CFStringRef key) {
  const auto number = static_cast<CFNumberRef>(typedValue(dictionary, key, CFNumberGetTypeID()));
  std::int64_t value = 0;
  if (number == nullptr || !CFNumberGetValue(number, kCFNumberSInt64Type, &value)) return std::nullopt;
  if (!std::in_range<T>(value)) return std::nullopt;
  return static_cast<T>(value);
}

// kCGWindowBounds: a dictionary of X, Y, Width and Height in global points, top-left origin.
std::optional<DesktopRect> boundsValue(CFDictionaryRef dictionary) {
  const auto bounds = static_cast<CFDictionaryRef>(typedValue(dictionary, kCGWindowBounds, CFDictionaryGetTypeID()));
  CGRect rect;
  if (bounds == nullptr || !CGRectMakeWithDictionaryRepresentation(bounds, &rect)) return std::nullopt;
  return DesktopRect{rect.origin.x, rect.origin.y, rect.size.width, rect.size.height};
}

// The window `info` describes, when a device-window owner has it and every field can be read.
std::optional<WindowRecord> deviceWindowFrom(CFDictionaryRef info) {
  auto owner = stringValue(info, kCGWindowOwnerName);
  if (!owner || !isDeviceWindowOwner(*owner)) return std::nullopt;
  const auto number = integerValue<std::uint32_t>(info, kCGWindowNumber);
  const auto pid = integerValue<int>(info, kCGWindowOwnerPID);
  const auto layer = integerValue<int>(info, kCGWindowLayer);
  const auto bounds = boundsValue(info);
  if (!number || !pid || !layer || !bounds) return std::nullopt;
  return WindowRecord{*number, std::move(*owner), *pid, *layer, *bounds};
}

class CoreGraphicsWindowListReader final : public WindowListReader {
 public:
  [[nodiscard]] bool available() const override { return true; }

  [[nodiscard]] std::vector<WindowRecord> deviceWindows() override {
    const CGWindowListOption options = kCGWindowListOptionOnScreenOnly | kCGWindowListExcludeDesktopElements;
    // The holder releases the list on every way out, a throwing push_back included.
    const CFHolder<CFArrayRef> list(CGWindowListCopyWindowInfo(options, kCGNullWindowID));
    if (list.get() == nullptr) return {};
    std::vector<WindowRecord> windows;
    const CFIndex count = CFArrayGetCount(list.get());
    for (CFIndex index = 0; index < count; ++index) {
      const auto info = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(list.get(), index));
      if (info == nullptr || CFGetTypeID(info) != CFDictionaryGetTypeID()) continue;
      if (auto window = deviceWindowFrom(info)) windows.push_back(std::move(*window));
    }
    return windows;
  }
};

}  // namespace

std::unique_ptr<WindowListReader> makeWindowListReader() {
  return std::make_unique<CoreGraphicsWindowListReader>();
}

}  // namespace orvanta
