// Commands to a vendor-class printer's own device: which ones go there, and how it is found.

#include "tests/operations/vendor_fixture.h"

namespace vlp {
namespace {

using namespace std::string_literals;
using operations_test::BdcProbe;
using operations_test::InBdc;
using operations_test::kAsked;
using operations_test::kDevicePath;
using operations_test::kMutexName;
using operations_test::kNamed;
using operations_test::kOtherSerial;
using operations_test::kPrinterLines;
using operations_test::kSecondPath;
using operations_test::kSerial;
using operations_test::kVendorLines;
using operations_test::Lanes;
using operations_test::TextItem;
using operations_test::VendorTest;
using test::elapsed_ms;
using test::sleep_ms;
using test::spawn;
using Heard = std::vector<std::string>;

class VendorRoad : public VendorTest {};

TEST_F(VendorRoad, TakesTheD4CommandsAlone) {
  Timed([&] {
    OpenVendor();
    Plug();
    Answer("SendCommand", "by the spooler" + BdcProbe());
    EXPECT_EQ(0, Send(ChnlKindBdc, "cmd"));
    EXPECT_EQ("by the spooler", got_);
    EXPECT_EQ(1u, Batches());
    EXPECT_EQ(Heard{}, Said());
    ExpectReply();
    ExpectStatusBatch(2);
    EXPECT_EQ((Heard{kAsked, "cmd"}), Said());
  });
}

TEST_F(VendorRoad, IsntThatOfOtherPrinters) {
  Timed([&] {
    Open({{ChnlKindBdc}, {ChnlKindD4}}, "", "BDC,D4");
    Plug();
    Answer("SendCommand", "by the spooler");
    ExpectReply("cmd", "by the spooler");
    EXPECT_EQ(Heard{}, Said());
  });
}

// The channel is first looked for when there is a reply to hand on.
TEST_F(VendorRoad, OfAPrinterWithoutTheChannelHandsNoReplyOn) {
  Timed([&] {
    OpenVendor("", kPrinterLines, {{ChnlKindBdc}});
    Plug();
    ExpectFailure(VLPER_SEND);
    EXPECT_EQ((Heard{kAsked, "cmd"}), Said());
  });
}

TEST_F(VendorRoad, SendsTheBareCommand) {
  Timed([&] {
    OpenVendor();
    platform::UsbDeviceDescription device = DeviceOf();
    device.printer.scripts = {{far_side::bytes_of("\0c\xFF"s), far_side::bytes_of("reply")}};
    platform::add_usb_device(device);
    ExpectReply("\0c\xFF"s);
    EXPECT_EQ((Heard{kAsked, "\0c\xFF"s}), Said());
  });
}

TEST_F(VendorRoad, RefusesACommandWithoutBytes) {
  Timed([&] {
    OpenVendor();
    Plug();
    const std::uint8_t one = 'x';
    length_ = 77;
    EXPECT_EQ(VLPER_PARAM, printer_->SendCommand(ChnlKindD4, &one, 0, nullptr, &length_));
    EXPECT_EQ(VLPER_PARAM, printer_->SendCommand(ChnlKindD4, nullptr, 0, nullptr, &length_));
    EXPECT_EQ(VLPER_PARAM, printer_->SendCommand(ChnlKindD4, nullptr, 3, nullptr, &length_));
    EXPECT_EQ(77u, length_);
    EXPECT_EQ(0u, Batches());
    EXPECT_EQ(Heard{}, Said());
  });
}

TEST_F(VendorRoad, IsClosedWhereNoAnswerIsWaitedFor) {
  Timed([&] {
    OpenVendor("LPT_PacketRcvMaxTime=0");
    Plug();
    ExpectFailure(VLPER_NOTCONNECT);
    ExpectFailure(VLPER_PARAM, "");
    EXPECT_EQ(0u, Batches());
    EXPECT_EQ(Heard{}, Said());
  });
}

// --- The printer's own status says which device is meant --------------------------------------

TEST_F(VendorRoad, ReadsTheStatusWhereNoneIsHeld) {
  Timed([&] {
    OpenVendor();
    Plug();
    ExpectReply();
    ExpectStatusBatch(1);
    // What was read is held for those who ask for the status.
    EXPECT_EQ(0, Ask(ChnlKindBdc));
    EXPECT_EQ(StatusOf(kSerial), got_);
    EXPECT_EQ(1u, Batches());
  });
}

TEST_F(VendorRoad, GoesByTheHeldStatusHoweverOld) {
  Timed([&] {
    OpenVendor();
    Plug();
    EXPECT_EQ(0, Ask(ChnlKindBdc));
    sleep_ms(100 * kStatusIsGoodFor);
    ExpectReply();
    EXPECT_EQ(1u, Batches());
  });
}

TEST_F(VendorRoad, EndsWhereTheStatusCantBeRead) {
  Timed([&] {
    OpenVendor();
    Plug();
    Answer("GetStatus", "no status");
    ExpectFailure(VLPER_SEND);
    Answer("GetStatus", std::string(3000, 'x'));
    ExpectFailure(VLPER_BUFFERSIZE);
    ExpectStatusBatch(2);
    EXPECT_EQ(Heard{}, Said());
    Answer("GetStatus", StatusOf(kSerial));
    ExpectReply();
  });
}

TEST_F(VendorRoad, EndsWhereNoChannelTellsTheStatus) {
  Timed([&] {
    OpenVendor("", kPrinterLines, {{ChnlKindBdc, 0x0003}, {ChnlKindD4}});
    Plug();
    ExpectFailure(VLPER_NOCHANNEL);
    EXPECT_EQ(0u, Batches());
  });
}

TEST_F(VendorRoad, NeedsASerialNumberInTheStatus) {
  Timed([&] {
    OpenVendor();
    Plug();
    Answer("GetStatus", TextItem("04;no number"));
    ExpectFailure(VLPER_NOTCONNECT);
    ExpectStatusBatch(1);
    // It is held, so it isn't read again for the next command.
    ExpectFailure(VLPER_NOTCONNECT);
    EXPECT_EQ(1u, Batches());
    EXPECT_EQ(Heard{}, Said());
  });
}

TEST_F(VendorRoad, ReadsTheSerialNumberOfABinaryStatusToo) {
  Timed([&] {
    OpenVendor();
    Plug();
    Answer("GetStatus", operations_test::TextOf(simulator::status_item(
                            {.serial_number = kSerial}, simulator::StatusForm::binary)));
    ExpectFailure(VLPER_SEND);  // the profile's request asks for text
    OpenVendor("", kPrinterLines, {operations_test::BinaryBdc(), {ChnlKindD4}});
    Answer("GetStatus", operations_test::TextOf(simulator::status_item(
                            {.serial_number = kSerial}, simulator::StatusForm::binary)));
    ExpectReply();
  });
}

TEST_F(VendorRoad, TellsTwoPrintersOfOneModelApart) {
  Timed([&] {
    OpenVendor();
    Plug(kOtherSerial, kDevicePath);
    Plug(kSerial, kSecondPath);
    ExpectReply();
    EXPECT_EQ((Heard{kAsked}), Said(kDevicePath));
    EXPECT_EQ((Heard{kAsked, "cmd"}), Said(kSecondPath));
  });
}

TEST_F(VendorRoad, EndsWhereTheDeviceIsntPluggedIn) {
  Timed([&] {
    OpenVendor();
    Plug(kOtherSerial, kSecondPath);
    ExpectFailure(VLPER_NOTCONNECT);
    ExpectFailure(VLPER_NOTCONNECT);
    EXPECT_EQ((Heard{kAsked, kAsked}), Said(kSecondPath)) << "a search each time";
    Plug();
    ExpectReply();
    EXPECT_EQ(1u, Batches()) << "one status was enough";
  });
}

// --- The device, once found -------------------------------------------------------------------

TEST_F(VendorRoad, KeepsTheDeviceBetweenCommands) {
  Timed([&] {
    OpenVendor();
    Plug();
    ExpectReply();
    sleep_ms(100 * kStatusIsGoodFor);
    ExpectReply();
    ExpectReply();
    EXPECT_EQ((Heard{kAsked, "cmd", "cmd", "cmd"}), Said());
    EXPECT_EQ(1u, Batches());
  });
}

TEST_F(VendorRoad, ReadsALostStatusAgainThoughTheDeviceIsKnown) {
  Timed([&] {
    OpenVendor();
    Plug();
    ExpectReply();
    sleep_ms(kStatusIsGoodFor);
    Answer("GetStatus", "no status");
    EXPECT_EQ(VLPER_SEND, Ask(ChnlKindBdc));
    ExpectFailure(VLPER_SEND);
    Answer("GetStatus", StatusOf(kOtherSerial));
    ExpectReply();
    EXPECT_EQ((Heard{kAsked, "cmd", "cmd"}), Said());
    EXPECT_EQ(4u, Batches());
  });
}

TEST_F(VendorRoad, LetsGoOfTheDeviceAfterEachCommand) {
  Timed([&] {
    OpenVendor();
    Plug();
    ExpectReply();
    const HANDLE mutex = CreateMutexA(nullptr, FALSE, kMutexName);
    EXPECT_EQ(ERROR_ALREADY_EXISTS, GetLastError());
    auto other = spawn("other", [&] {
      EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(mutex, 0));
      EXPECT_TRUE(ReleaseMutex(mutex));
    });
    other.join();
    EXPECT_TRUE(CloseHandle(mutex));
    EXPECT_FALSE(platform::any_lock_held());
    printer_.reset();
    const HANDLE fresh = CreateMutexA(nullptr, FALSE, kMutexName);
    EXPECT_EQ(ERROR_SUCCESS, GetLastError()) << "the printer's end closes it";
    EXPECT_TRUE(CloseHandle(fresh));
  });
}

// --- The reply --------------------------------------------------------------------------------

TEST_F(VendorRoad, HandsTheReplyOnWhole) {
  Timed([&] {
    OpenVendor();
    const std::string reply = TextItem("1") + "re\0ply"s + BdcProbe() + TextItem("2");
    platform::UsbDeviceDescription device = DeviceOf();
    device.printer.scripts = {{far_side::bytes_of("cmd"), far_side::bytes_of(reply)}};
    platform::add_usb_device(device);
    ExpectReply("cmd", reply);
  });
}

// The profile's limit is that of the spooler's answers.
TEST_F(VendorRoad, HasRoomForAPacketOfAnySize) {
  Timed([&] {
    OpenVendor("LPT_RcvDatBuffSize=300");
    const std::string reply(4096, 'x');
    platform::UsbDeviceDescription device = DeviceOf();
    device.printer.scripts = {{far_side::bytes_of("cmd"), far_side::bytes_of(reply)}};
    platform::add_usb_device(device);
    EXPECT_EQ(0, Send(ChnlKindD4, "cmd", 5000));
    EXPECT_EQ(reply, got_);
  });
}

// No device gets as far as the limit of this road: what comes is one packet at most.
TEST_F(VendorRoad, HandsTheFirstPacketOfALongReplyOn) {
  Timed([&] {
    OpenVendor();
    platform::UsbDeviceDescription device = DeviceOf();
    device.d4.any_socket.read_size = 65535;
    device.printer.scripts.push_back(
        {far_side::bytes_of("large"), far_side::Bytes(70000, std::uint8_t{'x'})});
    platform::add_usb_device(device);
    EXPECT_EQ(0, Send(ChnlKindD4, "large", 70000));
    EXPECT_EQ(std::string(65529, 'x'), got_);
    ExpectReply();
  });
}

TEST_F(VendorRoad, KeepsTheReplyForTheSecondCall) {
  Timed([&] {
    OpenVendor();
    Plug();
    EXPECT_EQ(VLPER_BUFFERSIZE, Send(ChnlKindD4, "cmd", 0));
    EXPECT_EQ(5u, length_);
    EXPECT_EQ(0, Send(ChnlKindD4, "cmd", 5));
    EXPECT_EQ("reply", got_);
    EXPECT_EQ((Heard{kAsked, "cmd"}), Said());
    ExpectReply();
    EXPECT_EQ((Heard{kAsked, "cmd", "cmd"}), Said());
  });
}

TEST_F(VendorRoad, LogsACommandLikeThis) {
  Timed([&] {
    OpenVendor("", kPrinterLines | kVendorLines);
    Plug();
    EXPECT_EQ(0, Ask(ChnlKindBdc));
    Forget();
    ExpectReply();
    EXPECT_EQ((std::vector<std::string>{
                  "-----", "CPrinterInf::SendCommand Enter | Data(3): cmd",
                  "GenVlAccess::GenVlAccess - Initialized. DevicePath=(" + kDevicePath + ")",
                  "CPrinterInf::SendCommand Return | Data(5): reply"}),
              OwnLines());
  });
}

// --- Several at once --------------------------------------------------------------------------

TEST_F(VendorRoad, SharesTheEngineWithOtherPrinters) {
  test::run_virtual_schedules(6, [&] {
    OpenVendor();
    Plug();
    Plug(kOtherSerial, kSecondPath);
    EXPECT_EQ(0, Ask(ChnlKindBdc));
    CPrinterInf second("Printer", Settings(0));
    std::uint64_t entries[kMaxConnectEntries];
    EXPECT_EQ(2, second.GetConnectInf(entries));
    Answer("GetStatus", StatusOf(kOtherSerial));
    std::uint32_t none = 0;
    EXPECT_EQ(VLPER_BUFFERSIZE, second.GetStatus(ChnlKindBdc, nullptr, &none));
    auto other = spawn("other", [&] {
      std::uint8_t room[16];
      std::uint32_t length = sizeof room;
      const std::uint8_t command[] = {'c', 'm', 'd'};
      EXPECT_EQ(0, second.SendCommand(ChnlKindD4, command, 3, room, &length));
      EXPECT_EQ("reply", std::string(room, room + length));
    });
    ExpectReply();
    other.join();
    EXPECT_EQ("cmd", Said(kDevicePath).back());
    EXPECT_EQ("cmd", Said(kSecondPath).back());
    printer_.reset();
  });
}

}  // namespace
}  // namespace vlp
