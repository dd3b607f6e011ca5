// A machine in a folder, named to child processes by the environment.

#include <gtest/gtest.h>

#include <windows.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/machine.h"
#include "tests/diag/shared_world.h"

namespace diag_test {
namespace {

// Goes at the end of the program.
class Folder {
 public:
  Folder() {
    std::string pattern = std::filesystem::temp_directory_path() / "vlp_shared_XXXXXX";
    const char* made = mkdtemp(pattern.data());
    EXPECT_NE(nullptr, made);
    path_ = pattern;
    std::filesystem::create_directory(path_ / "drive_c");
    std::ofstream(path_ / "machine.reg") << "Windows Registry Editor Version 5.00\n";
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  std::string path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace

void make_shared_world() {
  static const Folder folder;
  EXPECT_EQ(std::nullopt, platform::load_machine(folder.path()));
  EXPECT_EQ(0, setenv("VLPBIDI_MACHINE", folder.path().c_str(), 1));
}

}  // namespace diag_test
