// The redirector as ordinary SDK code meets it. Wine knows no redirected printer ports, so
// those are tested on the layer alone.

#include "tests/platform/own_machine.h"

#include <winnetwk.h>

namespace {

using own_machine::is_layer;
using own_machine::untouched;

class RedirectorCalls : public own_machine::MachineTest {};

DWORD connection(const char* local, std::string& remote, DWORD& length) {
  SetLastError(untouched);
  return WNetGetConnectionA(local, remote.data(), &length);
}

DWORD refused(const char* local) {
  std::string remote(260, '#');
  DWORD length = 260;
  const DWORD error = connection(local, remote, length);
  EXPECT_EQ(error, GetLastError()) << "the error is the result and the last error";
  EXPECT_EQ('#', remote[0]);
  EXPECT_EQ(260U, length);
  return error;
}

TEST_F(RedirectorCalls, NameThatIsNoDeviceIsABadDevice) {
  for (const char* name : {"USB001", "", "LPT1:x", "LPTX", "\\\\srv\\share", "Q:"}) {
    EXPECT_EQ(DWORD{ERROR_BAD_DEVICE}, refused(name)) << name;
  }
}

TEST_F(RedirectorCalls, LocalDriveIsNotConnected) {
  EXPECT_EQ(DWORD{ERROR_NOT_CONNECTED}, refused("C:"));
}

TEST_F(RedirectorCalls, PrinterPortThatIsNotRedirectedIsRefused) {
  // Documented: 2250 for a device that is not redirected. Wine looks up no printer port
  // and calls each a bad device.
  const DWORD error = is_layer() ? ERROR_NOT_CONNECTED : ERROR_BAD_DEVICE;
  EXPECT_EQ(error, refused("LPT1:"));
  EXPECT_EQ(error, refused("LPT1"));
  EXPECT_EQ(error, refused("lpt9:"));
}

TEST_F(RedirectorCalls, MissingNameIsABadAddress) {
  DWORD length = 260;
  std::string remote(260, '#');
  EXPECT_EQ(DWORD{ERROR_INVALID_ADDRESS}, connection(nullptr, remote, length));
}

}  // namespace
