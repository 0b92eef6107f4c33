// orvanta-panel: the desktop panel. --render DIR writes a picture of each page and exits.
#include <QApplication>
#include <QTimer>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

#include "app/environment.hpp"
#include "app/interrupt.hpp"
#include "orvanta_config.hpp"
#include "panel/pages.hpp"
#include "panel/panel_window.hpp"
#include "panel/render.hpp"

namespace {

constexpr const char* kUsage =
    "Usage: orvanta-panel [--xcrun PATH] [--render DIR [--gpx FILE]]\n"
    "\n"
    "Orvanta's desktop panel: a narrow window beside the simulator with every tool a click away. It acts on\n"
    "the remembered target simulator, the same one 'orvanta target' shows, and never picks one by itself.\n"
    "\n"
    "Options:\n"
    "  --xcrun PATH   The xcrun to run (default: $ORVANTA_XCRUN, else /usr/bin/xcrun)\n"
    "  --render DIR   Write a picture of each page into DIR (devices.png, apps.png, ...) once its first\n"
    "                 listings have come back, and one of the command palette (command-palette.png),\n"
    "                 then exit. Without a display it draws offscreen.\n"
    "  --gpx FILE     With --render: open FILE on the Location page first\n"
    "  --help         Show this help\n"
    "  --version      Show the version\n";

}  // namespace

namespace {

QtMessageHandler defaultHandler = nullptr;

void quietOffscreen(QtMsgType type, const QMessageLogContext& context, const QString& message) {
  if (type == QtWarningMsg && (message.contains("propagateSizeHints") || message.contains("XDG_RUNTIME_DIR") ||
                               message.contains("does not support raise()"))) {
    return;
  }
  if (defaultHandler != nullptr) defaultHandler(type, context, message);
}

}  // namespace

int main(int argc, char** argv) {
  std::optional<std::string> xcrun;
  std::optional<std::string> renderFolder;
  std::optional<std::string> gpx;
  for (int index = 1; index < argc; ++index) {
    const std::string argument = argv[index];
    auto value = [&](const char* name) -> std::optional<std::string> {
      if (index + 1 >= argc) {
        std::fprintf(stderr, "orvanta-panel: %s needs a value.\n%s", name, kUsage);
        std::exit(2);
      }
      return std::string(argv[++index]);
    };
    if (argument == "--help" || argument == "-h") {
      std::fputs(kUsage, stdout);
      return 0;
    }
    if (argument == "--version") {
      std::printf("orvanta-panel %s\n", ORVANTA_VERSION);
      return 0;
    }
    if (argument == "--xcrun") {
      xcrun = value("--xcrun");
    } else if (argument == "--render") {
      renderFolder = value("--render");
    } else if (argument == "--gpx") {
      gpx = value("--gpx");
    } else {
      std::fprintf(stderr, "orvanta-panel: unknown argument \"%s\".\n%s", argument.c_str(), kUsage);
      return 2;
    }
  }
  // Pictures need no display: without one, draw offscreen.
  if (renderFolder && std::getenv("QT_QPA_PLATFORM") == nullptr && std::getenv("DISPLAY") == nullptr &&
      std::getenv("WAYLAND_DISPLAY") == nullptr) {
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
  }
  // Drawing offscreen, the platform's notes on what it cannot do (size hints to a window manager, raising
  // the palette, a runtime folder for a session there is none of) say nothing to someone who asked for
  // pictures.
  if (const char* platform = std::getenv("QT_QPA_PLATFORM"); platform != nullptr && std::string(platform) == "offscreen") {
    defaultHandler = qInstallMessageHandler(quietOffscreen);
  }

  // Watching starts before Qt starts its threads, so that they leave the signals to the watcher.
  orvanta::InterruptGuard interrupt;
  interrupt.watch();
  QApplication application(argc, argv);
  QApplication::setApplicationName("Orvanta");
  orvanta::Environment environment(xcrun);
  orvanta::PanelWindow window(environment, orvanta::PanelQuestions::dialogs());

  // Ctrl-C in the terminal that started the panel closes it.
  QTimer interruptPoll;
  QObject::connect(&interruptPoll, &QTimer::timeout, [&] {
    if (interrupt.token().stop_requested()) QApplication::quit();
  });
  interruptPoll.start(200);

  if (renderFolder) {
    if (gpx) {
      window.settle(30'000);
      window.page<orvanta::LocationPage>("Location")->model().loadRoute(*gpx);
    }
    auto written = orvanta::renderPages(window, *renderFolder);
    if (!written) {
      std::fprintf(stderr, "orvanta-panel: %s\n", written.error().c_str());
      return 1;
    }
    for (const auto& path : *written) std::printf("%s\n", path.c_str());
    return 0;
  }
  window.show();
  return QApplication::exec();
}
