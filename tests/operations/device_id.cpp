// The device ID by the length protocol.

#include "tests/operations/operations_fixture.h"

namespace vlp {
namespace {

using operations_test::kDeviceId;
using operations_test::kThreeChannels;
using operations_test::OperationsTest;
using operations_test::ProfileOf;

constexpr std::uint32_t kSize = 21;  // of kDeviceId

class DeviceId : public OperationsTest {
 protected:
  void SetUp() override {
    OperationsTest::SetUp();
    Describe(ProfileOf(kThreeChannels));
    Make();
  }

  std::int32_t Ask(std::uint32_t capacity, std::string* text = nullptr) {
    std::vector<std::uint8_t> buffer(capacity + 1, 0xA5);
    length_ = capacity;
    const std::int32_t rc =
        printer_->GetDeviceID(capacity == 0 ? nullptr : buffer.data(), &length_);
    EXPECT_EQ(0xA5, buffer[capacity]);
    if (text != nullptr) text->assign(buffer.begin(), buffer.end());
    return rc;
  }

  std::uint32_t length_ = 0;
};

TEST_F(DeviceId, IsToldItsSizeFirstAndGivenThen) {
  EXPECT_EQ(VLPER_BUFFERSIZE, Ask(0));
  EXPECT_EQ(kSize, length_);
  std::string text;
  EXPECT_EQ(0, Ask(kSize, &text));
  EXPECT_EQ(kSize, length_);
  EXPECT_EQ(kDeviceId, text.substr(0, kSize));
  EXPECT_EQ(1u, Queries());
}

TEST_F(DeviceId, LeavesASmallerBufferAlone) {
  std::string text;
  EXPECT_EQ(VLPER_BUFFERSIZE, Ask(kSize - 1, &text));
  EXPECT_EQ(kSize, length_);
  EXPECT_EQ(std::string(kSize, '\xA5'), text);
}

TEST_F(DeviceId, TellsItsLengthForALargerBuffer) {
  std::string text;
  EXPECT_EQ(0, Ask(1000, &text));
  EXPECT_EQ(kSize, length_);
  EXPECT_EQ(kDeviceId, text.substr(0, kSize));
  EXPECT_EQ('\xA5', text[kSize]);
}

TEST_F(DeviceId, IsGivenByteByByteWithoutATerminator) {
  const std::string bytes("\0CMD:\0\xFF;\0", 9);
  far_side::set_device_id("USB001", far_side::bytes_of(bytes));
  EXPECT_EQ(0, GetDeviceID());
  EXPECT_EQ(bytes, device_id_);
}

TEST_F(DeviceId, IsLoggedWithItsBytesOrItsCode) {
  EXPECT_EQ(VLPER_BUFFERSIZE, Ask(0));
  EXPECT_EQ(0, Ask(kSize));
  EXPECT_EQ(VLPER_BUFFERSIZE, Ask(1));
  EXPECT_EQ((std::vector<std::string>{
                "CPrinterInf::GetDeviceID Enter", "### CPrinterInf::GetDeviceID Return : rc = -5",
                "CPrinterInf::GetDeviceID Enter", "CPrinterInf::GetDeviceID Exist DevID Return",
                "CPrinterInf::GetDeviceID Enter",
                "### CPrinterInf::GetDeviceID Exist DevID Return : rc = -5"}),
            LinesOf("GetDeviceID"));
  const auto lines = log_lines::starting(LogPath(), "CPrinterInf::GetDeviceID Exist DevID Return");
  EXPECT_EQ((std::vector<std::string>{std::string("Data(21): ") + kDeviceId}), lines[0].bytes);
}

TEST_F(DeviceId, FreshlyReadIsLoggedWithItsBytes) {
  EXPECT_EQ(0, Ask(100));
  const auto lines = log_lines::starting(LogPath(), "CPrinterInf::GetDeviceID Return");
  ASSERT_EQ(1u, lines.size());
  EXPECT_EQ("CPrinterInf::GetDeviceID Return", lines[0].shown());
  EXPECT_EQ((std::vector<std::string>{std::string("Data(21): ") + kDeviceId}), lines[0].bytes);
}

TEST_F(DeviceId, FailureKeepsItsCodeAndLeavesTheLengthAlone) {
  const auto fails = [this](std::int32_t code) {
    EXPECT_EQ(code, Ask(77));
    EXPECT_EQ(77u, length_);
    EXPECT_EQ("### CPrinterInf::GetDeviceID Return : rc = " + std::to_string(code),
              LinesOf("GetDeviceID").back());
  };
  far_side::set_trouble({.send = {.result = 0x80004005}});
  fails(VLPER_SEND);
  far_side::set_trouble({.send = {.result = 0x800732CB}});
  fails(VLPER_NOTCONNECT);
  far_side::set_trouble({});
  far_side::set_device_id("USB001", {});
  fails(VLPER_NOTCONNECT);
  far_side::set_device_id("USB001", far_side::Bytes(1025, 'x'));
  fails(VLPER_BUFFERSIZE);
  printer_->StopBidiWorker();
  fails(VLPER_TERMINATE);
}

TEST_F(DeviceId, OfAUniversalDriverIsAskedForByBothCalls) {
  Describe("LPT_UniversalDriver=1\n" + ProfileOf(kThreeChannels));
  Make();
  EXPECT_EQ(0, GetDeviceID());
  EXPECT_EQ(2u, Queries());
  EXPECT_EQ(0, GetDeviceID());
  EXPECT_EQ(4u, Queries());
}

TEST_F(DeviceId, ThatGrowsBetweenTheCallsIsTooLargeAgain) {
  Describe("LPT_DevIDNoChkTime=0\n" + ProfileOf(kThreeChannels));
  Make();
  EXPECT_EQ(VLPER_BUFFERSIZE, Ask(0));
  EXPECT_EQ(kSize, length_);
  far_side::set_device_id("USB001", far_side::bytes_of(std::string(kDeviceId) + "SN:1;"));
  EXPECT_EQ(VLPER_BUFFERSIZE, Ask(kSize));
  EXPECT_EQ(kSize + 5, length_);
}

TEST_F(DeviceId, ThatShrinksBetweenTheCallsIsGivenAsItIs) {
  Describe("LPT_DevIDNoChkTime=0\n" + ProfileOf(kThreeChannels));
  Make();
  EXPECT_EQ(VLPER_BUFFERSIZE, Ask(0));
  far_side::set_device_id("USB001", far_side::bytes_of("CMD:BDC;"));
  EXPECT_EQ(0, Ask(kSize));
  EXPECT_EQ(8u, length_);
}

TEST_F(DeviceId, ReadByConnectionInfoIsGivenFromTheCache) {
  EXPECT_EQ(3, GetConnectInf());
  EXPECT_EQ(0, GetDeviceID());
  EXPECT_EQ(kDeviceId, device_id_);
  EXPECT_EQ(1u, Queries());
}

TEST_F(DeviceId, OfAPrinterWithoutAProfileIsGivenAndKept) {
  far_side::add_printer({.name = "Printer"});
  Make();
  EXPECT_EQ(0, GetDeviceID());
  EXPECT_EQ(kDeviceId, device_id_);
  EXPECT_EQ(1u, Queries());
}

}  // namespace
}  // namespace vlp
