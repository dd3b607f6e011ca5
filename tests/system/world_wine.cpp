// All processes of a prefix share its registry and files.

#include "tests/support/far_side.h"
#include "tests/system/child.h"
#include "tests/system/world.h"

namespace system_test {

bool WorldIsShared() { return true; }

std::string ShareWorld() {
  const std::string folder = far_side::fresh_log_directory();
  far_side::add_printer({.name = kChildPrinter, .port = "USB001"});
  far_side::set_log({.flag = 1, .path = folder, .max_size = kChildLogSize});
  return folder;
}

void EndSharedWorld() { far_side::reset(); }

}  // namespace system_test
