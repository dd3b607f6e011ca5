// Channels together: their order, their modes and what they do to each other.

#include "operations/channel_choice.h"

#include "include/vlpbidi.h"
#include "operations/schema_batch.h"
#include "support/connect_info.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace vlp {
namespace {

using Channels = std::vector<std::pair<ChannelKind, std::uint32_t>>;

ModelProfile ProfileOf(const Channels& channels) {
  ModelProfile profile;
  for (std::size_t slot = 0; slot < channels.size(); ++slot) {
    profile.channelKind[slot] = channels[slot].first;
    profile.channelMode[slot] = channels[slot].second;
  }
  return profile;
}

std::shared_ptr<const ConnectRecords> Choose(const ModelProfile& profile,
                                             const std::string& device_id,
                                             const std::string& port = "USB001",
                                             bool shared = false) {
  PrinterFacts facts;
  facts.device_id = {reinterpret_cast<const std::uint8_t*>(device_id.data()), device_id.size()};
  facts.port = port;
  facts.shared = shared;
  return ChooseChannels(profile, facts);
}

Channels Chosen(const Channels& profile, const std::string& device_id,
                const std::string& port = "USB001", bool shared = false) {
  const auto records = Choose(ProfileOf(profile), device_id, port, shared);
  Channels channels;
  for (std::uint32_t index = 0; index < records->count; ++index) {
    channels.emplace_back(records->records[index].kind, records->records[index].mode);
  }
  return channels;
}

const Channels kThree = {{ChnlKindQpl, 0x0007}, {ChnlKindBdc, 0x0007}, {ChnlKindD4, 0x0003}};

TEST(ChannelChoice, KeepsThreeChannelsAndLeavesStatusToBdc) {
  EXPECT_EQ((Channels{{ChnlKindQpl, 0x0003}, {ChnlKindBdc, 0x0007}, {ChnlKindD4, 0x0003}}),
            Chosen(kThree, "MFG:X;CMD:QPL,BDC,D4;"));
}

TEST(ChannelChoice, DropsD4BesideEnd4ButOnAFireWirePort) {
  EXPECT_EQ((Channels{{ChnlKindQpl, 0x0003}, {ChnlKindBdc, 0x0007}}),
            Chosen(kThree, "MFG:X;CMD:QPL,BDC,D4,END4;"));
  for (const char* port : {"VL1394D3_1", "vl1394d3_1"}) {
    EXPECT_EQ((Channels{{ChnlKindQpl, 0x0003}, {ChnlKindBdc, 0x0007}, {ChnlKindD4, 0x0003}}),
              Chosen(kThree, "MFG:X;CMD:QPL,BDC,D4,END4;", port));
  }
}

TEST(ChannelChoice, KeepsD4OfAVendorClassPrinter) {
  EXPECT_EQ((Channels{{ChnlKindD4, 0x0003}}), Chosen({{ChnlKindD4, 0x0003}}, "CMD:GENVL,BDC;"));
  EXPECT_EQ(1u, Choose(ProfileOf({{ChnlKindD4, 0x0003}}), "CMD:GENVL,BDC;")->vendorClass);
}

TEST(ChannelChoice, WithoutTheFieldKeepsOnlyKindsWithoutATest) {
  const Channels all = {{ChnlKindD4, 1},    {ChnlKindZrdPages, 1}, {ChnlKindQpl, 1},
                        {ChnlKindBdc, 1},   {ChnlKindZrdPage, 1},  {ChnlKindEnd4, 1},
                        {ChnlKindLabel, 1}, {0x12345678, 1}};
  EXPECT_EQ((Channels{{ChnlKindZrdPage, 1}, {0x12345678, 1}}), Chosen(all, "MFG:X;MDL:Y;"));
}

TEST(ChannelChoice, OfNoChannelsIsEmpty) {
  const auto records = Choose(ModelProfile{}, "CMD:GENVL,BDC,QPL,D4;");
  EXPECT_EQ(0u, records->count);
  EXPECT_EQ(1u, records->vendorClass);
}

TEST(ChannelChoice, EndsAtTheFirstKindOfZero) {
  ModelProfile profile = ProfileOf({{ChnlKindBdc, 7}, {0, 7}, {ChnlKindZrdPage, 7}});
  EXPECT_EQ(1u, Choose(profile, "CMD:BDC;")->count);
}

TEST(ChannelChoice, TakesUpToElevenSlotsInOrder) {
  Channels all;
  for (std::uint32_t n = 0; n < 11; ++n) all.emplace_back(0x20000000 + n, n);
  EXPECT_EQ(all, Chosen(all, "CMD:BDC;"));
}

TEST(ChannelChoice, PacksWhatIsKeptFromTheFront) {
  const Channels all = {{ChnlKindLabel, 1}, {ChnlKindBdc, 2}, {ChnlKindQpl, 3}, {0x55, 4}};
  EXPECT_EQ((Channels{{ChnlKindBdc, 2}, {0x55, 4}}), Chosen(all, "CMD:BDC;"));
}

TEST(ChannelChoice, KeepsAKindThatIsListedTwice) {
  EXPECT_EQ((Channels{{ChnlKindBdc, 7}, {ChnlKindBdc, 3}}),
            Chosen({{ChnlKindBdc, 7}, {ChnlKindBdc, 3}}, "CMD:BDC;"));
}

TEST(ChannelChoice, CutsTheModeToSixteenBits) {
  EXPECT_EQ((Channels{{ChnlKindBdc, 0xFFFF}, {0x55, 0x0001}}),
            Chosen({{ChnlKindBdc, 0xFFFFFFFF}, {0x55, 0xABCD0001}}, "CMD:BDC;"));
}

TEST(ChannelChoice, MarksD4OfASharedVendorClassPrinter) {
  const Channels all = {{ChnlKindBdc, 0x0003}, {ChnlKindD4, 0x0003}};
  EXPECT_EQ((Channels{{ChnlKindBdc, 0x0003}, {ChnlKindD4, 0xE003}}),
            Chosen(all, "CMD:GENVL,BDC;", "USB001", true));
  // Each of the conditions by itself.
  EXPECT_EQ(all, Chosen(all, "CMD:GENVL,BDC;", "USB001", false));
  EXPECT_EQ(all, Chosen(all, "CMD:D4,BDC;", "USB001", true));
  EXPECT_EQ(all, Chosen(all, "CMD:D4,BDC;", "USB001", false));
}

TEST(ChannelChoice, MarksNoOtherKindOfASharedVendorClassPrinter) {
  const Channels all = {{ChnlKindBdc, 1},   {ChnlKindQpl, 1}, {ChnlKindZrdPages, 1},
                        {ChnlKindLabel, 1}, {0x55, 1},        {ChnlKindZrdPage, 1}};
  EXPECT_EQ(all, Chosen(all, "CMD:GENVL,BDC,QPL,ZRDPAGES-01,ZRDLABEL;", "USB001", true));
}

TEST(ChannelChoice, MarksD4OnEverySlot) {
  EXPECT_EQ((Channels{{ChnlKindD4, 0xE003}, {ChnlKindD4, 0xE000}}),
            Chosen({{ChnlKindD4, 0x0003}, {ChnlKindD4, 0x8000}}, "CMD:GENVL;", "USB001", true));
}

TEST(ChannelChoice, TakesStatusFromQplOnlyBesideBdc) {
  EXPECT_EQ((Channels{{ChnlKindQpl, 0x0007}}), Chosen({{ChnlKindQpl, 0x0007}}, "CMD:QPL,BDC;"));
  EXPECT_EQ((Channels{{ChnlKindQpl, 0x0007}}),
            Chosen({{ChnlKindQpl, 0x0007}, {ChnlKindBdc, 0x0007}}, "CMD:QPL;"));
  EXPECT_EQ((Channels{{ChnlKindBdc, 0x0007}}),
            Chosen({{ChnlKindQpl, 0x0007}, {ChnlKindBdc, 0x0007}}, "CMD:BDC;"));
  // In either order, and nothing but the one bit.
  EXPECT_EQ((Channels{{ChnlKindBdc, 0xFFFF}, {ChnlKindQpl, 0xFFFB}}),
            Chosen({{ChnlKindBdc, 0xFFFF}, {ChnlKindQpl, 0xFFFF}}, "CMD:QPL,BDC;"));
  EXPECT_EQ((Channels{{ChnlKindQpl, 0x0003}, {ChnlKindBdc, 0x0001}}),
            Chosen({{ChnlKindQpl, 0x0003}, {ChnlKindBdc, 0x0001}}, "CMD:QPL,BDC;"));
}

TEST(ChannelChoice, CopiesTheStatusCommand) {
  ModelProfile profile = ProfileOf({{ChnlKindBdc, 7}, {0x55, 1}});
  profile.channelStatusCmd[0] = {0x1B, 0x00, 0xFF};
  const auto records = Choose(profile, "CMD:BDC;");
  EXPECT_EQ((ByteList{0x1B, 0x00, 0xFF}), records->records[0].statusCmd);
  EXPECT_EQ(ByteList{}, records->records[1].statusCmd);
  profile.channelStatusCmd[0].clear();
  EXPECT_EQ(3u, records->records[0].statusCmd.size());
}

TEST(ChannelChoice, TakesTheSettingsOfAVendorClassPrinterFromTheProfile) {
  ModelProfile profile = ProfileOf({{ChnlKindD4, 3}});
  profile.d4RetryMode = 1;
  profile.d4RetryTiming = 2;
  profile.d4RetryMax = 3;
  profile.packetRcvMaxTime = 4;
  profile.statusNoChkTime = 5;
  const auto words = [&](const char* device_id) {
    const auto records = Choose(profile, device_id);
    std::array<std::uint32_t, 5> settings{};
    static_assert(sizeof(settings) == sizeof(records->genVlSettings));
    std::memcpy(settings.data(), &records->genVlSettings, sizeof(settings));
    return settings;
  };
  EXPECT_EQ((std::array<std::uint32_t, 5>{1, 2, 3, 4, 5}), words("CMD:GENVL;"));
  EXPECT_EQ((std::array<std::uint32_t, 5>{}), words("CMD:D4;"));
}

TEST(ChannelRecords, AreFoundByKindTheFirstOfEqualOnes) {
  const auto records =
      Choose(ProfileOf({{0x55, 1}, {ChnlKindBdc, 2}, {ChnlKindBdc, 3}}), "CMD:BDC;");
  ASSERT_NE(nullptr, records->Find(ChnlKindBdc));
  EXPECT_EQ(2u, records->Find(ChnlKindBdc)->mode);
  EXPECT_EQ(1u, records->Find(0x55)->mode);
  EXPECT_EQ(nullptr, records->Find(ChnlKindQpl));
  EXPECT_EQ(nullptr, records->Find(0));
}

TEST(SchemaRow, NamesThePrinterWithItsTerminator) {
  const std::basic_string<WCHAR> name = TEXT("Printer");
  const BidiRequestEntry row = SetPrinterNameRow(name);
  EXPECT_EQ(std::basic_string<WCHAR>(TEXT("\\Printer.VELNO_SCHEMA:SetPrinterName")), row.schema);
  EXPECT_EQ(16u, row.inputSize);
  EXPECT_EQ(0, std::memcmp(name.c_str(), row.input, 16));
  EXPECT_EQ(nullptr, row.output);
  EXPECT_EQ(nullptr, row.length);
}

TEST(SchemaRow, OfAnEmptyNameIsItsTerminator) {
  const std::basic_string<WCHAR> name;
  EXPECT_EQ(2u, SetPrinterNameRow(name).inputSize);
}

TEST(SchemaRow, AsksForTheDeviceId) {
  std::uint8_t output = 0;
  std::uint32_t length = 1;
  const BidiRequestEntry row = GetDeviceIdRow(&output, &length);
  EXPECT_EQ(std::basic_string<WCHAR>(TEXT("\\Printer.VELNO_SCHEMA:GetDeviceID")), row.schema);
  EXPECT_EQ(0u, row.inputSize);
  EXPECT_EQ(&output, row.output);
  EXPECT_EQ(&length, row.length);
}

}  // namespace
}  // namespace vlp
