// A program with known behaviour for the process-runner tests:
//   process_helper MODE [ARGS...]
// Modes: exit N | signal N | out BYTES (BYTES on stdout and on stderr, interleaved) | cat | env NAME |
// sleep SECONDS | ignore-term SECONDS | grandchild SECONDS | fds | argc | print TEXT
#include <dirent.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

void writeAll(int fd, const char* data, size_t size) {
  while (size > 0) {
    ssize_t wrote = write(fd, data, size);
    if (wrote <= 0) std::exit(3);
    data += wrote;
    size -= static_cast<size_t>(wrote);
  }
}

void sleepSeconds(double seconds) { usleep(static_cast<useconds_t>(seconds * 1e6)); }

int listDescriptors() {
  DIR* dir = opendir("/dev/fd");
  if (!dir) return 4;
  int own = dirfd(dir);
  std::string text;
  while (dirent* entry = readdir(dir)) {
    if (entry->d_name[0] == '.') continue;
    int fd = std::atoi(entry->d_name);
    if (fd == own) continue;
    text += std::to_string(fd) + "\n";
  }
  closedir(dir);
  writeAll(1, text.data(), text.size());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 64;
  std::string mode = argv[1];
  const char* arg = argc > 2 ? argv[2] : "0";
  if (mode == "exit") return std::atoi(arg);
  if (mode == "signal") {
    raise(std::atoi(arg));
    return 0;
  }
  if (mode == "out") {
    size_t total = std::strtoul(arg, nullptr, 10);
    std::vector<char> chunk(4096, 'x');
    std::vector<char> errChunk(4096, 'e');
    for (size_t sent = 0; sent < total; sent += chunk.size()) {
      size_t n = std::min(chunk.size(), total - sent);
      writeAll(1, chunk.data(), n);
      writeAll(2, errChunk.data(), n);
    }
    return 0;
  }
  if (mode == "cat") {
    char buffer[65536];
    ssize_t got;
    while ((got = read(0, buffer, sizeof buffer)) > 0) writeAll(1, buffer, static_cast<size_t>(got));
    return 0;
  }
  if (mode == "env") {
    const char* value = std::getenv(arg);
    if (!value) return 1;
    writeAll(1, value, std::strlen(value));
    return 0;
  }
  if (mode == "sleep") {
    sleepSeconds(std::atof(arg));
    return 0;
  }
  if (mode == "ignore-term") {
    signal(SIGTERM, SIG_IGN);
    writeAll(1, "ready\n", 6);
    sleepSeconds(std::atof(arg));
    return 0;
  }
  if (mode == "grandchild") {
    // The grandchild keeps the inherited stdout and stderr open long after this process is gone.
    pid_t pid = fork();
    if (pid == 0) {
      sleepSeconds(std::atof(arg));
      _exit(0);
    }
    writeAll(1, "started\n", 8);
    sleepSeconds(std::atof(arg));
    return 0;
  }
  if (mode == "background") {
    // Like a clipboard helper: leaves a copy of itself running with the pipes, and exits at once.
    pid_t pid = fork();
    if (pid == 0) {
      sleepSeconds(std::atof(arg));
      _exit(0);
    }
    writeAll(1, "served\n", 7);
    return 0;
  }
  if (mode == "fds") return listDescriptors();
  if (mode == "argc") {
    std::string text = std::to_string(argc - 1);
    writeAll(1, text.data(), text.size());
    return 0;
  }
  if (mode == "print") {
    writeAll(1, arg, std::strlen(arg));
    return 0;
  }
  return 64;
}
