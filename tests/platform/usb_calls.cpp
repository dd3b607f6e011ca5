// The calls that list device interfaces, as ordinary SDK code.

#include <windows.h>

#include <setupapi.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "tests/platform/own_machine.h"
#include "tests/platform/usb_system.h"

namespace {

using own_machine::untouched;
using usb_system::path_of;
using usb_system::plug;
using usb_system::test_class;
using usb_system::unplug;

constexpr DWORD present_interfaces = DIGCF_PRESENT | DIGCF_DEVICEINTERFACE;
constexpr GUID other_class = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

// Room for a detail record, and its number.
class Detail {
 public:
  explicit Detail(size_t size, DWORD number = sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_A))
      : bytes_(size, '#') {
    std::memcpy(bytes_.data(), &number, sizeof number);
  }
  PSP_DEVICE_INTERFACE_DETAIL_DATA_A get() {
    return reinterpret_cast<PSP_DEVICE_INTERFACE_DETAIL_DATA_A>(bytes_.data());
  }
  const char* text() const {
    return bytes_.data() + offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_A, DevicePath);
  }

 private:
  std::vector<char> bytes_;
};

class DeviceList : public ::testing::Test {
 protected:
  DeviceList() { usb_system::clear(); }
  ~DeviceList() override {
    close();
    usb_system::clear();
  }

  void list(const GUID& interface_class = test_class) {
    close();
    set_ = SetupDiGetClassDevsA(&interface_class, nullptr, nullptr, present_interfaces);
    ASSERT_NE(INVALID_HANDLE_VALUE, set_);
  }

  // Keeps the last error that the call leaves.
  bool entry(DWORD index, const GUID& interface_class = test_class) {
    data_ = {};
    data_.cbSize = sizeof data_;
    SetLastError(untouched);
    return SetupDiEnumDeviceInterfaces(set_, nullptr, &interface_class, index, &data_) != FALSE;
  }

  DWORD detail_size() {
    DWORD needed = 0;
    SetLastError(untouched);
    EXPECT_FALSE(SetupDiGetDeviceInterfaceDetailA(set_, &data_, nullptr, 0, &needed, nullptr));
    return needed;
  }

  std::vector<std::string> paths() {
    std::vector<std::string> all;
    for (DWORD index = 0; entry(index); ++index) {
      const DWORD needed = detail_size();
      Detail detail(needed);
      EXPECT_TRUE(
          SetupDiGetDeviceInterfaceDetailA(set_, &data_, detail.get(), needed, nullptr, nullptr));
      all.emplace_back(detail.text());
    }
    EXPECT_EQ(DWORD{ERROR_NO_MORE_ITEMS}, GetLastError());
    return all;
  }

  void close() {
    if (set_ != INVALID_HANDLE_VALUE) {
      EXPECT_TRUE(SetupDiDestroyDeviceInfoList(set_));
      set_ = INVALID_HANDLE_VALUE;
    }
  }

  HDEVINFO set_ = INVALID_HANDLE_VALUE;
  SP_DEVICE_INTERFACE_DATA data_ = {};
};

TEST_F(DeviceList, ClassWithoutDevicesIsAListWithoutEntries) {
  list(other_class);
  EXPECT_FALSE(entry(0, other_class));
  EXPECT_EQ(DWORD{ERROR_NO_MORE_ITEMS}, GetLastError());
}

TEST_F(DeviceList, DevicesStandInTheOrderOfTheirNames) {
  plug("b2");
  plug("c3");
  plug("a1");
  list();
  EXPECT_EQ((std::vector<std::string>{path_of("a1"), path_of("b2"), path_of("c3")}), paths());
}

TEST_F(DeviceList, EntryTellsItsClassAndThatItIsActive) {
  plug("a1");
  list();
  ASSERT_TRUE(entry(0));
  EXPECT_EQ(0, std::memcmp(&test_class, &data_.InterfaceClassGuid, sizeof test_class));
  EXPECT_EQ(DWORD{SPINT_ACTIVE}, data_.Flags & SPINT_ACTIVE);
  EXPECT_FALSE(entry(1));
  EXPECT_EQ(DWORD{ERROR_NO_MORE_ITEMS}, GetLastError());
}

TEST_F(DeviceList, IndexChangesWhenAnotherDeviceGoesAndComes) {
  plug("a1");
  plug("b2");
  unplug("a1");
  list();
  EXPECT_EQ(std::vector<std::string>{path_of("b2")}, paths());
  plug("a1");
  list();
  EXPECT_EQ((std::vector<std::string>{path_of("a1"), path_of("b2")}), paths());
}

TEST_F(DeviceList, ListIsOfTheMomentWhenItWasMade) {
  plug("b2");
  list();
  plug("a1");
  EXPECT_EQ(std::vector<std::string>{path_of("b2")}, paths());
  list();
  EXPECT_EQ((std::vector<std::string>{path_of("a1"), path_of("b2")}), paths());
}

TEST_F(DeviceList, InterfaceThatIsNotLinkedIsNotPresent) {
  plug("a1");
  own_machine::set_number(usb_system::interface_key("a1") + R"(\#\Control)", "Linked", 0);
  list();
  EXPECT_TRUE(paths().empty());
  own_machine::set_number(usb_system::interface_key("a1") + R"(\#\Control)", "Linked", 1);
  list();
  EXPECT_EQ(1U, paths().size());
}

TEST_F(DeviceList, InterfaceWithoutItsControlKeyIsNotPresent) {
  plug("a1");
  ASSERT_EQ(ERROR_SUCCESS,
            RegDeleteTreeA(HKEY_LOCAL_MACHINE,
                           (usb_system::interface_key("a1") + R"(\#\Control)").c_str()));
  list();
  EXPECT_TRUE(paths().empty());
}

TEST_F(DeviceList, ListOfOneClassHasNoneOfAnother) {
  plug("a1");
  list();
  EXPECT_FALSE(entry(0, other_class));
  EXPECT_EQ(DWORD{ERROR_NO_MORE_ITEMS}, GetLastError());
}

TEST_F(DeviceList, SizeIsThatOfTheTextBehindTheNumber) {
  plug("a1");
  list();
  ASSERT_TRUE(entry(0));
  EXPECT_EQ(4 + path_of("a1").size() + 1, detail_size());
  EXPECT_EQ(DWORD{ERROR_INSUFFICIENT_BUFFER}, GetLastError());
}

TEST_F(DeviceList, BufferMayNotBeOneByteTooSmall) {
  plug("a1");
  list();
  ASSERT_TRUE(entry(0));
  const DWORD needed = detail_size();
  Detail detail(needed);
  DWORD told = 0;
  SetLastError(untouched);
  EXPECT_FALSE(
      SetupDiGetDeviceInterfaceDetailA(set_, &data_, detail.get(), needed - 1, &told, nullptr));
  EXPECT_EQ(DWORD{ERROR_INSUFFICIENT_BUFFER}, GetLastError());
  EXPECT_EQ(needed, told);
  EXPECT_EQ('#', detail.text()[0]);
  EXPECT_TRUE(
      SetupDiGetDeviceInterfaceDetailA(set_, &data_, detail.get(), needed, nullptr, nullptr));
  EXPECT_STREQ(path_of("a1").c_str(), detail.text());
}

TEST_F(DeviceList, NumberOfTheDetailIsTheSizeOfItsFixedPart) {
  plug("a1");
  list();
  ASSERT_TRUE(entry(0));
  const DWORD needed = detail_size();
  for (const DWORD number : {DWORD{0}, DWORD{5}, DWORD{6}, DWORD{7}, DWORD{9}, needed}) {
    Detail detail(needed, number);
    SetLastError(untouched);
    EXPECT_FALSE(
        SetupDiGetDeviceInterfaceDetailA(set_, &data_, detail.get(), needed, nullptr, nullptr))
        << number;
    EXPECT_EQ(DWORD{ERROR_INVALID_USER_BUFFER}, GetLastError()) << number;
  }
}

TEST_F(DeviceList, SizeWithoutABufferIsRefused) {
  plug("a1");
  list();
  ASSERT_TRUE(entry(0));
  SetLastError(untouched);
  EXPECT_FALSE(SetupDiGetDeviceInterfaceDetailA(set_, &data_, nullptr, 100, nullptr, nullptr));
  EXPECT_EQ(DWORD{ERROR_INVALID_USER_BUFFER}, GetLastError());
}

TEST_F(DeviceList, EntryRecordOfAnotherSizeIsRefused) {
  plug("a1");
  list();
  for (const DWORD size : {DWORD{0}, DWORD{28}, DWORD{33}}) {
    data_ = {};
    data_.cbSize = size;
    SetLastError(untouched);
    EXPECT_FALSE(SetupDiEnumDeviceInterfaces(set_, nullptr, &test_class, 0, &data_));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError()) << size;
    ASSERT_TRUE(entry(0));
    data_.cbSize = size;
    SetLastError(untouched);
    EXPECT_FALSE(SetupDiGetDeviceInterfaceDetailA(set_, &data_, nullptr, 0, nullptr, nullptr));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError()) << size;
  }
}

TEST_F(DeviceList, MissingArgumentsAreRefused) {
  list();
  SetLastError(untouched);
  EXPECT_FALSE(SetupDiEnumDeviceInterfaces(set_, nullptr, &test_class, 0, nullptr));
  EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
  SetLastError(untouched);
  EXPECT_EQ(INVALID_HANDLE_VALUE,
            SetupDiGetClassDevsA(nullptr, nullptr, nullptr, present_interfaces));
  EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
}

TEST_F(DeviceList, WhatIsNoListIsRefused) {
  plug("a1");
  list();
  ASSERT_TRUE(entry(0));
  for (const HDEVINFO wrong : {HDEVINFO{nullptr}, HDEVINFO{INVALID_HANDLE_VALUE}}) {
    SetLastError(untouched);
    SP_DEVICE_INTERFACE_DATA data = {};
    data.cbSize = sizeof data;
    EXPECT_FALSE(SetupDiEnumDeviceInterfaces(wrong, nullptr, &test_class, 0, &data));
    EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
    SetLastError(untouched);
    EXPECT_FALSE(SetupDiGetDeviceInterfaceDetailA(wrong, &data_, nullptr, 0, nullptr, nullptr));
    EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
    SetLastError(untouched);
    EXPECT_FALSE(SetupDiDestroyDeviceInfoList(wrong));
    EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
  }
}

TEST_F(DeviceList, PathOfNoDeviceDoesNotOpen) {
  SetLastError(untouched);
  EXPECT_EQ(INVALID_HANDLE_VALUE,
            CreateFileA(path_of("nobody").c_str(), 0xC0000000, 3, nullptr, OPEN_EXISTING,
                        FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OVERLAPPED, nullptr));
  EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, GetLastError());
}

}  // namespace
