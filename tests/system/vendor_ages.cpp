// How long the vendor-class road waits, and for what: in virtual time.

#include "tests/system/vendor.h"

namespace system_test {
namespace {

class VendorAges : public VendorTest {
 protected:
  // How long a command that doesn't work takes.
  DWORD FailingMs() {
    const DWORD begin = GetTickCount();
    EXPECT_EQ(Send(ChnlKindD4, Echo("lost")), VLPER_SEND);
    return GetTickCount() - begin;
  }
};

TEST_F(VendorAges, ABusyDeviceIsWaitedForAsLongAsTheProfileSays) {
  OpenFound("b1", "LPT_PacketRcvMaxTime=7000\n");
  const far_side::UsbHolder holder(path_);
  const DWORD begin = GetTickCount();
  EXPECT_EQ(Send(ChnlKindD4, Echo("x")), VLPER_BUSY);
  EXPECT_EQ(GetTickCount() - begin, 7000U);
}

TEST_F(VendorAges, ABusyDeviceIsWaitedForTwentySeconds) {
  OpenFound("b1");
  const far_side::UsbHolder holder(path_);
  const DWORD begin = GetTickCount();
  EXPECT_EQ(Send(ChnlKindD4, Echo("x")), VLPER_BUSY);
  EXPECT_EQ(GetTickCount() - begin, 20000U);
}

TEST_F(VendorAges, ADeviceThatIsFreeOneMillisecondBeforeTheEndIsTaken) {
  OpenFound("b1");
  far_side::UsbHolder holder(path_);
  Thread other([&] {
    Sleep(19999);
    holder.release();
  });
  EXPECT_EQ(Reply(ChnlKindD4, Echo("x")), "x");
}

// The reply to a control packet is waited for 11 seconds, that to the command itself for half
// of the profile's time.
TEST_F(VendorAges, WhereverInTheCommandTheDeviceIsRemovedItIsFoundAgain) {
  OpenFound("b0");
  for (const VendorPacket packet :
       {kEntryPacket, kInitPacket, kOpenPacket, kDataPacket, kCreditPacket}) {
    Plan(path_, D4Act::Kind::removal, packet);
    EXPECT_LE(FailingMs(), 22500U) << packet;
    path_ = far_side::replug_usb(path_, "c" + std::to_string(packet));
    EXPECT_EQ(Reply(ChnlKindD4, Echo("again")), "again") << packet;
  }
  EXPECT_EQ(Searches(), 6U);
}

TEST_F(VendorAges, ALinkThatTheDeviceEndsFailsTheCommandAndTheDeviceIsSearchedAnew) {
  OpenFound("b1");
  // The host still closes its channel.
  far_side::with_usb(path_, [](far_side::UsbPrinter& printer, std::uint64_t) {
    printer.device().tolerate(simulator::D4Rule::nothing_after_error);
  });
  Plan(path_, D4Act::Kind::error, kDataPacket);
  FailingMs();
  EXPECT_EQ(FailedSends("-3"), 1U);
  EXPECT_EQ(Links(path_), 1U);
  EXPECT_EQ(Reply(ChnlKindD4, Echo("again")), "again");
  EXPECT_EQ(Links(path_), 2U);
  EXPECT_EQ(Searches(), 2U);
}

// The list closes up behind it, so the next device is passed over; the search after that
// begins with it.
TEST_F(VendorAges, ADeviceThatLeavesInTheSearchHidesTheNextOneOnce) {
  D4Options leaving = Patient();
  leaving.acts = {{.kind = D4Act::Kind::removal, .host_packet = kDataPacket}};
  Plug("b1", kOtherSerial, leaving);
  const std::string second = Plug("b2");
  OpenVendor();
  EXPECT_EQ(Send(ChnlKindD4, Echo("x")), VLPER_NOTCONNECT);
  EXPECT_EQ(Links(second), 0U);
  EXPECT_EQ(Reply(ChnlKindD4, Echo("x")), "x");
  EXPECT_EQ(Links(second), 2U);
}

TEST_F(VendorAges, AReplyThatComesTooLateIsNobodysReply) {
  OpenFound("b1");
  const auto answer_after = [&](std::uint64_t ms) {
    far_side::with_usb(path_, [&](far_side::UsbPrinter& printer, std::uint64_t) {
      printer.device().options().data_latency_ms = ms;
    });
  };
  answer_after(9900);
  EXPECT_EQ(Reply(ChnlKindD4, Echo("slow")), "slow");
  answer_after(15000);
  EXPECT_GE(FailingMs(), 10000U);
  answer_after(0);
  EXPECT_EQ(Reply(ChnlKindD4, Echo("next")), "next");
}

TEST_F(VendorAges, AStatusIsYoungForANewSearchUntilTheProfilesTimeIsOver) {
  OpenFound("b1");
  for (const auto& [age, readings] : {std::pair{4000U, 0U}, std::pair{6000U, 1U}}) {
    far_side::unplug_usb(path_);
    EXPECT_EQ(Send(ChnlKindD4, Echo("x")), VLPER_SEND);
    path_ = far_side::replug_usb(path_, "b" + std::to_string(age));
    Batches();
    Sleep(age);
    EXPECT_EQ(Reply(ChnlKindD4, Echo("x")), "x");
    EXPECT_EQ(Batches(), readings) << age;
  }
}

TEST_F(VendorAges, OneOfTwoPrintersDoesNotWaitForTheOther) {
  D4Options slow = Patient();
  slow.data_latency_ms = 1000;
  Plug("b1", kOtherSerial, slow);
  Plug("b2", kVendorSerial, slow);
  AddSecond("Second", "USB002", kOtherSerial);
  OpenVendor();
  ASSERT_GE(provider().Connect("Second").code, 1);
  const auto command = [&](const char* name) {
    EXPECT_EQ(provider().Command(1, name, ChnlKindD4, bytes_of(Echo("x"))), 5);
  };
  command(kTalker);
  command("Second");
  const DWORD begin = GetTickCount();
  {
    Thread first([&] { command(kTalker); });
    Thread second([&] { command("Second"); });
  }
  EXPECT_LT(GetTickCount() - begin, 1100U);
}

}  // namespace
}  // namespace system_test
