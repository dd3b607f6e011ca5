// The path of the device at an index of its class.

#include <iterator>

#include "tests/device/pipes_port.h"

namespace pipes_test {
namespace {

class WinUsbPath : public DeviceTest {
 protected:
  WinUsbPath() { spy() = {}; }
  ~WinUsbPath() override { spy() = {}; }

  struct Answer {
    bool found = false;
    std::string path = {};
    DWORD error = 0;
    bool clean = false;  // nothing behind the text
  };

  static Answer ask(std::uint32_t index, const GUID& guid = vlp::kSerialNumberInterface) {
    const vlp::CWinUSB_IO device(&guid);
    std::string room(vlp::kTextLimit + 1, '\x7E');
    SetLastError(kUntouched);
    Answer answer;
    answer.found = device.GetDevicePath(index, room.data());
    answer.error = GetLastError();
    EXPECT_EQ('\x7E', room.back());
    room.pop_back();
    answer.path = room.c_str();
    answer.clean = room.find_first_not_of('\0', answer.path.size()) == std::string::npos;
    return answer;
  }

  // A device path of so many characters.
  static std::string long_path(std::size_t size) {
    return path_of(std::string(size - path_of("").size(), 'x'));
  }

  static void expect_none(const Answer& answer, DWORD error) {
    EXPECT_FALSE(answer.found);
    EXPECT_EQ("", answer.path);
    EXPECT_TRUE(answer.clean);
    EXPECT_EQ(error, answer.error);
  }
};

TEST_F(WinUsbPath, DevicesOfTheClassComeByIndexAndBehindTheLastThereAreNoMore) {
  platform::add_usb_device(described(kSecond));
  platform::add_usb_device(described(kFirst));
  platform::add_usb_device(described(path_of("another", kProductClass)));
  EXPECT_EQ(kFirst, ask(0).path);
  EXPECT_TRUE(ask(0).found);
  EXPECT_TRUE(ask(0).clean);
  EXPECT_EQ(kSecond, ask(1).path);
  expect_none(ask(2), ERROR_NO_MORE_ITEMS);
  expect_none(ask(0xFFFFFFFF), ERROR_NO_MORE_ITEMS);
}

TEST_F(WinUsbPath, EachClassHasItsOwnDevices) {
  platform::add_usb_device(described(kFirst));
  platform::add_usb_device(described(path_of("another", kProductClass)));
  EXPECT_EQ(path_of("another", kProductClass), ask(0, vlp::kProductInterface).path);
  expect_none(ask(1, vlp::kProductInterface), ERROR_NO_MORE_ITEMS);
}

TEST_F(WinUsbPath, OnlyWhatIsPluggedInCountsAndIndicesShift) {
  platform::add_usb_device(described(kFirst));
  platform::add_usb_device(described(kSecond));
  platform::unplug_usb_device(kFirst);
  EXPECT_EQ(kSecond, ask(0).path);
  expect_none(ask(1), ERROR_NO_MORE_ITEMS);
  platform::replug_usb_device(kFirst);
  EXPECT_EQ(kFirst, ask(0).path);
}

TEST_F(WinUsbPath, AsksTwiceWithAClearedRecordAndFreesEverything) {
  platform::add_usb_device(described(kFirst));
  EXPECT_TRUE(ask(0).found);
  const std::string size = std::to_string(4 + kFirst.size() + 1);
  EXPECT_THAT(spy().calls,
              ElementsAre("SetupDiGetClassDevsA B1CEB704 null null 18",
                          "SetupDiEnumDeviceInterfaces null B1CEB704 0",
                          "SetupDiGetDeviceInterfaceDetailA null 0", "LocalAlloc fixed " + size,
                          "SetupDiGetDeviceInterfaceDetailA 8 clean " + size, "LocalFree",
                          "SetupDiDestroyDeviceInfoList"));
  EXPECT_NE(kSpoiled, GetLastError());
}

TEST_F(WinUsbPath, LongestPathHas259Characters) {
  platform::add_usb_device(described(long_path(259)));
  const Answer answer = ask(0);
  EXPECT_TRUE(answer.found);
  EXPECT_EQ(long_path(259), answer.path);
  platform::unplug_usb_device(long_path(259));
  platform::add_usb_device(described(long_path(260)));
  const Answer too_long = ask(0);
  EXPECT_FALSE(too_long.found);
  EXPECT_EQ("", too_long.path);
  EXPECT_TRUE(too_long.clean);
}

TEST_F(WinUsbPath, PathThatIsTooLongHidesNoOtherDevice) {
  platform::add_usb_device(described(long_path(300)));
  platform::add_usb_device(described(path_of("a")));
  platform::add_usb_device(described(path_of("z")));
  EXPECT_EQ(path_of("a"), ask(0).path);
  EXPECT_FALSE(ask(1).found);
  EXPECT_EQ(path_of("z"), ask(2).path);
}

TEST_F(WinUsbPath, WithoutRoomOrClassTheErrorIsZeroAndNothingIsAsked) {
  SetLastError(kUntouched);
  EXPECT_FALSE(vlp::CWinUSB_IO(&vlp::kSerialNumberInterface).GetDevicePath(0, nullptr));
  EXPECT_EQ(0u, GetLastError());
  char room[vlp::kTextLimit] = "as it was";
  SetLastError(kUntouched);
  EXPECT_FALSE(vlp::CWinUSB_IO(nullptr).GetDevicePath(0, room));
  EXPECT_EQ(0u, GetLastError());
  EXPECT_STREQ("as it was", room);
  EXPECT_TRUE(spy().calls.empty());
}

TEST_F(WinUsbPath, NoSetIsNoDeviceWhateverItsForm) {
  platform::add_usb_device(described(kFirst));
  spy().null_set = true;
  expect_none(ask(0), ERROR_BAD_DEVICE);
  spy().null_set = false;
  spy().calls.clear();
  platform::fail_call("SetupDiGetClassDevsA", 1, ERROR_NOT_ENOUGH_MEMORY);
  expect_none(ask(0), ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_EQ(1u, spy().calls.size());
}

TEST_F(WinUsbPath, ErrorThatMatteredStaysAcrossTheCleaning) {
  platform::add_usb_device(described(kFirst));
  platform::fail_call("SetupDiEnumDeviceInterfaces", 1, ERROR_BAD_DEVICE);
  expect_none(ask(0), ERROR_BAD_DEVICE);
  EXPECT_EQ("SetupDiDestroyDeviceInfoList", spy().calls.back());
  platform::fail_call("SetupDiGetDeviceInterfaceDetailA", 2, ERROR_BAD_DEVICE);
  expect_none(ask(0), ERROR_BAD_DEVICE);
  EXPECT_EQ("LocalFree", *std::next(spy().calls.rbegin()));
  EXPECT_EQ("SetupDiDestroyDeviceInfoList", spy().calls.back());
  platform::fail_call("LocalAlloc", 1, ERROR_NOT_ENOUGH_MEMORY);
  expect_none(ask(0), ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_EQ("SetupDiDestroyDeviceInfoList", spy().calls.back());
}

TEST_F(WinUsbPath, SizeThatIsNoSizeAllocatesNothing) {
  platform::add_usb_device(described(kFirst));
  for (const DWORD size : {DWORD{0}, DWORD{4}, DWORD{0x10001}, DWORD{0xFFFFFFFF}}) {
    spy().calls.clear();
    spy().detail_size = size;
    const Answer answer = ask(0);
    EXPECT_FALSE(answer.found) << size;
    EXPECT_EQ("", answer.path);
    EXPECT_THAT(spy().calls, ElementsAre("SetupDiGetClassDevsA B1CEB704 null null 18",
                                         "SetupDiEnumDeviceInterfaces null B1CEB704 0",
                                         "SetupDiGetDeviceInterfaceDetailA null 0",
                                         "SetupDiDestroyDeviceInfoList"));
  }
}

TEST_F(WinUsbPath, TextWithoutAnEndIsRefused) {
  platform::add_usb_device(described(kFirst));
  for (const DWORD size : {DWORD{20}, DWORD{264}, DWORD{400}}) {
    spy().detail_size = size;
    spy().detail_text = std::string(400, 'x');
    const Answer answer = ask(0);
    EXPECT_FALSE(answer.found) << size;
    EXPECT_EQ("", answer.path);
    EXPECT_TRUE(answer.clean);
  }
}

}  // namespace
}  // namespace pipes_test
