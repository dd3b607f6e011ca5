// What the printer's operations make of each result of the device, over one that only says
// what it is told to.

#include "tests/operations/fake_device.h"
#include "tests/operations/vendor_fixture.h"

namespace vlp {
namespace {

using namespace std::string_literals;
using fake_device::new_calls;
using fake_device::script;
using operations_test::BdcProbe;
using operations_test::kOtherSerial;
using operations_test::kPrinterLines;
using operations_test::kSerial;
using operations_test::kVendorLines;
using operations_test::TextItem;
using operations_test::VendorTest;
using test::sleep_ms;
using Calls = std::vector<std::string>;

const std::string kNew = "new 51 4E 39 30 30 30 30 32 30 33";
const std::string kNewOther = "new 51 4E 39 30 30 30 30 32 30 34";
const std::string kSent = "send 10000005 63 6D 64";
const std::string kFetched = "reply 10000005 of 65535";

class VendorResults : public VendorTest {
 protected:
  void SetUp() override {
    fake_device::reset();
    VendorTest::SetUp();
  }

  // One command that went well, so there is an object.
  void OpenFound(std::uint32_t mask = kPrinterLines) {
    OpenVendor("", mask);
    ExpectReply();
    EXPECT_EQ((Calls{kNew, kSent, kFetched}), new_calls());
    Forget();
  }
};

TEST_F(VendorResults, AnObjectIsMadeOnceAndUsedAgain) {
  Timed([&] {
    OpenFound();
    sleep_ms(10 * kStatusIsGoodFor);
    ExpectReply();
    EXPECT_EQ((Calls{kSent, kFetched}), new_calls());
    EXPECT_EQ(0u, Batches());
    printer_.reset();
    EXPECT_EQ((Calls{"delete"}), new_calls());
  });
}

TEST_F(VendorResults, AnObjectGetsTheProfilesSettingsAndTheLog) {
  Timed([&] {
    OpenVendor(
        "LPT_D4RetryMode=1\nLPT_D4RetryTiming=7\nLPT_D4RetryMax=31\n"
        "LPT_PacketRcvMaxTime=1234\nLPT_StatusNoChkTime=4321");
    ExpectReply();
    EXPECT_EQ((std::vector<std::int64_t>{1, 7, 31, 1234, 4321}), fake_device::settings());
  });
}

TEST_F(VendorResults, AnObjectWithoutItsDeviceGoesAtOnce) {
  Timed([&] {
    OpenVendor();
    script().found = false;
    ExpectFailure(VLPER_NOTCONNECT);
    EXPECT_EQ((Calls{kNew, "delete"}), new_calls());
    script().found = true;
    ExpectReply();
    EXPECT_EQ((Calls{kNew, kSent, kFetched}), new_calls());
    EXPECT_EQ(1u, Batches());
  });
}

TEST_F(VendorResults, NoObjectIsMadeForAStatusWithoutASerialNumber) {
  Timed([&] {
    OpenVendor();
    Answer("GetStatus", TextItem("04"));
    ExpectFailure(VLPER_NOTCONNECT);
    EXPECT_EQ(Calls{}, new_calls());
  });
}

// --- A send that fails ------------------------------------------------------------------------

TEST_F(VendorResults, AFailedSendIsLoggedWithItsCode) {
  Timed([&] {
    OpenFound(kPrinterLines | kVendorLines);
    script().sends = {-8};
    ExpectFailure(VLPER_SEND);
    EXPECT_EQ((std::vector<std::string>{"-----", "CPrinterInf::SendCommand Enter | Data(3): cmd",
                                        "*** GenVlAccess::GenVlSendRecv - End.  nRC=-8 ***",
                                        "### CPrinterInf::SendCommand Return : rc = -9"}),
              OwnLines());
  });
}

TEST_F(VendorResults, AFailedSendsLineIsNotThePrintersOwn) {
  Timed([&] {
    OpenFound(kVendorLines);
    script().sends = {0};
    ExpectFailure(VLPER_SEND);
    const std::vector<std::string> lines = OwnLines();
    EXPECT_EQ("*** GenVlAccess::GenVlSendRecv - End.  nRC=0 ***", lines.back());
    printer_.reset();
    new_calls();
    OpenFound(printer_test::kAllLines & ~kVendorLines);
    script().sends = {0};
    ExpectFailure(VLPER_SEND);
    for (const std::string& line : OwnLines()) EXPECT_EQ(std::string::npos, line.find("nRC"));
  });
}

TEST_F(VendorResults, ALostDeviceIsRenewedAfterAFreshReading) {
  for (const std::int32_t code : {-3, -8}) {
    SCOPED_TRACE(code);
    SetUp();
    Timed([&] {
      OpenFound();
      script().sends = {code};
      ExpectFailure(VLPER_SEND);
      EXPECT_EQ((Calls{kSent}), new_calls()) << "nothing is done again";
      EXPECT_EQ(0u, Batches());
      sleep_ms(kStatusIsGoodFor);
      Answer("GetStatus", StatusOf(kOtherSerial));
      ExpectReply();
      ExpectStatusBatch(1);
      EXPECT_EQ((Calls{"delete", kNewOther, kSent, kFetched}), new_calls());
      ExpectReply();
      EXPECT_EQ((Calls{kSent, kFetched}), new_calls()) << "once";
    });
  }
}

TEST_F(VendorResults, EveryOtherFailureLeavesTheObject) {
  for (const std::int32_t code : {0, -1, -2, -4, -5, -6, -7, -9, -10, INT32_MIN}) {
    SCOPED_TRACE(code);
    SetUp();
    Timed([&] {
      OpenFound();
      script().sends = {code};
      ExpectFailure(code == -7 ? VLPER_BUSY : VLPER_SEND);
      EXPECT_EQ((Calls{kSent}), new_calls()) << "nothing is fetched";
      sleep_ms(kStatusIsGoodFor);
      ExpectReply();
      EXPECT_EQ((Calls{kSent, kFetched}), new_calls());
      EXPECT_EQ(0u, Batches());
    });
  }
}

TEST_F(VendorResults, ARenewalIsOverThoughTheDeviceIsntFound) {
  Timed([&] {
    OpenFound();
    script().sends = {-3};
    ExpectFailure(VLPER_SEND);
    sleep_ms(kStatusIsGoodFor);
    script().found = false;
    ExpectFailure(VLPER_NOTCONNECT);
    EXPECT_EQ((Calls{kSent, "delete", kNew, "delete"}), new_calls());
    EXPECT_EQ(1u, Batches());
    sleep_ms(kStatusIsGoodFor);
    script().found = true;
    ExpectReply();
    ExpectReply();
    EXPECT_EQ((Calls{kNew, kSent, kFetched, kSent, kFetched}), new_calls());
    EXPECT_EQ(1u, Batches()) << "the status is read for an object that is thrown away only";
  });
}

// The old device goes before the printer is asked what state it is in.
TEST_F(VendorResults, ARenewalThatFindsNoStatusHasNoObjectLeft) {
  Timed([&] {
    OpenFound();
    script().sends = {-8};
    ExpectFailure(VLPER_SEND);
    new_calls();
    sleep_ms(kStatusIsGoodFor);
    Answer("GetStatus", "no status");
    ExpectFailure(VLPER_SEND);
    EXPECT_EQ((Calls{"delete"}), new_calls());
    EXPECT_EQ(2u, Batches());
  });
}

TEST_F(VendorResults, AFailureThatIsNoneForRenewalIsTheLastWord) {
  Timed([&] {
    OpenFound();
    script().sends = {-3, -7};
    ExpectFailure(VLPER_SEND);
    ExpectFailure(VLPER_BUSY);
    EXPECT_EQ((Calls{kSent, "delete", kNew, kSent}), new_calls());
    ExpectReply();
    EXPECT_EQ((Calls{kSent, kFetched}), new_calls());
  });
}

TEST_F(VendorResults, AFailedSendDropsTheReplyOfAnotherCommand) {
  Timed([&] {
    OpenFound();
    EXPECT_EQ(VLPER_BUFFERSIZE, Send(ChnlKindD4, "cmd", 0));
    EXPECT_EQ((Calls{kSent, kFetched}), new_calls());
    script().sends = {-1};
    ExpectFailure(VLPER_SEND, "other");
    EXPECT_EQ((Calls{"send 10000005 6F 74 68 65 72"}), new_calls());
    ExpectReply();
    EXPECT_EQ((Calls{kSent, kFetched}), new_calls());
  });
}

// --- The reply --------------------------------------------------------------------------------

TEST_F(VendorResults, AReplyThatIsTooLongHasNoUsableLength) {
  Timed([&] {
    OpenFound();
    script().reply = std::string(70000, 'x');
    script().replies = {-4};
    ExpectFailure(VLPER_BUFFERSIZE);
    EXPECT_EQ((Calls{kSent, kFetched}), new_calls());
    script().replies = {-4};
    EXPECT_EQ(VLPER_BUFFERSIZE, Send(ChnlKindD4, "cmd", 0));
    EXPECT_EQ(0u, length_);
    EXPECT_EQ((Calls{kSent, kFetched}), new_calls()) << "nothing was kept";
  });
}

TEST_F(VendorResults, AReplyThatFailsOtherwiseIsRefused) {
  for (const std::int32_t code : {0, -1, -2, -3, -5, -6, -7, -8, INT32_MIN}) {
    SCOPED_TRACE(code);
    SetUp();
    Timed([&] {
      OpenFound();
      script().replies = {code};
      ExpectFailure(VLPER_PARAM);
      sleep_ms(kStatusIsGoodFor);
      ExpectReply();
      EXPECT_EQ((Calls{kSent, kFetched, kSent, kFetched}), new_calls()) << "the object stays";
      EXPECT_EQ(0u, Batches());
    });
  }
}

TEST_F(VendorResults, AReplyHasTheLengthThatWasReceived) {
  Timed([&] {
    OpenFound();
    for (const std::size_t size : {std::size_t{1}, std::size_t{2049}, std::size_t{65535}}) {
      script().reply = std::string(size, 'x');
      EXPECT_EQ(0, Send(ChnlKindD4, "cmd", 70000));
      EXPECT_EQ(script().reply, got_);
    }
  });
}

TEST_F(VendorResults, AReplyIsHandedOnWhole) {
  Timed([&] {
    OpenFound();
    script().reply = TextItem("1") + "re\0ply"s + BdcProbe();
    ExpectReply("cmd", script().reply);
    // Nor is a single zero byte taken for a reply that is none.
    script().reply = "\0"s;
    ExpectReply("cmd", "\0"s);
  });
}

TEST_F(VendorResults, ASendOfAnyPositiveResultWent) {
  Timed([&] {
    OpenFound();
    script().sends = {1, INT32_MAX};
    ExpectReply();
    ExpectReply();
  });
}

// --- Memory -----------------------------------------------------------------------------------

TEST_F(VendorResults, NoMemoryForTheObjectIsSaidAndLeavesNone) {
  Timed([&] {
    OpenVendor();
    script().no_memory = true;
    ExpectFailure(VLPER_MEMORY);
    EXPECT_EQ((Calls{kNew}), new_calls());
    script().no_memory = false;
    ExpectReply();
    EXPECT_EQ((Calls{kNew, kSent, kFetched}), new_calls());
  });
}

TEST_F(VendorResults, NoMemoryInASendIsSaidAndLeavesTheObject) {
  Timed([&] {
    OpenFound();
    script().while_sending = [] { throw std::bad_alloc(); };
    ExpectFailure(VLPER_MEMORY);
    script().while_sending = [] {};
    ExpectReply();
    EXPECT_EQ((Calls{kSent, kSent, kFetched}), new_calls());
  });
}

// --- Channels that change meanwhile -----------------------------------------------------------

TEST_F(VendorResults, APrinterThatIsNoLongerVendorClassGoesByTheSpooler) {
  Timed([&] {
    OpenFound();
    far_side::set_device_id("USB001", far_side::bytes_of("MFG:X;CMD:BDC,D4;"));
    sleep_ms(30000);
    Connect();
    Answer("SendCommand", "by the spooler");
    ExpectReply("cmd", "by the spooler");
    EXPECT_EQ(Calls{}, new_calls()) << "the device is left alone, not ended";
  });
}

}  // namespace
}  // namespace vlp
