#include "monitor/system.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/uio.h>
#include <termios.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "monitor/text.h"

// Of the layer, beside the calls that the SDK has: what is wrong with the machine, or null.
extern "C" const char* VlpPlatformMachineError(void);
extern "C" const char* VlpPlatformSetMachine(const char* folder);

namespace monitor {
namespace {

constexpr int kOutput = 1;
constexpr int kError = 2;

// Straight to the system: the standard library's streams have locks, and who ends the
// process must not wait for one.
bool Write(int stream, std::string_view text) {
  std::string rest(text);
  while (!rest.empty()) {
    const iovec piece{rest.data(), rest.size()};
    const ssize_t written = writev(stream, &piece, 1);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0 && errno == EAGAIN) {
      pollfd wait{stream, POLLOUT, 0};
      poll(&wait, 1, -1);
      continue;
    }
    if (written <= 0) return false;
    rest.erase(0, static_cast<std::size_t>(written));
  }
  return true;
}

std::string FileProblem(const std::string& path, int error) {
  return "can't read " + Harmless(path) + ": " + std::strerror(error);
}

}  // namespace

std::vector<std::string> ProgramArguments(int argc, char** argv) {
  if (argc < 1) return {};
  return {argv + 1, argv + argc};
}

bool WriteOutput(std::string_view text) { return Write(kOutput, text); }

bool WriteError(std::string_view text) { return Write(kError, text); }

bool OutputTakesColours() {
  termios settings{};
  const char* const kind = std::getenv("TERM");
  const bool dumb = kind != nullptr && std::string_view(kind) == "dumb";
  return !dumb && tcgetattr(kOutput, &settings) == 0;
}

ScreenSize TerminalSize() {
  winsize size{};
  if (ioctl(kOutput, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) return {};
  return {size.ws_col, size.ws_row};
}

// Not by the layer's own calls, which see the machine's drive only.
std::string ReadWholeFile(const std::string& path, std::size_t most,
                          std::vector<std::uint8_t>* bytes) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return FileProblem(path, errno);
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(fdopen(descriptor, "rb"),
                                                             &std::fclose);
  if (file == nullptr) return FileProblem(path, errno);
  std::vector<std::uint8_t> piece(65536);
  bytes->clear();
  while (const std::size_t read = std::fread(piece.data(), 1, piece.size(), file.get())) {
    bytes->insert(bytes->end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(read));
    if (bytes->size() > most) break;
  }
  return std::ferror(file.get()) != 0 ? FileProblem(path, errno) : "";
}

std::string DefaultProvider() {
  std::string path(32768, '\0');
  path.resize(GetModuleFileNameA(nullptr, path.data(), static_cast<DWORD>(path.size())));
  path.resize(path.rfind('/') + 1);
  return path + "libVlpBidi.so";
}

HMODULE LoadProvider(const std::string& file) {
  // A bare name would be looked for in the system's folders.
  const bool bare = file.find('/') == std::string::npos;
  return LoadLibraryA((bare ? "./" + file : file).c_str());
}

std::string UseMachine(const std::string& folder) {
  const char* const wrong =
      folder.empty() ? VlpPlatformMachineError() : VlpPlatformSetMachine(folder.c_str());
  return wrong == nullptr ? "" : wrong;
}

}  // namespace monitor
