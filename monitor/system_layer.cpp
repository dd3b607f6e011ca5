#include "monitor/system.h"

#include <termios.h>

#include <cstdio>

// Of the layer, beside the calls that the SDK has: what is wrong with the machine, or null.
extern "C" const char* VlpPlatformMachineError(void);
extern "C" const char* VlpPlatformSetMachine(const char* folder);

namespace monitor {
namespace {

constexpr int kOutput = 1;

void Write(std::FILE* stream, std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stream);
  std::fflush(stream);
}

}  // namespace

std::vector<std::string> ProgramArguments(int argc, char** argv) {
  if (argc < 1) return {};
  return {argv + 1, argv + argc};
}

void WriteOutput(std::string_view text) { Write(stdout, text); }

void WriteError(std::string_view text) { Write(stderr, text); }

bool OutputTakesColours() {
  termios settings{};
  return tcgetattr(kOutput, &settings) == 0;
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
