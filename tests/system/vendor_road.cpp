// Which requests to a vendor-class printer go to its own device, what they need, and what
// comes back.

#include "tests/system/vendor.h"

namespace system_test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class VendorRoad : public VendorTest {
 protected:
  // The printer under another attribute word of the spooler.
  Connection ConnectAs(const std::string& listed, std::uint32_t attributes) {
    AddPrinter(kTalker, kTalkerPort, "MFG:V;CMD:" + listed + ";MDL:T;", {TextBdc(), D4()});
    far_side::set_attributes(kTalker, attributes);
    return Load().Connect(kTalker);
  }
};

TEST_F(VendorRoad, ListsItsChannels) {
  const Connection connection = ConnectAs(kVendorId, 0);
  EXPECT_EQ(connection.code, 2);
  EXPECT_THAT(connection.entries, ElementsAre(Entry{ChnlKindBdc, 7}, Entry{ChnlKindD4, 7}));
}

TEST_F(VendorRoad, KeepsTheD4ChannelThatTheDeviceIdDoesNotList) {
  const Connection connection = ConnectAs("GENVL,BDC", 0);
  EXPECT_THAT(connection.entries, ElementsAre(Entry{ChnlKindBdc, 7}, Entry{ChnlKindD4, 7}));
}

TEST_F(VendorRoad, MarksTheD4ChannelOfASharedPrinter) {
  const Connection connection = ConnectAs(kVendorId, far_side::attribute_network);
  EXPECT_THAT(connection.entries, ElementsAre(Entry{ChnlKindBdc, 7}, Entry{ChnlKindD4, 0xE007}));
}

TEST_F(VendorRoad, MarksNoChannelOfASharedPrinterOfAnotherClass) {
  const Connection connection = ConnectAs("BDC,D4", far_side::attribute_network);
  EXPECT_THAT(connection.entries, ElementsAre(Entry{ChnlKindBdc, 7}, Entry{ChnlKindD4, 7}));
}

TEST_F(VendorRoad, CarriesACommandOnTheD4ChannelBareAndItsReplyWhole) {
  const std::string path = Plug("b1");
  OpenVendor();
  // Not a word of it is taken for a status item.
  const std::string text = "a" + kTextItem + kBdcProbe + "z";
  EXPECT_EQ(Reply(ChnlKindD4, Echo(text)), text);
  Texts messages;
  far_side::with_usb(path, [&](far_side::UsbPrinter& printer, std::uint64_t) {
    for (const simulator::D4Message& message : printer.device().messages()) {
      EXPECT_EQ(message.socket, 0x02);
      messages.push_back(TextOf(message.bytes));
    }
  });
  EXPECT_EQ(messages, (Texts{kDeviceStatus, Echo(text)}));
}

TEST_F(VendorRoad, LeavesCommandsOnTheBdcChannelToTheSpooler) {
  const std::string path = Plug("b1");
  OpenVendor();
  EXPECT_EQ(Reply(ChnlKindBdc, Echo("by the port")), "by the port");
  EXPECT_EQ(Wire(), Texts{InBdc(Echo("by the port"))});
  EXPECT_EQ(far_side::usb_traffic(path), far_side::UsbTraffic{});
}

TEST_F(VendorRoad, LeavesTheD4ChannelOfAnotherClassToTheSpooler) {
  const std::string path = Plug("b1");
  Open({TextBdc(), D4()}, "BDC,D4");
  EXPECT_EQ(Reply(ChnlKindD4, Echo("by the port")), "by the port");
  EXPECT_EQ(Wire(), Texts{Echo("by the port")});
  EXPECT_EQ(far_side::usb_traffic(path), far_side::UsbTraffic{});
}

TEST_F(VendorRoad, LeavesStatusAndThroughCommandsToTheSpooler) {
  const std::string path = Plug("b1");
  OpenVendor();
  EXPECT_EQ(Status(ChnlKindD4), kTextItem);
  EXPECT_EQ(Status(ChnlKindBdc), kTextItem);
  EXPECT_EQ(Through(ChnlKindD4, kSilent), VLPER_NOCHANNEL);
  EXPECT_EQ(Through(ChnlKindBdc, kSilent), 4);
  EXPECT_EQ(Counts().through, 1U);
  EXPECT_EQ(far_side::usb_traffic(path), far_side::UsbTraffic{});
}

TEST_F(VendorRoad, ReadsTheStatusFirstWhenNoneIsHeld) {
  Plug("b1");
  OpenVendor();
  Batches();
  EXPECT_EQ(Reply(ChnlKindD4, Echo("x")), "x");
  EXPECT_EQ(Batches(), 1U);
}

TEST_F(VendorRoad, TakesTheHeldStatus) {
  Plug("b1");
  OpenVendor();
  EXPECT_EQ(Status(ChnlKindBdc), kTextItem);
  Batches();
  EXPECT_EQ(Reply(ChnlKindD4, Echo("x")), "x");
  EXPECT_EQ(Batches(), 0U);
}

TEST_F(VendorRoad, KnowsItsDeviceFromTheSecondCommandOn) {
  const std::string path = Plug("b1");
  LogTo(kLogOperations | kLogVendor | kLogDevice);
  OpenVendor();
  EXPECT_EQ(Reply(ChnlKindD4, Echo("one")), "one");
  EXPECT_EQ(Links(path), 2U) << "a search and a command";
  Batches();
  for (const char* text : {"two", "three"}) {
    EXPECT_EQ(Reply(ChnlKindD4, Echo(text)), text);
    EXPECT_EQ(Links(path), 1U);
  }
  EXPECT_EQ(Batches(), 0U);
  EXPECT_EQ(Searches(), 1U);
}

TEST_F(VendorRoad, NeedsAStatusWithASerialNumber) {
  const std::string path = Plug("b1");
  OpenVendor({}, {.status_item = bytes_of("@BDC ST\r\nST:0400;ER:00;\f")});
  EXPECT_EQ(Send(ChnlKindD4, Echo("x")), VLPER_NOTCONNECT);
  EXPECT_EQ(far_side::usb_traffic(path), far_side::UsbTraffic{});
}

TEST_F(VendorRoad, FailsAsTheStatusReadingDoes) {
  const std::string path = Plug("b1");
  OpenVendor();
  far_side::unplug(kTalkerPort);
  const std::int32_t code = Ask(ChnlKindBdc);
  EXPECT_EQ(code, VLPER_SEND);
  EXPECT_EQ(Send(ChnlKindD4, Echo("x")), code);
  EXPECT_EQ(far_side::usb_traffic(path), far_side::UsbTraffic{});
}

// A vendor-class printer's status is that of its BDC channel.
TEST_F(VendorRoad, NeedsABdcChannelForItsStatus) {
  const std::string path = Plug("b1");
  Open({D4()}, kVendorId);
  EXPECT_EQ(Ask(ChnlKindD4), VLPER_NOCHANNEL);
  EXPECT_EQ(Send(ChnlKindD4, Echo("x")), VLPER_NOCHANNEL);
  EXPECT_EQ(far_side::usb_traffic(path), far_side::UsbTraffic{});
}

TEST_F(VendorRoad, NeedsACommand) {
  const std::string path = Plug("b1");
  OpenVendor();
  EXPECT_EQ(Send(ChnlKindD4, ""), VLPER_PARAM);
  EXPECT_EQ(provider().table().SendCommand(1, kTalker, ChnlKindD4, nullptr, 4), VLPER_PARAM);
  EXPECT_EQ(far_side::usb_traffic(path), far_side::UsbTraffic{});
}

TEST_F(VendorRoad, NeedsAWaitingTimeInTheProfile) {
  const std::string path = Plug("b1");
  OpenVendor("LPT_PacketRcvMaxTime=0\n");
  EXPECT_EQ(Send(ChnlKindD4, Echo("x")), VLPER_NOTCONNECT);
  EXPECT_EQ(far_side::usb_traffic(path), far_side::UsbTraffic{});
}

TEST_F(VendorRoad, TakesCommandsAndRepliesAsLongAsAPacketIs) {
  Plug("b1");
  LogTo(kLogOperations | kLogVendor | kLogDevice);
  OpenVendor("LPT_PacketRcvMaxTime=4000\n");
  const std::string longest = Filling(4092);
  EXPECT_EQ(Reply(ChnlKindD4, Echo(longest)), longest) << "4096 bytes with what says so";
  EXPECT_EQ(Reply(ChnlKindD4, Fill(4096)), Filling(4096));
  EXPECT_EQ(Send(ChnlKindD4, Echo(longest + "!")), VLPER_SEND);
  EXPECT_EQ(CountLines("*** GenVlAccess::ExecGenVlCmd - send_CmdLen(4097) > CmdMaxLen(4096) ***"),
            1U);
  EXPECT_EQ(Reply(ChnlKindD4, Echo("shorter")), "shorter");
}

TEST_F(VendorRoad, QueuesNothingForACommandThatFailed) {
  OpenVendor();
  EXPECT_EQ(Send(ChnlKindD4, Echo("x"), 5), VLPER_NOTCONNECT);
  EXPECT_EQ(TakeIfAny(5), std::nullopt);
}

}  // namespace
}  // namespace system_test
