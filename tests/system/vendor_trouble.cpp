// Somebody else holds the device, or it goes away in the middle of a command.

#include "tests/system/vendor.h"

namespace system_test {
namespace {

// A command and its reply may take half of it, and whoever waits for a device that is gone
// waits as long.
constexpr const char* kShortLimit = "LPT_PacketRcvMaxTime=2000\n";

using VendorTrouble = VendorTest;

TEST_F(VendorTrouble, ADeviceThatSomebodyElseHoldsIsBusyAndStaysKnown) {
  OpenFound("b1", "LPT_PacketRcvMaxTime=800\n");
  const DWORD begin = GetTickCount();
  {
    const far_side::UsbHolder holder(path_);
    EXPECT_EQ(Send(ChnlKindD4, Echo("second")), VLPER_BUSY);
  }
  EXPECT_GE(GetTickCount() - begin, 790U);
  EXPECT_EQ(Links(path_), 0U);
  EXPECT_EQ(FailedSends("-7"), 1U);

  EXPECT_EQ(Reply(ChnlKindD4, Echo("third")), "third");
  EXPECT_EQ(Links(path_), 1U) << "no new search";
  EXPECT_EQ(Searches(), 1U);
  EXPECT_EQ(Batches(), 0U) << "nor a new status";
}

TEST_F(VendorTrouble, AHolderThatDiedIsNoHolder) {
  OpenFound("b1", kShortLimit);
  far_side::UsbHolder(path_).die_holding();
  EXPECT_EQ(Reply(ChnlKindD4, Echo("x")), "x");
  EXPECT_EQ(Searches(), 1U);
}

TEST_F(VendorTrouble, TheDeviceIsFreeBetweenTwoCommands) {
  OpenFound("b1", kShortLimit);
  { const far_side::UsbHolder holder(path_); }
  EXPECT_EQ(Reply(ChnlKindD4, Echo("x")), "x");
  { const far_side::UsbHolder holder(path_); }
}

TEST_F(VendorTrouble, ARemovalInMidCommandFailsItAndTheDeviceIsFoundElsewhere) {
  OpenFound("b1", kShortLimit);
  Plan(path_, D4Act::Kind::removal, kDataPacket);
  EXPECT_EQ(Send(ChnlKindD4, Echo("lost"), 8), VLPER_SEND);
  EXPECT_EQ(TakeIfAny(8), std::nullopt);
  EXPECT_EQ(FailedSends("-3"), 1U);
  EXPECT_EQ(Links(path_), 1U) << "nothing is tried again";
  { const far_side::UsbHolder holder(path_); }  // and the mutex is free

  Plug("b2", kOtherSerial);
  path_ = far_side::replug_usb(path_, "c9");
  Links(path_);
  EXPECT_EQ(Reply(ChnlKindD4, Echo("again")), "again");
  EXPECT_EQ(Links(path_), 2U);
  EXPECT_EQ(Searches(), 2U);
  EXPECT_EQ(CountLines("GenVlAccess::GenVlAccess - Initialized. DevicePath=(" + path_ + ")"), 1U);
}

TEST_F(VendorTrouble, WhileItIsAwayThereIsNoConnection) {
  OpenFound("b1");
  far_side::unplug_usb(path_);
  EXPECT_EQ(Send(ChnlKindD4, Echo("x")), VLPER_SEND) << "nobody knows yet";
  EXPECT_EQ(Send(ChnlKindD4, Echo("x")), VLPER_NOTCONNECT);
  EXPECT_EQ(Send(ChnlKindD4, Echo("x")), VLPER_NOTCONNECT);
  path_ = far_side::replug_usb(path_, "b1");
  Links(path_);
  EXPECT_EQ(Reply(ChnlKindD4, Echo("x")), "x");
  EXPECT_EQ(Links(path_), 2U);
  EXPECT_EQ(Reply(ChnlKindD4, Echo("y")), "y");
  EXPECT_EQ(Links(path_), 1U) << "and it stays known";
}

TEST_F(VendorTrouble, AnUnplugBesideACommandEndsIt) {
  OpenFound("b1", kShortLimit);
  std::uint64_t before = 0;
  far_side::with_usb(path_, [&](far_side::UsbPrinter& printer, std::uint64_t) {
    before = printer.device().host_packets();
    printer.device().options().data_latency_ms = 60000;
  });
  std::int32_t code = 0;
  Thread command([&] { code = Send(ChnlKindD4, Echo("lost")); });
  for (bool asked = false; !asked && !command.HasEnded(); Sleep(5)) {
    far_side::with_usb(path_, [&](far_side::UsbPrinter& printer, std::uint64_t) {
      asked = printer.device().host_packets() == before + kCreditPacket;
    });
  }
  far_side::unplug_usb(path_);
  command.Join();
  EXPECT_EQ(code, VLPER_SEND);
  far_side::with_usb(path_, [&](far_side::UsbPrinter& printer, std::uint64_t) {
    printer.device().options().data_latency_ms = 0;
  });
  path_ = far_side::replug_usb(path_, "b2");
  EXPECT_EQ(Reply(ChnlKindD4, Echo("again")), "again");
}

TEST_F(VendorTrouble, ANewSearchReadsTheStatusAnew) {
  OpenFound("b1", "LPT_StatusNoChkTime=0\n");
  far_side::unplug_usb(path_);
  EXPECT_EQ(Send(ChnlKindD4, Echo("x")), VLPER_SEND);
  EXPECT_EQ(Batches(), 0U);
  // Meanwhile another printer stands at the port.
  PrinterOptions other{.port = kTalkerPort, .device_id = bytes_of("MFG:V;CMD:GENVL,BDC,D4;MDL:T;")};
  other.serial_number = kOtherSerial;
  far_side::plug(other);
  const std::string path = Plug("b2", kOtherSerial);
  EXPECT_EQ(Reply(ChnlKindD4, Echo("x")), "x");
  EXPECT_EQ(Links(path), 2U);
  EXPECT_EQ(Batches(), 1U);
}

TEST_F(VendorTrouble, ANewSearchTakesAYoungStatusAsItIs) {
  OpenFound("b1", "LPT_StatusNoChkTime=60000\n");
  far_side::unplug_usb(path_);
  EXPECT_EQ(Send(ChnlKindD4, Echo("x")), VLPER_SEND);
  path_ = far_side::replug_usb(path_, "b2");
  EXPECT_EQ(Reply(ChnlKindD4, Echo("x")), "x");
  EXPECT_EQ(Batches(), 0U);
}

TEST_F(VendorTrouble, ASpoolerThatFailsMeanwhileFailsTheCommand) {
  OpenFound("b1", "LPT_StatusNoChkTime=0\n");
  far_side::unplug_usb(path_);
  EXPECT_EQ(Send(ChnlKindD4, Echo("x")), VLPER_SEND);
  path_ = far_side::replug_usb(path_, "b2");
  Links(path_);
  far_side::unplug(kTalkerPort);
  EXPECT_EQ(Send(ChnlKindD4, Echo("x")), VLPER_SEND);
  EXPECT_EQ(Links(path_), 0U) << "there is no status to search by";
  Behave({});
  EXPECT_EQ(Reply(ChnlKindD4, Echo("x")), "x");
  EXPECT_EQ(Links(path_), 2U);
}

}  // namespace
}  // namespace system_test
