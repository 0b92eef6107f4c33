// The host computer's clipboard: where deep-link favourites, console exports, screenshots and quick-input
// values are copied for the user, and what `pbsync host` hands to a simulator.
//
// makeHostPasteboard() picks the platform's tools: pbcopy/pbpaste (and osascript for images) on macOS;
// on Linux wl-copy/wl-paste under Wayland or xclip under X11, whichever is installed. Without either, every
// call fails with `unavailable`. InMemoryHostPasteboard stands in for the real one in tests.
#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/process_runner.hpp"
#include "support/expected.hpp"
#include "support/stop_token.hpp"

namespace orvanta {

// Why the host clipboard could not be used. description() is a sentence for the user; callers wrap it in
// their own tool's error (a `clipboardFailed` case) where they have one.
struct HostPasteboardError {
  enum class Case { unavailable, failed };
  Case kind = Case::failed;
  std::string message;

  static HostPasteboardError unavailable(std::string message) { return {Case::unavailable, std::move(message)}; }
  static HostPasteboardError failed(std::string message) { return {Case::failed, std::move(message)}; }
  [[nodiscard]] std::string description() const { return message; }
  bool operator==(const HostPasteboardError&) const = default;
};

// Every call blocks until the platform's helper has finished (at most 15 s). Implementations are
// thread-safe.
class HostPasteboard {
 public:
  virtual ~HostPasteboard() = default;

  // Replaces the clipboard's contents with `text` (UTF-8).
  [[nodiscard]] virtual expected<void, HostPasteboardError> copyText(std::string_view text,
                                                                     orvanta::stop_token stop = {}) = 0;
  // Replaces the clipboard's contents with the bytes of `file`, typed as `mimeType` ("image/png").
  [[nodiscard]] virtual expected<void, HostPasteboardError> copyFile(const std::filesystem::path& file,
                                                                     std::string_view mimeType,
                                                                     orvanta::stop_token stop = {}) = 0;
  // The clipboard's text; nullopt when it holds no text.
  [[nodiscard]] virtual expected<std::optional<std::string>, HostPasteboardError> readText(
      orvanta::stop_token stop = {}) = 0;
  // Empties the clipboard.
  [[nodiscard]] virtual expected<void, HostPasteboardError> clear(orvanta::stop_token stop = {}) = 0;
};

// The platform's clipboard, reached through `run` (which must outlive it). Looks the helpers up on PATH
// when a call is made, so installing one later helps without a restart.
[[nodiscard]] std::unique_ptr<HostPasteboard> makeHostPasteboard(RunWithOptionsFunction run);

// A clipboard in memory, for tests. Thread-safe: every call holds `mutex_`.
class InMemoryHostPasteboard final : public HostPasteboard {
 public:
  struct Contents {
    std::string bytes;
    std::string mimeType;  // "text/plain;charset=utf-8" for text
  };

  expected<void, HostPasteboardError> copyText(std::string_view text, orvanta::stop_token = {}) override;
  expected<void, HostPasteboardError> copyFile(const std::filesystem::path& file, std::string_view mimeType,
                                               orvanta::stop_token = {}) override;
  expected<std::optional<std::string>, HostPasteboardError> readText(orvanta::stop_token = {}) override;
  expected<void, HostPasteboardError> clear(orvanta::stop_token = {}) override;

  // What was copied last; nullopt when empty.
  [[nodiscard]] std::optional<Contents> contents() const;
  // Makes every following call fail with `error` (nullopt: work again).
  void failWith(std::optional<HostPasteboardError> error);

 private:
  mutable std::mutex mutex_;
  std::optional<Contents> contents_;         // guarded by mutex_
  std::optional<HostPasteboardError> fail_;  // guarded by mutex_
};

namespace detail {
// The first of `names` that is an executable file in one of the folders of $PATH.
[[nodiscard]] std::optional<std::filesystem::path> findOnPath(std::initializer_list<std::string_view> names);

// Runs one clipboard tool within the time limit every clipboard tool gets; `options` carries what the
// platform adds (environment, endAtExit). A failure to run it at all is an error; its exit is not.
[[nodiscard]] expected<ProcessRunner::Output, HostPasteboardError> runClipboardTool(
    const RunWithOptionsFunction& run, const std::filesystem::path& tool, const std::vector<std::string>& arguments,
    std::optional<std::string> input, ProcessRunner::Options options, orvanta::stop_token stop);

// Nothing when the tool ran and exited 0; otherwise the error, or "<tool> failed: <what it said>."
[[nodiscard]] expected<void, HostPasteboardError> clipboardToolSucceeded(
    const expected<ProcessRunner::Output, HostPasteboardError>& output, const std::filesystem::path& tool);
}  // namespace detail

}  // namespace orvanta
