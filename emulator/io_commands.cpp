// io <device> screenshot [--type=T] [--display=D] [--mask=M] <path>
// io <device> recordVideo [--codec=hevc|h264] [--display=D] [--mask=M] [--force] <path>
//
// screenshot writes a PNG of the device's screen size and chats on stderr as simctl does. recordVideo runs
// until SIGINT: "Recording started" on stderr after a short start-up, then on SIGINT the closing lines on
// stdout and a QuickTime movie whose duration is the time recorded and whose video track has the screen
// size. Unlike the other subcommands it writes while it runs, so it prints directly instead of through
// the invocation's buffers.
//
// The recorder's faults come from the "recordVideo" rule of $ORVANTA_EMULATOR_FAULTS or
// <home>/faults.json: {"recordVideo": {"behaviour": B, "startDelaySeconds": 0.2}} where B is one of
// "silent" (never confirms), "exitEarly" (fails before confirming), "busy" (another recorder holds the
// host), "ignoreInterrupt" (SIGINT does nothing) and "noFile" (stops without writing the movie).
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "emulator/emulator.hpp"
#include "support/atomic_file.hpp"
#include "support/png.hpp"

namespace orvanta::emulator {
namespace {

struct ScreenSize {
  std::uint32_t width;
  std::uint32_t height;
};

ScreenSize screenSize(const Json& device) {
  const std::string type = device.value("deviceTypeIdentifier", "");
  auto is = [&](std::string_view suffix) {
    return type.size() >= suffix.size() && type.compare(type.size() - suffix.size(), suffix.size(), suffix) == 0;
  };
  if (is("iPhone-SE-3rd-generation")) return {750, 1334};
  if (is("iPhone-14")) return {1170, 2532};
  if (type.find("iPad-Pro-11-inch") != std::string::npos) return {1668, 2420};
  if (type.find("Watch") != std::string::npos) return {416, 496};
  return {1179, 2556};
}

void writeAll(int fd, std::string_view text) {
  while (!text.empty()) {
    ssize_t wrote = ::write(fd, text.data(), text.size());
    if (wrote < 0 && errno == EINTR) continue;
    if (wrote <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(wrote));
  }
}

Json recorderFault(const std::filesystem::path& home) {
  if (const char* inline_ = std::getenv("ORVANTA_EMULATOR_FAULTS"); inline_ && *inline_) {
    auto rules = Json::parse(inline_, nullptr, false);
    if (rules.is_object() && rules.contains("recordVideo")) return rules["recordVideo"];
  }
  if (auto text = readFile(home / "faults.json", 1 << 20); text && *text) {
    auto rules = Json::parse(**text, nullptr, false);
    if (rules.is_object() && rules.contains("recordVideo")) return rules["recordVideo"];
  }
  return Json::object();
}

// ---- the movie -----------------------------------------------------------------------------------------

void put32(std::string& out, std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) out += static_cast<char>((value >> shift) & 0xFF);
}
void put16(std::string& out, std::uint16_t value) {
  out += static_cast<char>(value >> 8);
  out += static_cast<char>(value & 0xFF);
}
void zeros(std::string& out, std::size_t count) { out.append(count, '\0'); }

std::string box(std::string_view type, std::string_view body) {
  std::string out;
  put32(out, static_cast<std::uint32_t>(8 + body.size()));
  out += type;
  out += body;
  return out;
}

// A unity matrix as movie and track headers carry it.
void matrix(std::string& out) {
  for (std::uint32_t value : {0x10000u, 0u, 0u, 0u, 0x10000u, 0u, 0u, 0u, 0x40000000u}) put32(out, value);
}

// A QuickTime movie with one video track and no samples: enough for any reader to find the duration and
// the frame size.
std::string movie(double seconds, ScreenSize size, bool hevc) {
  constexpr std::uint32_t timescale = 600;
  const auto duration = static_cast<std::uint32_t>(seconds * timescale + 0.5);

  std::string ftyp;
  ftyp += "qt  ";
  put32(ftyp, 0);
  ftyp += "qt  ";

  std::string mvhd;
  zeros(mvhd, 4 + 8);  // version, flags, creation and modification times
  put32(mvhd, timescale);
  put32(mvhd, duration);
  put32(mvhd, 0x10000);  // rate 1.0
  put16(mvhd, 0x100);    // volume 1.0
  zeros(mvhd, 10);
  matrix(mvhd);
  zeros(mvhd, 24);
  put32(mvhd, 2);  // next track id

  std::string tkhd;
  put32(tkhd, 0xF);  // version 0, enabled | in movie | in preview | in poster
  zeros(tkhd, 8);
  put32(tkhd, 1);  // track id
  zeros(tkhd, 4);
  put32(tkhd, duration);
  zeros(tkhd, 8 + 2 + 2 + 2 + 2);
  matrix(tkhd);
  put32(tkhd, size.width << 16);
  put32(tkhd, size.height << 16);

  std::string mdhd;
  zeros(mdhd, 4 + 8);
  put32(mdhd, timescale);
  put32(mdhd, duration);
  zeros(mdhd, 4);

  std::string hdlr;
  zeros(hdlr, 4);
  hdlr += "mhlr";
  hdlr += "vide";
  zeros(hdlr, 12);
  hdlr += '\0';

  std::string entry;
  zeros(entry, 6);
  put16(entry, 1);  // data reference index
  zeros(entry, 16);
  put16(entry, static_cast<std::uint16_t>(size.width));
  put16(entry, static_cast<std::uint16_t>(size.height));
  put32(entry, 0x480000);  // 72 dpi
  put32(entry, 0x480000);
  zeros(entry, 4);
  put16(entry, 1);  // frames per sample
  zeros(entry, 32);
  put16(entry, 24);      // depth
  put16(entry, 0xFFFF);  // no colour table
  std::string stsd;
  zeros(stsd, 4);
  put32(stsd, 1);
  stsd += box(hevc ? "hvc1" : "avc1", entry);

  std::string empty;
  zeros(empty, 8);  // full-box header and an entry count of 0
  std::string stsz;
  zeros(stsz, 12);
  std::string stbl = box("stsd", stsd) + box("stts", empty) + box("stsc", empty) + box("stsz", stsz) + box("stco", empty);
  std::string vmhd;
  put32(vmhd, 1);
  zeros(vmhd, 8);
  std::string dref;
  zeros(dref, 4);
  put32(dref, 1);
  std::string url;
  put32(url, 1);  // self-contained
  dref += box("url ", url);
  std::string minf = box("vmhd", vmhd) + box("dinf", box("dref", dref)) + box("stbl", stbl);
  std::string mdia = box("mdhd", mdhd) + box("hdlr", hdlr) + box("minf", minf);
  std::string trak = box("tkhd", tkhd) + box("mdia", mdia);
  return box("ftyp", ftyp) + box("wide", "") + box("mdat", "") + box("moov", box("mvhd", mvhd) + box("trak", trak));
}

// ---- recording -----------------------------------------------------------------------------------------

volatile sig_atomic_t gInterrupted = 0;
extern "C" void onRecorderInterrupt(int) { gInterrupted = 1; }

void sleepFor(double seconds) { std::this_thread::sleep_for(std::chrono::duration<double>(seconds)); }

// From here on SIGINT only sets a flag (or, when `ignore`, does nothing: then only SIGTERM or SIGKILL end
// the recorder).
void catchInterrupt(bool ignore) {
  struct sigaction action {};
  action.sa_handler = ignore ? SIG_IGN : onRecorderInterrupt;
  sigemptyset(&action.sa_mask);
  ::sigaction(SIGINT, &action, nullptr);
}

void awaitInterrupt() {
  while (!gInterrupted) sleepFor(0.01);
}

int recordVideo(Invocation& call, const Json& device, std::size_t index) {
  std::string codec = "hevc";
  bool force = false;
  std::optional<std::string> path;
  for (std::size_t i = index; i < call.args.size(); ++i) {
    const std::string& arg = call.args[i];
    if (arg.rfind("--codec=", 0) == 0) {
      codec = arg.substr(8);
    } else if (arg == "--force" || arg == "-f") {
      force = true;
    } else if (arg.rfind("--display=", 0) == 0 || arg.rfind("--mask=", 0) == 0) {
    } else if (!path) {
      path = arg;
    } else {
      return call.usage("Unexpected argument: " + arg);
    }
  }
  if (!path) return call.usage("Usage: simctl io <device> recordVideo [--codec=<codec>] [--force] <file or url>");
  if (codec != "hevc" && codec != "h264") {
    return call.fail(SimctlFailure{"NSPOSIXErrorDomain", 22, "Invalid codec: " + codec, ""});
  }
  std::error_code error;
  if (!force && std::filesystem::exists(*path, error)) {
    return call.fail(SimctlFailure{"NSPOSIXErrorDomain", 17,
                                   "cannot save recorded video output into a file that already exists", ""});
  }
  const ScreenSize size = screenSize(device);
  const Json fault = recorderFault(call.devices.home());
  const std::string behaviour = fault.value("behaviour", "");
  call.devices.unlock();  // other invocations must not wait for this recording
  catchInterrupt(behaviour == "ignoreInterrupt");

  sleepFor(fault.value("startDelaySeconds", 0.2));
  writeAll(2, "Note: No display specified. Defaulting to display: 33689263-9E4A-4BDA-9A8C-5EE53D546BE0 "
              "(screenID: 1, name: LCD)\n");
  if (behaviour == "exitEarly") {
    call.err += "An error was encountered processing the command (domain=simctl.SimulatorError, code=2):\n"
                "We could not allocate necessary AV objects to perform the recording.\n";
    return 2;
  }
  if (behaviour == "busy") {
    call.err += "Host recording is already in progress\n";
    return 1;
  }
  if (behaviour == "silent") {
    awaitInterrupt();
    return 0;
  }
  writeAll(2, "Recording started\n");
  const auto started = std::chrono::steady_clock::now();
  awaitInterrupt();
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  writeAll(1, "Recording completed. Writing to disk.\n");
  if (behaviour != "noFile") {
    if (auto written = writeFileAtomically(*path, movie(seconds, size, codec == "hevc")); !written) {
      return call.fail(SimctlFailure{"NSCocoaErrorDomain", 4, written.error().description(), ""});
    }
  }
  writeAll(1, "\nWrote video to: " + *path + "\n");
  return 0;
}

int screenshot(Invocation& call, const Json& device, std::size_t index) {
  std::optional<std::string> path;
  for (std::size_t i = index; i < call.args.size(); ++i) {
    const std::string& arg = call.args[i];
    if (arg.rfind("--", 0) == 0 && arg.size() > 2) continue;  // --type, --display, --mask
    if (path) return call.usage("Unexpected argument: " + arg);
    path = arg;
  }
  if (!path) return call.usage("Usage: simctl io <device> screenshot [--type=<type>] <file or url>");
  call.err += "Detected file type from extension: PNG\n";
  const ScreenSize size = screenSize(device);
  if (auto written = writeFileAtomically(*path, solidColorPng(size.width, size.height, 0x1E, 0x6F, 0xD9)); !written) {
    return call.fail(SimctlFailure{"NSCocoaErrorDomain", 4, written.error().description(), ""});
  }
  call.err += "Wrote screenshot to: " + *path + "\n";
  return 0;
}

int io(Invocation& call) {
  int status = 0;
  Json* device = call.device(0, &status);
  if (!device) return status;
  if (call.args.size() < 2) {
    return call.usage("Usage: simctl io <device> <operation> <arguments>\n\n  screenshot\n  recordVideo");
  }
  if (call.requireBooted(*device, &status) != 0) return status;
  const std::string& operation = call.args[1];
  if (operation == "screenshot") return screenshot(call, *device, 2);
  if (operation == "recordVideo") return recordVideo(call, *device, 2);
  return call.usage("Unknown operation: " + operation);
}

}  // namespace

void registerIoCommands(CommandTable& table) { table["io"] = io; }

}  // namespace orvanta::emulator
