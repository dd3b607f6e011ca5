// What goes over the pipes for a status and for a command, byte for byte.

#include "tests/system/vendor.h"

namespace system_test {
namespace {

using VendorPackets = VendorTest;

// Into packet mode, and the command channel.
const Texts kBegin = {
    "host   00 00 00 1B 01 40 51 50 4C 20 31 32 38 34 2E 34 0A 40 51 50 4C 0A 40 51 50 4C 0A",
    "device 00 00 00 08 01 00 C5 00",
    "host   00 00 00 08 01 00 00 10",
    "device 00 00 00 09 01 00 80 00 10",
    "host   00 00 00 11 01 00 01 02 02 FF FF FF FF 00 00 00 00",
    "device 00 00 00 10 01 00 81 00 02 02 10 06 10 06 00 01"};
// One packet of credit for the answer.
const Texts kCreditForTheAnswer = {"host   00 00 00 0B 01 00 03 02 02 00 01",
                                   "device 00 00 00 0A 01 00 83 00 02 02"};
const Texts kEnd = {"host   00 00 00 0A 01 00 02 02 02 00", "device 00 00 00 0A 01 00 82 00 02 02",
                    "host   00 00 00 07 01 00 08", "device 00 00 00 08 01 00 88 00"};

Texts Joined(const std::vector<Texts>& parts) {
  Texts all;
  for (const Texts& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

TEST_F(VendorPackets, OfAStatusAndOfACommand) {
  const std::string path = Plug("b1");
  OpenVendor();
  EXPECT_EQ(Reply(ChnlKindD4, Echo("hi")), "hi");
  const Texts status = {"host   02 02 00 0B 00 01 73 74 01 00 01"};
  const Texts item = {
      "device 02 02 00 42 00 01 40 42 44 43 20 53 54 0D 0A 53 54 3A 30 34 30 30 3B 45 52 3A 30 30 "
      "3B 50 41 3A 41 34 3B 4D 43 3A 35 31 34 45 33 34 33 32 33 30 33 30 33 30 33 30 33 31 33 37 "
      "3B 53 45 3A 30 31 3B 0C"};
  const Texts command = {"host   02 02 00 0C 00 01 65 63 02 00 68 69"};
  const Texts reply = {"device 02 02 00 08 00 01 68 69"};
  EXPECT_EQ(Packets(path), Joined({kBegin, status, kCreditForTheAnswer, item, kEnd,  //
                                   kBegin, command, kCreditForTheAnswer, reply, kEnd}))
      << far_side::usb_conversation(path);
}

TEST_F(VendorPackets, OfACommandToADeviceThatIsKnown) {
  const std::string path = Plug("b1");
  OpenVendor();
  EXPECT_EQ(Reply(ChnlKindD4, Echo("hi")), "hi");
  Packets(path);
  EXPECT_EQ(Reply(ChnlKindD4, Echo("you")), "you");
  const Texts command = {"host   02 02 00 0D 00 01 65 63 03 00 79 6F 75"};
  const Texts reply = {"device 02 02 00 09 00 01 79 6F 75"};
  EXPECT_EQ(Packets(path), Joined({kBegin, command, kCreditForTheAnswer, reply, kEnd}))
      << far_side::usb_conversation(path);
}

// Each transfer to the device is one packet; nothing else is written.
TEST_F(VendorPackets, GoOnePerTransfer) {
  const std::string path = Plug("b1");
  OpenVendor();
  EXPECT_EQ(Reply(ChnlKindD4, Echo("hi")), "hi");
  EXPECT_EQ(far_side::usb_traffic(path).out_transfers, 14U);
}

// The same conversation, whatever the transfers from the device look like.
TEST_F(VendorPackets, AreTheSameThroughTransfersOfAFewBytes) {
  D4Options pieces = Patient();
  pieces.transfer_bytes = 5;
  const std::string path = Plug("b1", kVendorSerial, pieces);
  OpenVendor();
  EXPECT_EQ(Reply(ChnlKindD4, Echo("hi")), "hi");
  Packets(path);
  EXPECT_EQ(Reply(ChnlKindD4, Echo("you")), "you");
  const Texts command = {"host   02 02 00 0D 00 01 65 63 03 00 79 6F 75"};
  const Texts reply = {"device 02 02 00 09 00 01 79 6F 75"};
  EXPECT_EQ(Packets(path), Joined({kBegin, command, kCreditForTheAnswer, reply, kEnd}))
      << far_side::usb_conversation(path);
}

}  // namespace
}  // namespace system_test
