// The channels of a printer, asked and answered.

#include "tests/operations/operations_fixture.h"

namespace vlp {
namespace {

using operations_test::Channels;
using operations_test::kThreeChannels;
using operations_test::OperationsTest;
using operations_test::ProfileOf;

class ConnectionInfo : public OperationsTest {};

TEST_F(ConnectionInfo, AsksForTheDeviceIdInOneBatch) {
  Describe(ProfileOf(kThreeChannels));
  Make();
  EXPECT_EQ(3, GetConnectInf());

  ASSERT_EQ(1u, far_side::batches().size());
  const far_side::SeenBatch batch = far_side::batches()[0];
  EXPECT_EQ(u"Printer", batch.printer);
  EXPECT_TRUE(batch.container);
  ASSERT_EQ(2u, batch.rows.size());
  EXPECT_EQ(u"\\Printer.VELNO_SCHEMA:SetPrinterName", batch.rows[0].schema);
  EXPECT_EQ(7u, batch.rows[0].input_type);
  EXPECT_EQ((far_side::Bytes{'P', 0, 'r', 0, 'i', 0, 'n', 0, 't', 0, 'e', 0, 'r', 0, 0, 0}),
            batch.rows[0].input);
  EXPECT_EQ(u"\\Printer.VELNO_SCHEMA:GetDeviceID", batch.rows[1].schema);
  EXPECT_EQ(0u, batch.rows[1].input_type);
  EXPECT_EQ(far_side::Bytes{}, batch.rows[1].input);
}

TEST_F(ConnectionInfo, WritesOneSlotPerChannelAndNoMore) {
  Describe(ProfileOf(kThreeChannels));
  Make();
  EXPECT_EQ(3, GetConnectInf());
  EXPECT_EQ((Channels{{ChnlKindQpl, 0x0003}, {ChnlKindBdc, 0x0007}, {ChnlKindD4, 0x0003}}),
            channels_);
}

TEST_F(ConnectionInfo, ReadsTenChannelsOfAProfile) {
  Channels channels;
  for (std::uint32_t n = 0; n < 11; ++n) channels.emplace_back(0x100 + n, 0x0001);
  Describe(ProfileOf(channels));
  Make();
  EXPECT_EQ(10, GetConnectInf());
  channels.pop_back();
  EXPECT_EQ(channels, channels_);
}

TEST_F(ConnectionInfo, SlotsMayStandAtAnyAddress) {
  Describe(ProfileOf(kThreeChannels));
  Make();
  std::array<std::uint8_t, kMaxConnectEntries * 8 + 8> memory;
  for (std::size_t offset = 1; offset < 8; ++offset) {
    memory.fill(0xA5);
    void* const at = memory.data() + offset;
    EXPECT_EQ(3, printer_->GetConnectInf(static_cast<std::uint64_t*>(at)));
    const std::array<std::uint8_t, 8> first = {0x02, 0x00, 0x01, 0x10, 0x03, 0x00, 0x00, 0x00};
    EXPECT_EQ(0, std::memcmp(first.data(), at, first.size())) << offset;
    EXPECT_EQ(0xA5, memory[offset - 1]);
    EXPECT_EQ(0xA5, memory[offset + 24]);
  }
}

TEST_F(ConnectionInfo, OfAFireWirePortKeepsD4BesideEnd4) {
  Describe(ProfileOf(kThreeChannels), "CMD:QPL,BDC,D4,END4;", "USB001");
  Make();
  EXPECT_EQ(2, GetConnectInf());
  Describe(ProfileOf(kThreeChannels), "CMD:QPL,BDC,D4,END4;", "vl1394d3_1");
  Make();
  EXPECT_EQ(3, GetConnectInf());
}

TEST_F(ConnectionInfo, OfASharedVendorClassPrinterMarksD4) {
  Describe(ProfileOf({{ChnlKindD4, 0x0003}}), "CMD:GENVL;", "USB001", 0x10);
  Make();
  EXPECT_EQ(1, GetConnectInf());
  EXPECT_EQ((Channels{{ChnlKindD4, 0xE003}}), channels_);
  Describe(ProfileOf({{ChnlKindD4, 0x0003}}), "CMD:GENVL;", "USB001", 0x08);
  Make();
  EXPECT_EQ(1, GetConnectInf());
  EXPECT_EQ((Channels{{ChnlKindD4, 0x0003}}), channels_);
}

// Sharing is looked up with the query itself, not only by the port check.
TEST_F(ConnectionInfo, SeesSharingThatHasJustChanged) {
  Describe("LPT_UniversalDriver=1\n" + ProfileOf({{ChnlKindD4, 0x0003}}), "CMD:GENVL;");
  Make();
  EXPECT_EQ(1, GetConnectInf());
  EXPECT_EQ((Channels{{ChnlKindD4, 0x0003}}), channels_);
  far_side::set_attributes("Printer", 0x10);
  EXPECT_EQ(1, GetConnectInf());
  EXPECT_EQ((Channels{{ChnlKindD4, 0xE003}}), channels_);
  far_side::set_attributes("Printer", 0);
  EXPECT_EQ(1, GetConnectInf());
  EXPECT_EQ((Channels{{ChnlKindD4, 0x0003}}), channels_);
}

TEST_F(ConnectionInfo, OfAPrinterWithoutAPortNameIsAnswered) {
  Describe(ProfileOf({{ChnlKindZrdPage, 0x0003}}));
  far_side::Trouble trouble;
  trouble.rows[u"\\Printer.VELNO_SCHEMA:GetDeviceID"] = {.data = far_side::bytes_of("CMD:;")};
  far_side::set_trouble(trouble);
  Make();
  far_side::set_port("Printer", "");
  far_side::plug({.port = ""});
  EXPECT_EQ(1, GetConnectInf());
}

TEST_F(ConnectionInfo, WithoutAProfileHasNoEntry) {
  far_side::add_printer({.name = "Printer"});
  far_side::set_device_id("USB001", far_side::bytes_of("CMD:BDC;"));
  Make();
  EXPECT_EQ(VLPER_NOENTRY, GetConnectInf());
  EXPECT_EQ(Channels{}, channels_);
}

TEST_F(ConnectionInfo, OfAProfileWithoutChannelsHasNoEntryAndHoldsTheDeviceId) {
  Describe("LPT_StatusLength=2048");
  Make();
  EXPECT_EQ(VLPER_NOENTRY, GetConnectInf());
  EXPECT_EQ(VLPER_NOENTRY, GetConnectInf());
  EXPECT_EQ(1u, Queries());
  EXPECT_EQ(0, GetDeviceID());
  EXPECT_EQ(operations_test::kDeviceId, device_id_);
  EXPECT_EQ(1u, Queries());
  EXPECT_EQ(
      (std::vector<std::string>{"CPrinterInf::GetConnectInf Enter",
                                "### CPrinterInf::GetConnectInf Return : rc = -19",
                                "CPrinterInf::GetConnectInf Enter",
                                "### CPrinterInf::GetConnectInf Exist DevID Return : rc = -19"}),
      LinesOf("GetConnectInf"));
}

TEST_F(ConnectionInfo, IsKeptForTheNextCall) {
  Describe(ProfileOf(kThreeChannels));
  Make();
  EXPECT_EQ(3, GetConnectInf());
  const Channels first = channels_;
  EXPECT_EQ(3, GetConnectInf());
  EXPECT_EQ(first, channels_);
  EXPECT_EQ(1u, Queries());
  EXPECT_EQ((std::vector<std::string>{"CPrinterInf::GetConnectInf Enter",
                                      "CPrinterInf::GetConnectInf Return : rc = 3",
                                      "CPrinterInf::GetConnectInf Enter",
                                      "CPrinterInf::GetConnectInf Exist DevID Return : rc = 3"}),
            LinesOf("GetConnectInf"));
}

TEST_F(ConnectionInfo, OfAUniversalDriverIsAskedForOnEachCall) {
  Describe("LPT_UniversalDriver=1\n" + ProfileOf(kThreeChannels));
  Make();
  EXPECT_EQ(3, GetConnectInf());
  EXPECT_EQ(3, GetConnectInf());
  EXPECT_EQ(2u, Queries());
  EXPECT_EQ("CPrinterInf::GetConnectInf Return : rc = 3", LinesOf("GetConnectInf").back());
}

TEST_F(ConnectionInfo, WithAnAgeLimitOfZeroIsAskedForOnEachCall) {
  Describe("LPT_DevIDNoChkTime=0\n" + ProfileOf(kThreeChannels));
  Make();
  EXPECT_EQ(3, GetConnectInf());
  EXPECT_EQ(3, GetConnectInf());
  EXPECT_EQ(2u, Queries());
}

TEST_F(ConnectionInfo, FollowsADeviceIdThatChanges) {
  Describe("LPT_UniversalDriver=1\n" + ProfileOf(kThreeChannels));
  Make();
  EXPECT_EQ(3, GetConnectInf());
  far_side::set_device_id("USB001", far_side::bytes_of("CMD:QPL;"));
  EXPECT_EQ(1, GetConnectInf());
  EXPECT_EQ((Channels{{ChnlKindQpl, 0x0007}}), channels_);
  far_side::set_device_id("USB001", far_side::bytes_of("MFG:X;"));
  EXPECT_EQ(VLPER_NOENTRY, GetConnectInf());
  far_side::set_device_id("USB001", far_side::bytes_of("CMD:QPL,BDC,D4;"));
  EXPECT_EQ(3, GetConnectInf());
}

TEST_F(ConnectionInfo, ReadsTheProfileOnceOnly) {
  Describe("LPT_UniversalDriver=1\n" + ProfileOf(kThreeChannels));
  Make();
  EXPECT_EQ(3, GetConnectInf());
  far_side::add_model("Model", ProfileOf({{ChnlKindBdc, 0x0001}}));
  EXPECT_EQ(3, GetConnectInf());
  EXPECT_EQ(3, GetConnectInf());
  Make();
  EXPECT_EQ(1, GetConnectInf());
}

TEST_F(ConnectionInfo, IsFilledByADeviceIdQueryToo) {
  Describe(ProfileOf(kThreeChannels));
  Make();
  EXPECT_EQ(0, GetDeviceID());
  EXPECT_EQ(3, GetConnectInf());
  EXPECT_EQ(1u, Queries());
  EXPECT_EQ("CPrinterInf::GetConnectInf Exist DevID Return : rc = 3",
            LinesOf("GetConnectInf").back());
}

}  // namespace
}  // namespace vlp
