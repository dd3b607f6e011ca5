// Queries for channels that fail, and what the next call finds.

#include "tests/operations/operations_fixture.h"

namespace vlp {
namespace {

using operations_test::Channels;
using operations_test::kThreeChannels;
using operations_test::OperationsTest;
using operations_test::ProfileOf;

constexpr std::uint32_t kFail = 0x80004005;

class ConnectionFailure : public OperationsTest {
 protected:
  void SetUp() override {
    OperationsTest::SetUp();
    Describe(ProfileOf(kThreeChannels));
    Make();
  }
};

TEST_F(ConnectionFailure, OfTheSendReadsAsNotSupported) {
  far_side::set_trouble({.send = {.result = kFail}});
  EXPECT_EQ(VLPER_NOTSUPPORT, GetConnectInf());
  EXPECT_EQ(Channels{}, channels_);
  EXPECT_EQ(
      (std::vector<std::string>{"CPrinterInf::GetConnectInf Enter",
                                "CPrinterInf::GetConnectInf Change VLPER_SEND to VLPER_NOTSUPPORT",
                                "### CPrinterInf::GetConnectInf Return : rc = -1"}),
      LinesOf("GetConnectInf"));
}

TEST_F(ConnectionFailure, OfAnotherKindKeepsItsCode) {
  const std::string returned = "### CPrinterInf::GetConnectInf Return : rc = ";
  far_side::set_trouble({.send = {.result = 0x800732CC}});
  EXPECT_EQ(VLPER_NOTCONNECT, GetConnectInf());
  EXPECT_EQ(returned + "-2", LinesOf("GetConnectInf").back());
  far_side::set_trouble({.send = {.result = 0x800732CD}});
  EXPECT_EQ(VLPER_NOTSUPPORT, GetConnectInf());
  EXPECT_EQ(returned + "-1", LinesOf("GetConnectInf").back());
  far_side::set_trouble({.bind_administrator = {.result = kFail, .last_error = 0}});
  EXPECT_EQ(VLPER_NOTSUPPORT, GetConnectInf());
  far_side::set_trouble({});
  printer_->StopBidiWorker();
  EXPECT_EQ(VLPER_TERMINATE, GetConnectInf());
  EXPECT_EQ(returned + "-6", LinesOf("GetConnectInf").back());
  const auto lines = LinesOf("GetConnectInf");
  EXPECT_EQ(0, std::count(lines.begin(), lines.end(),
                          "CPrinterInf::GetConnectInf Change VLPER_SEND to VLPER_NOTSUPPORT"));
}

TEST_F(ConnectionFailure, OfAnEmptyDeviceIdIsNotConnected) {
  far_side::set_device_id("USB001", {});
  EXPECT_EQ(VLPER_NOTCONNECT, GetConnectInf());
  EXPECT_EQ(VLPER_NOTCONNECT, GetConnectInf());
  EXPECT_EQ(2u, Queries());
}

TEST_F(ConnectionFailure, OfADeviceIdThatIsTooLongIsTold) {
  far_side::set_device_id("USB001", far_side::Bytes(1025, 'x'));
  EXPECT_EQ(VLPER_BUFFERSIZE, GetConnectInf());
  far_side::set_device_id("USB001", far_side::Bytes(0x20000, 'x'));
  EXPECT_EQ(VLPER_BUFFERSIZE, GetConnectInf());
}

TEST_F(ConnectionFailure, DoesntComeOfTheLongestDeviceId) {
  std::string device_id = "CMD:BDC;";
  device_id.resize(1024, 'x');
  far_side::set_device_id("USB001", far_side::bytes_of(device_id));
  EXPECT_EQ(1, GetConnectInf());
  EXPECT_EQ(0, GetDeviceID());
  EXPECT_EQ(device_id, device_id_);
}

TEST_F(ConnectionFailure, DoesntComeOfTheShortestDeviceId) {
  far_side::set_device_id("USB001", {'x'});
  EXPECT_EQ(VLPER_NOENTRY, GetConnectInf());
  EXPECT_EQ(0, GetDeviceID());
  EXPECT_EQ("x", device_id_);
}

TEST_F(ConnectionFailure, AfterAGoodQueryDropsTheDeviceId) {
  Describe("LPT_DevIDNoChkTime=0\n" + ProfileOf(kThreeChannels));
  Make();
  EXPECT_EQ(3, GetConnectInf());
  far_side::set_trouble({.send = {.result = kFail}});
  EXPECT_EQ(VLPER_NOTSUPPORT, GetConnectInf());
  EXPECT_EQ(Channels{}, channels_);
  EXPECT_EQ(VLPER_SEND, GetDeviceID());
  far_side::set_trouble({});
  EXPECT_EQ(3, GetConnectInf());
  EXPECT_EQ(4u, Queries());
}

TEST_F(ConnectionFailure, IsntRetried) {
  far_side::set_trouble({.send = {.result = kFail}});
  EXPECT_EQ(VLPER_NOTSUPPORT, GetConnectInf());
  EXPECT_EQ(1u, far_side::counts("Printer").sends);
}

TEST_F(ConnectionFailure, BeforeTheFirstGoodQueryLoadsNoProfile) {
  far_side::set_trouble({.send = {.result = kFail}});
  EXPECT_EQ(VLPER_NOTSUPPORT, GetConnectInf());
  // The profile of now is taken, not that of the failed query.
  far_side::add_model("Model", ProfileOf({{ChnlKindBdc, 0x0001}}));
  far_side::set_trouble({});
  EXPECT_EQ(1, GetConnectInf());
  EXPECT_EQ((Channels{{ChnlKindBdc, 0x0001}}), channels_);
}

TEST_F(ConnectionFailure, AfterAGoodQueryKeepsTheProfile) {
  Describe("LPT_UniversalDriver=1\n" + ProfileOf(kThreeChannels));
  Make();
  EXPECT_EQ(3, GetConnectInf());
  const Channels first = channels_;
  far_side::set_trouble({.send = {.result = kFail}});
  EXPECT_EQ(VLPER_NOTSUPPORT, GetConnectInf());
  far_side::add_model("Model", ProfileOf({{ChnlKindBdc, 0x0001}}));
  far_side::set_trouble({});
  EXPECT_EQ(3, GetConnectInf());
  EXPECT_EQ(first, channels_);
}

TEST_F(ConnectionFailure, OfAWorkerThatDidntStartIsNotSupported) {
  far_side::set_trouble({.create_spl = {.result = kFail}});
  Make();
  EXPECT_EQ(VLPER_NOTSUPPORT, GetConnectInf());
  EXPECT_EQ(VLPER_NOTSUPPORT, GetDeviceID());
  EXPECT_EQ(far_side::Counts{}, far_side::counts("Printer"));
}

TEST_F(ConnectionFailure, AfterTheStopDoesntTouchWhatIsKept) {
  EXPECT_EQ(3, GetConnectInf());
  printer_->StopBidiWorker();
  EXPECT_EQ(3, GetConnectInf());
  EXPECT_EQ(0, GetDeviceID());
  EXPECT_EQ(operations_test::kDeviceId, device_id_);
  EXPECT_EQ(0, printer_->CheckSupportPort());
}

}  // namespace
}  // namespace vlp
