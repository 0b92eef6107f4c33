// The host clipboard on Linux: wl-clipboard under Wayland, xclip under X11.
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "core/host_pasteboard.hpp"

namespace orvanta {
namespace {

class LinuxHostPasteboard final : public HostPasteboard {
 public:
  explicit LinuxHostPasteboard(RunWithOptionsFunction run) : run_(std::move(run)) {}

  expected<void, HostPasteboardError> copyText(std::string_view text, orvanta::stop_token stop) override {
    return write(std::string(text), "text/plain;charset=utf-8", stop);
  }

  expected<void, HostPasteboardError> copyFile(const std::filesystem::path& file, std::string_view mimeType,
                                               orvanta::stop_token stop) override {
    std::ifstream in(file, std::ios::binary);
    if (!in) return unexpected(HostPasteboardError::failed("Could not read " + file.string() + "."));
    return write(std::string(std::istreambuf_iterator<char>(in), {}), std::string(mimeType), stop);
  }

  expected<std::optional<std::string>, HostPasteboardError> readText(orvanta::stop_token stop) override {
    auto tool = chooseTool();
    if (!tool) return unexpected(tool.error());
    std::vector<std::string> arguments;
    if (tool->wayland) {
      arguments = {"--no-newline", "--type", "text"};
    } else {
      arguments = {"-selection", "clipboard", "-out"};
    }
    auto output = run(tool->paste, arguments, std::nullopt, stop);
    if (!output) return unexpected(output.error());
    // Both tools exit non-zero when the clipboard holds nothing they can give as text.
    if (output->terminationStatus != 0) return std::optional<std::string>();
    return std::optional<std::string>(output->stdout.str());
  }

  expected<void, HostPasteboardError> clear(orvanta::stop_token stop) override {
    auto tool = chooseTool();
    if (!tool) return unexpected(tool.error());
    if (!tool->wayland) return write({}, "text/plain;charset=utf-8", stop);
    auto output = run(tool->copy, {"--clear"}, std::nullopt, stop);
    return detail::clipboardToolSucceeded(output, tool->copy);
  }

 private:
  struct Tool {
    bool wayland = false;
    std::filesystem::path copy;
    std::filesystem::path paste;
  };

  static expected<Tool, HostPasteboardError> chooseTool() {
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    const char* x11 = std::getenv("DISPLAY");
    if (wayland && *wayland) {
      auto copy = detail::findOnPath({"wl-copy"});
      auto paste = detail::findOnPath({"wl-paste"});
      if (copy && paste) return Tool{true, *copy, *paste};
    }
    if (x11 && *x11) {
      if (auto xclip = detail::findOnPath({"xclip"})) return Tool{false, *xclip, *xclip};
    }
    if ((!wayland || !*wayland) && (!x11 || !*x11)) {
      return unexpected(
          HostPasteboardError::unavailable("There is no graphical session here, so there is no clipboard to copy to."));
    }
    return unexpected(HostPasteboardError::unavailable(
        "No clipboard tool was found: install wl-clipboard (Wayland) or xclip (X11)."));
  }

  expected<ProcessRunner::Output, HostPasteboardError> run(const std::filesystem::path& tool,
                                                           const std::vector<std::string>& arguments,
                                                           std::optional<std::string> input,
                                                           orvanta::stop_token stop) const {
    ProcessRunner::Options options;
    // wl-copy and xclip keep serving the clipboard from a background copy of themselves.
    options.endAtExit = true;
    return detail::runClipboardTool(run_, tool, arguments, std::move(input), std::move(options), std::move(stop));
  }

  expected<void, HostPasteboardError> write(std::string bytes, const std::string& mimeType, orvanta::stop_token stop) {
    auto tool = chooseTool();
    if (!tool) return unexpected(tool.error());
    std::vector<std::string> arguments;
    if (tool->wayland) {
      arguments = {"--type", mimeType};
    } else {
      arguments = {"-selection", "clipboard", "-target", mimeType.starts_with("text/") ? "UTF8_STRING" : mimeType,
                   "-in"};
    }
    auto output = run(tool->copy, arguments, std::move(bytes), stop);
    return detail::clipboardToolSucceeded(output, tool->copy);
  }

  RunWithOptionsFunction run_;
};

}  // namespace

std::unique_ptr<HostPasteboard> makeHostPasteboard(RunWithOptionsFunction run) {
  return std::make_unique<LinuxHostPasteboard>(std::move(run));
}

}  // namespace orvanta
