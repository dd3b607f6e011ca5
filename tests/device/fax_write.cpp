// What is written on the fax channel.

#include "tests/device/vendor_device.h"

namespace device_test {
namespace {

class FaxWrite : public VendorDevice {
 protected:
  static std::int32_t write(vlp::GenVlAccess& access, const Bytes& bytes, uint32_t control,
                            uint32_t channel = GENVL_CHANNEL_FAX) {
    return access.GenVlFaxWrite(channel, bytes.data(), static_cast<uint32_t>(bytes.size()),
                                control);
  }
  static Access opened(vlp::DbgLog* log = nullptr) {
    Access access = make(log);
    EXPECT_EQ(0, access->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX));
    return access;
  }
  static void close(vlp::GenVlAccess& access) {
    EXPECT_EQ(0, access.GenVlFaxChnlClose(GENVL_CHANNEL_FAX));
    expect_closed(access);
  }
  static std::vector<Bytes> faxes() { return messages(kFirst, kFaxSocket); }
  static std::string enter(const std::string& control) {
    return "GenVlAccess::GenVlFaxWrite - Enter  CtrlField=0x" + control;
  }
};

TEST_F(FaxWrite, GivesTheLengthOfTheData) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = opened();
    EXPECT_EQ(5, write(*access, text("hello"), 1));
    EXPECT_THAT(faxes(), ElementsAre(text("hello")));
    EXPECT_EQ(1, write(*access, text("!"), 1));
    EXPECT_THAT(faxes(), ElementsAre(text("hello"), text("!")));
    close(*access);
  });
}

TEST_F(FaxWrite, LowestBitOfTheControlIsTheEndOfTheMessage) {
  plug();
  run_virtual_serial(1, [this] {
    const Access access = opened(&log(vlp::kLogD4));
    for (const uint32_t control : {0u, 2u, 0xFFFFFFFEu}) {
      EXPECT_EQ(1, write(*access, text("a"), control));
      EXPECT_THAT(faxes(), IsEmpty());
    }
    EXPECT_EQ(1, write(*access, text("b"), 3));
    EXPECT_THAT(faxes(), ElementsAre(text("aaab")));
    EXPECT_EQ(1, write(*access, text("c"), 0xFFFFFFFF));
    EXPECT_THAT(faxes(), ElementsAre(text("aaab"), text("c")));
    // Nothing of it but that bit goes further, behind the search's own command.
    EXPECT_THAT(dumps("CD4CmdIO::D4WriteCmd - XDLT_Write"),
                ElementsAre(::testing::_, "Dump(2): 61 00 ", "Dump(2): 61 00 ", "Dump(2): 61 00 ",
                            "Dump(2): 62 01 ", "Dump(2): 63 01 "));
    close(*access);
  });
}

// With the flag the command layer gets a byte more.
TEST_F(FaxWrite, OfTheMostBytesGoesOutAndOneMoreDoesNot) {
  plug();
  run_virtual_serial(1, [this] {
    const Access access = opened(&log(vlp::kLogDevice | vlp::kLogD4));
    lines();
    EXPECT_EQ(std::int32_t{kDefaultPayload}, write(*access, filled(kDefaultPayload), 1));
    EXPECT_THAT(lines("CD4CmdIO::D4WriteCmd - XDLT_Write"),
                ElementsAre(::testing::HasSubstr(" : nDltRc = 4097")));
    EXPECT_THAT(faxes(), ElementsAre(filled(kDefaultPayload)));
    EXPECT_EQ(vlp::GENVL_E_PARAM, write(*access, filled(kDefaultPayload + 1), 1));
    EXPECT_THAT(lines(), ElementsAre("*** GenVlAccess::GenVlFaxWrite - send_CmdLen(4097) > "
                                     "CmdMaxLen(4096) ***"));
    EXPECT_EQ(1u, faxes().size());
    close(*access);
  });
}

TEST_F(FaxWrite, EntersTheLogWithTheLowestByteOfTheControl) {
  plug();
  run_virtual_serial(1, [this] {
    const Access access = opened(&log(vlp::kLogVendor));
    lines();
    EXPECT_EQ(1, write(*access, text("a"), 1));
    EXPECT_THAT(lines(), ElementsAre(enter("1")));
    EXPECT_EQ(1, write(*access, text("a"), 0x12345AB));
    EXPECT_THAT(lines(), ElementsAre(enter("AB")));
    // Whatever becomes of it.
    EXPECT_EQ(vlp::GENVL_E_PARAM, access->GenVlFaxWrite(kNoChannel, nullptr, 0, 0x100));
    EXPECT_THAT(lines(), ElementsAre(enter("0")));
    Private(*access).SetInitialized(0);
    EXPECT_EQ(vlp::GENVL_E_FAILED, write(*access, text("a"), 2));
    EXPECT_THAT(lines(), ElementsAre(enter("2")));
    Private(*access).SetInitialized(1);
    close(*access);
  });
}

TEST_F(FaxWrite, ArgumentsAreJudgedInTheirOrder) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = opened();
    Private inside(*access);
    const std::uint8_t byte = 1;
    for (const uint32_t channel : {GENVL_CHANNEL_STATUS, kNoChannel, 0u}) {
      EXPECT_EQ(vlp::GENVL_E_PARAM, access->GenVlFaxWrite(channel, &byte, 1, 1));
    }
    EXPECT_EQ(vlp::GENVL_E_PARAM, access->GenVlFaxWrite(GENVL_CHANNEL_FAX, nullptr, 1, 1));
    EXPECT_EQ(vlp::GENVL_E_PARAM, access->GenVlFaxWrite(GENVL_CHANNEL_FAX, &byte, 0, 1));
    inside.SetFatal(1);
    EXPECT_EQ(vlp::GENVL_E_FATAL, access->GenVlFaxWrite(kNoChannel, nullptr, 0, 1));
    EXPECT_EQ(vlp::GENVL_E_FATAL, access->GenVlFaxWrite(GENVL_CHANNEL_FAX, &byte, 1, 1));
    inside.SetInitialized(0);
    EXPECT_EQ(vlp::GENVL_E_FAILED, access->GenVlFaxWrite(GENVL_CHANNEL_FAX, &byte, 1, 1));
    inside.SetInitialized(1);
    auto layer = std::move(inside.CommandLayer());
    EXPECT_EQ(vlp::GENVL_E_FAILED, access->GenVlFaxWrite(GENVL_CHANNEL_FAX, &byte, 1, 1));
    inside.CommandLayer() = std::move(layer);
    inside.SetFatal(0);
    EXPECT_THAT(faxes(), IsEmpty());
    close(*access);
  });
}

TEST_F(FaxWrite, WithoutAnOpenChannelIsRefusedAndTold) {
  plug();
  run_virtual_serial(1, [this] {
    const Access access = make(&log(vlp::kLogDevice));
    lines();
    EXPECT_EQ(vlp::GENVL_E_PARAM, write(*access, text("a"), 1));
    EXPECT_THAT(lines(),
                ElementsAre("*** GenVlAccess::GenVlFaxWrite - Channel(0x21) is not opend ***"));
    // A wrong argument comes first.
    EXPECT_EQ(vlp::GENVL_E_PARAM, access->GenVlFaxWrite(GENVL_CHANNEL_FAX, nullptr, 1, 1));
    EXPECT_THAT(lines(), IsEmpty());
    EXPECT_EQ(0, access->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX));
    close(*access);
    lines();
    EXPECT_EQ(vlp::GENVL_E_PARAM, write(*access, text("a"), 1));
    EXPECT_THAT(lines(),
                ElementsAre("*** GenVlAccess::GenVlFaxWrite - Channel(0x21) is not opend ***"));
  });
}

TEST_F(FaxWrite, RefusedForTheWholeOfItsTimeLeavesTheChannelUsable) {
  D4Options options;
  options.sockets[kFaxSocket] = {.credit = simulator::D4CreditPolicy::never};
  plug(kFirst, options);
  run_virtual_serial(1, [] {
    const Access access = opened();
    const std::uint64_t began = elapsed_ms();
    EXPECT_EQ(vlp::GENVL_E_DEVICE, write(*access, text("a"), 1));
    EXPECT_GE(elapsed_ms() - began, 10'000u);
    EXPECT_EQ(0u, Private(*access).Fatal());
    with(kFirst, [](UsbPrinter& printer, std::uint64_t now) {
      printer.device().send_credit(kFaxSocket, 1, now);
    });
    EXPECT_EQ(1, write(*access, text("b"), 1));
    EXPECT_THAT(faxes(), ElementsAre(text("b")));
    close(*access);
  });
}

TEST_F(FaxWrite, LostLinkIsFatal) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = opened();
    EXPECT_EQ(1, write(*access, text("a"), 1));
    lose_link(kFirst);
    EXPECT_EQ(vlp::GENVL_E_FATAL, write(*access, text("b"), 1));
    EXPECT_EQ(1u, Private(*access).Fatal());
    EXPECT_EQ(vlp::GENVL_E_FATAL, write(*access, text("c"), 1));
    EXPECT_EQ(vlp::GENVL_E_DEVICE, access->GenVlFaxChnlClose(GENVL_CHANNEL_FAX));
    expect_closed(*access);
    EXPECT_EQ(status_item(), ask(*access, status_request()));
  });
}

}  // namespace
}  // namespace device_test
