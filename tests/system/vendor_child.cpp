// Another process that uses a vendor-class printer's device. Its exit code says how it went; 0
// is well.

#include <windows.h>

#include <cstdlib>
#include <string>

#include "tests/system/provider.h"
#include "tests/system/vendor_world.h"

namespace {

using system_test::Provider;

bool Exists(const std::string& file) {
  return GetFileAttributesA(file.c_str()) != INVALID_FILE_ATTRIBUTES;
}

// Holds the mutex until the file "go" is there.
int Hold(const std::string& folder, bool dies) {
  const std::string name = far_side::usb_mutex_name(far_side::usb_path("b1"));
  const HANDLE mutex = CreateMutexA(nullptr, FALSE, name.c_str());
  if (mutex == nullptr || WaitForSingleObject(mutex, 20000) != WAIT_OBJECT_0) return 3;
  far_side::write_file(folder + "held", "");
  while (!Exists(folder + "go")) Sleep(5);
  if (dies) std::_Exit(0);
  return ReleaseMutex(mutex) != FALSE && CloseHandle(mutex) != FALSE ? 0 : 4;
}

// Having a connection it says so by the file "ready", and begins.
int SendCommands(const std::string& folder, int count) {
  system_test::JoinVendorWorld();
  const Provider provider;
  if (provider.Connect(system_test::kVendorPrinter).code != 2) return 5;
  far_side::write_file(folder + "ready", "");
  for (int n = 0; n < count; ++n) {
    const std::int32_t code =
        provider.Command(1, system_test::kVendorPrinter, ChnlKindD4, system_test::VendorCommand());
    if (code != 5) return 100 - code;
    if (provider.Take().data != system_test::VendorReply()) return 6;
  }
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  const std::string what = count > 2 ? arguments[1] : "";
  if (what == "hold") return Hold(arguments[2], false);
  if (what == "hold-and-die") return Hold(arguments[2], true);
  if (what == "send" && count > 3) return SendCommands(arguments[2], std::atoi(arguments[3]));
  return 2;
}
