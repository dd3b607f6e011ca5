// What a hardware description says of a printer's place on the USB.

#include "simulator/hardware.h"

#include <gtest/gtest.h>

namespace {

using simulator::describe_usb;
using simulator::is_usb_path;
using simulator::UsbHardware;

const std::string serial_class = "{b1ceb704-c9ba-4369-82b7-af7ee754099f}";
const std::string other_class = "{d8965402-43cd-4410-8b2b-fcdaeb81b001}";
const std::string path = R"(\\?\usb#vid_0ff7&pid_0900#qn90000203#)";

std::optional<UsbHardware> describe(const std::string& lines, std::string& error) {
  const auto keys = simulator::read_hardware("[Printer]\nPort=USB002\n" + lines, error);
  return keys ? describe_usb(*keys, error) : std::nullopt;
}

TEST(UsbHardware, WholeDescriptionIsRead) {
  std::string error;
  const auto usb = describe("UsbPath = " + path + serial_class + ", " + path + other_class +
                                "\nUsbContainer={11111111-2222-3333-4444-555555555555}\n"
                                "D4LatencyMs=5\nEmptyAfterMs=20\nSilentWhenIdle=1\n"
                                "TransferBytes=64\nCoalesce=1\n",
                            error);
  ASSERT_TRUE(usb.has_value()) << error;
  EXPECT_EQ((std::vector<std::string>{path + serial_class, path + other_class}), usb->paths);
  EXPECT_EQ("{11111111-2222-3333-4444-555555555555}", usb->container_id);
  EXPECT_EQ(5U, usb->d4.latency_ms);
  EXPECT_EQ(20U, usb->d4.empty_after_ms);
  EXPECT_TRUE(usb->d4.silent_when_idle);
  EXPECT_EQ(64U, usb->d4.transfer_bytes);
  EXPECT_TRUE(usb->d4.coalesce);
}

TEST(UsbHardware, WithoutAnyKeyThePrinterIsNotOnTheUsb) {
  std::string error;
  const auto usb = describe("", error);
  ASSERT_TRUE(usb.has_value()) << error;
  EXPECT_TRUE(usb->paths.empty());
  EXPECT_EQ("", usb->container_id);
  EXPECT_EQ(simulator::D4Options{}.latency_ms, usb->d4.latency_ms);
  EXPECT_EQ(simulator::D4Options{}.empty_after_ms, usb->d4.empty_after_ms);
  EXPECT_FALSE(usb->d4.silent_when_idle);
  EXPECT_EQ(simulator::D4Options{}.transfer_bytes, usb->d4.transfer_bytes);
  EXPECT_FALSE(usb->d4.coalesce);
}

TEST(UsbHardware, ValueAtFaultIsNamedByItsKey) {
  for (const char* const key :
       {"D4LatencyMs", "EmptyAfterMs", "SilentWhenIdle", "TransferBytes", "Coalesce"}) {
    std::string error;
    EXPECT_FALSE(describe(std::string(key) + "=x", error).has_value());
    EXPECT_EQ(0U, error.find(key)) << error;
  }
  std::string error;
  EXPECT_FALSE(describe("UsbPath=" + path, error).has_value());
  EXPECT_EQ(R"(UsbPath isn't a list of \\?\usb#KIND#INSTANCE#{CLASS})", error);
  EXPECT_FALSE(describe("UsbPath=" + path + serial_class + ",COM1", error).has_value());
  EXPECT_FALSE(describe("SilentWhenIdle=2", error).has_value());
}

TEST(UsbHardware, PathHasKindInstanceAndClass) {
  EXPECT_TRUE(is_usb_path(path + serial_class));
  EXPECT_TRUE(is_usb_path(R"(\\?\USB#VID_0FF7&PID_0001#A#)" + serial_class));
  EXPECT_TRUE(is_usb_path(R"(\\?\usb#a#b#)" + serial_class));
  EXPECT_FALSE(is_usb_path(R"(\\?\usb#a#)" + serial_class)) << "no instance";
  EXPECT_FALSE(is_usb_path(R"(\\?\usb##b#)" + serial_class)) << "no kind";
  EXPECT_FALSE(is_usb_path(R"(\\?\usb#a##)" + serial_class)) << "an empty instance";
  EXPECT_FALSE(is_usb_path(R"(\\?\usb#)" + serial_class));
  EXPECT_FALSE(is_usb_path(R"(\\.\usb#a#b#)" + serial_class));
  EXPECT_FALSE(is_usb_path(R"(\\?\hid#a#b#)" + serial_class));
  EXPECT_FALSE(is_usb_path(R"(\\?\usb#a\b#c#)" + serial_class));
  EXPECT_FALSE(is_usb_path(path + serial_class.substr(1)));
  EXPECT_FALSE(is_usb_path(path + serial_class + "x"));
  EXPECT_FALSE(is_usb_path(path + serial_class.substr(0, 37)));
  EXPECT_FALSE(is_usb_path(""));
}

}  // namespace
