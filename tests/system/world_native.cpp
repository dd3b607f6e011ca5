// The registry lives in each process's memory; files and named mutexes are shared.

#include <stdlib.h>

#include <filesystem>
#include <fstream>

#include "platform/machine.h"
#include "tests/system/child.h"
#include "tests/system/world.h"

namespace system_test {
namespace {

std::filesystem::path shared_folder;

}  // namespace

bool WorldIsShared() { return false; }

std::string ShareWorld() {
  std::string folder = (std::filesystem::temp_directory_path() / "vlp_shared_XXXXXX").string();
  if (mkdtemp(folder.data()) == nullptr) abort();
  shared_folder = folder;
  std::filesystem::create_directories(shared_folder / "drive_c" / "log");
  std::ofstream(shared_folder / "machine.reg") << "Windows Registry Editor Version 5.00\n";
  setenv("VLPBIDI_MACHINE", folder.c_str(), 1);
  // Mutexes of this world only.
  std::filesystem::create_directory(shared_folder / "mutexes");
  setenv("VLPBIDI_SHARED_DIR", (shared_folder / "mutexes").c_str(), 1);
  if (platform::load_machine(folder)) abort();
  return "C:\\log\\";
}

void EndSharedWorld() {
  unsetenv("VLPBIDI_MACHINE");
  unsetenv("VLPBIDI_SHARED_DIR");
  platform::reset_machine();
  std::filesystem::remove_all(shared_folder);
}

}  // namespace system_test
