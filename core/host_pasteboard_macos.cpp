// The host clipboard on macOS: pbcopy and pbpaste for text, osascript for images and other files.
#include "core/host_pasteboard.hpp"

namespace orvanta {
namespace {

class MacHostPasteboard final : public HostPasteboard {
 public:
  explicit MacHostPasteboard(RunWithOptionsFunction run) : run_(std::move(run)) {}

  expected<void, HostPasteboardError> copyText(std::string_view text, orvanta::stop_token stop) override {
    return detail::clipboardToolSucceeded(run("/usr/bin/pbcopy", {}, std::string(text), stop), "pbcopy");
  }

  expected<void, HostPasteboardError> copyFile(const std::filesystem::path& file, std::string_view mimeType,
                                               orvanta::stop_token stop) override {
    // The path travels as an argument of the script, never inside its text.
    const std::string value = mimeType == "image/png" ? "(read (POSIX file (item 1 of argv)) as «class PNGf»)"
                                                      : "(POSIX file (item 1 of argv))";
    return detail::clipboardToolSucceeded(
        run("/usr/bin/osascript",
            {"-e", "on run argv", "-e", "set the clipboard to " + value, "-e", "end run", file.string()}, std::nullopt,
            stop),
        "osascript");
  }

  expected<std::optional<std::string>, HostPasteboardError> readText(orvanta::stop_token stop) override {
    auto output = run("/usr/bin/pbpaste", {"-Prefer", "txt"}, std::nullopt, stop);
    if (!output) return unexpected(output.error());
    if (output->terminationStatus != 0) return std::optional<std::string>();
    return std::optional<std::string>(output->stdout.str());
  }

  expected<void, HostPasteboardError> clear(orvanta::stop_token stop) override {
    return detail::clipboardToolSucceeded(run("/usr/bin/pbcopy", {}, std::string(), stop), "pbcopy");
  }

 private:
  expected<ProcessRunner::Output, HostPasteboardError> run(const std::filesystem::path& tool,
                                                           const std::vector<std::string>& arguments,
                                                           std::optional<std::string> input,
                                                           orvanta::stop_token stop) const {
    ProcessRunner::Options options;
    options.environmentOverrides = std::map<std::string, std::string>{{"LANG", "en_US.UTF-8"}};
    return detail::runClipboardTool(run_, tool, arguments, std::move(input), std::move(options), std::move(stop));
  }

  RunWithOptionsFunction run_;
};

}  // namespace

std::unique_ptr<HostPasteboard> makeHostPasteboard(RunWithOptionsFunction run) {
  return std::make_unique<MacHostPasteboard>(std::move(run));
}

}  // namespace orvanta
