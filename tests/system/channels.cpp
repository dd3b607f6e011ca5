// Which channels survive: the profile's list laid over the device ID, case by case.

#include <ostream>

#include "tests/system/fixture.h"

namespace system_test {
namespace {

using Kinds = std::vector<ChannelKind>;

constexpr ChannelKind kUnknownKind = 0x90000001;

struct Choice {
  const char* name;  // of the test
  Kinds profile;     // each with mode 3
  const char* device_id;
  Kinds kept;
  const char* port = "USB001";
};

void PrintTo(const Choice& choice, std::ostream* out) { *out << choice.device_id; }

class Choices : public SystemTest, public ::testing::WithParamInterface<Choice> {};

TEST_P(Choices, KeepTheRightChannels) {
  const Choice& choice = GetParam();
  std::vector<Channel> channels;
  for (const ChannelKind kind : choice.profile) channels.push_back({kind, 3});
  AddPrinter(kLaser, choice.port, choice.device_id, channels);
  std::vector<Entry> kept;
  for (const ChannelKind kind : choice.kept) kept.push_back({kind, 3});
  const std::int32_t code = kept.empty() ? VLPER_NOENTRY : static_cast<std::int32_t>(kept.size());
  Load();
  for (const char* source : {"printer", "cache"}) {
    const Connection answer = provider().Connect(kLaser);
    EXPECT_EQ(answer.code, code) << "from the " << source;
    EXPECT_EQ(answer.entries, kept) << "from the " << source;
    EXPECT_EQ(answer.name, kLaser) << "from the " << source;
  }
  EXPECT_EQ(far_side::counts(kLaser).device_id_queries, 1U);
}

const Choice kChoices[] = {
    // D4
    {"D4NeedsD4", {ChnlKindD4}, "CMD:D4;", {ChnlKindD4}},
    {"D4GoesWithoutD4", {ChnlKindD4}, "CMD:BDC;", {}},
    {"D4OfAVersionCounts", {ChnlKindD4}, "CMD:BDC,D4-1;", {ChnlKindD4}},
    {"D4WithMoreBehindDoesNotCount", {ChnlKindD4}, "CMD:D45;", {}},
    {"D4BehindOneOtherLetterCounts", {ChnlKindD4}, "CMD:XD4;", {ChnlKindD4}},
    {"D4BehindTwoOtherLettersDoesNot", {ChnlKindD4}, "CMD:XXD4;", {}},
    {"D4GoesWhereEnd4IsListed", {ChnlKindD4, ChnlKindEnd4}, "CMD:QPL,BDC,D4,END4;", {ChnlKindEnd4}},
    {"D4StaysOnFireWire", {ChnlKindD4}, "CMD:END4;", {ChnlKindD4}, "VL1394D3_1"},
    {"D4StaysOnFireWireInAnyCase", {ChnlKindD4}, "CMD:END4;", {ChnlKindD4}, "vl1394d3_x"},
    {"D4StaysOnFireWireWithoutACommandList", {ChnlKindD4}, "MFG:V;", {ChnlKindD4}, "VL1394D3_1"},
    {"D4GoesOnTheOtherFireWire", {ChnlKindD4}, "CMD:END4;", {}, "VL1394_1"},
    {"D4StaysOnTheVendorClass", {ChnlKindD4}, "CMD:GENVL,BDC;", {ChnlKindD4}},
    {"D4StaysOnTheVendorClassBesideEnd4",
     {ChnlKindD4, ChnlKindEnd4},
     "CMD:GENVL,END4;",
     {ChnlKindD4}},
    {"AVersionedVendorClassCounts", {ChnlKindD4}, "CMD:BDC,GENVL-2;", {ChnlKindD4}},
    {"AnotherWordIsNoVendorClass", {ChnlKindD4}, "CMD:BDC,GENVLX;", {}},
    // The others
    {"End4NeedsEnd4", {ChnlKindEnd4}, "CMD:BDC,END4;", {ChnlKindEnd4}},
    {"End4GoesWithoutEnd4", {ChnlKindEnd4}, "CMD:BDC,D4;", {}},
    {"PagesNeedVersionOne", {ChnlKindZrdPages}, "CMD:ZRDPAGES-01;", {ChnlKindZrdPages}},
    {"PagesOrVersionTwo", {ChnlKindZrdPages}, "CMD:BDC,ZRDPAGES-02;", {ChnlKindZrdPages}},
    {"PagesWithoutAVersionGo", {ChnlKindZrdPages}, "CMD:ZRDPAGES;", {}},
    {"PagesOfVersionThreeGo", {ChnlKindZrdPages}, "CMD:ZRDPAGES-03;", {}},
    {"QplNeedsQpl", {ChnlKindQpl}, "CMD:QPL;", {ChnlKindQpl}},
    {"QplGoesWithoutQpl", {ChnlKindQpl}, "CMD:QPLX;", {}},
    {"BdcNeedsBdc", {ChnlKindBdc}, "CMD:BDC;", {ChnlKindBdc}},
    {"BdcGoesWithoutBdc", {ChnlKindBdc}, "CMD:QPL;", {}},
    {"BdcAtTheSecondByteCounts", {ChnlKindBdc}, "CMD:DBDC;", {ChnlKindBdc}},
    {"BdcAtTheThirdByteDoesNot", {ChnlKindBdc}, "CMD:XXBDC;", {}},
    {"ALaterBdcCounts", {ChnlKindBdc}, "CMD:XXBDC,BDC;", {ChnlKindBdc}},
    {"LabelNeedsZrdlabel", {ChnlKindLabel}, "CMD:ZRDLABEL;", {ChnlKindLabel}},
    {"LabelGoesWithoutZrdlabel", {ChnlKindLabel}, "CMD:LABEL;", {}},
    {"APageChannelAlwaysStays", {ChnlKindZrdPage}, "CMD:QPL;", {ChnlKindZrdPage}},
    {"AnUnknownKindAlwaysStays", {kUnknownKind, 1}, "CMD:QPL;", {kUnknownKind, 1}},
    // The list itself
    {"NoListKeepsWhatNeedsNone",
     {ChnlKindBdc, ChnlKindZrdPage, ChnlKindD4, kUnknownKind},
     "MFG:V;MDL:BDC;",
     {ChnlKindZrdPage, kUnknownKind}},
    {"AnEmptyListKeepsWhatNeedsNone",
     {ChnlKindBdc, ChnlKindZrdPage},
     "CMD:;MDL:BDC;",
     {ChnlKindZrdPage}},
    {"TheListsNameCountsLetterByLetter", {ChnlKindBdc}, "cmd:BDC;", {}},
    {"TheWordsCountLetterByLetter", {ChnlKindBdc}, "CMD:bdc;", {}},
    {"TheListMayEndWithTheData", {ChnlKindBdc}, "MFG:V;CMD:QPL,BDC", {ChnlKindBdc}},
    {"TheListEndsAtItsSemicolon", {ChnlKindBdc}, "CMD:QPL;X,BDC;", {}},
    {"TheFirstListCounts", {ChnlKindBdc, ChnlKindQpl}, "CMD:QPL;CMD:BDC;", {ChnlKindQpl}},
    {"TheListIsFoundInsideAWord", {ChnlKindBdc}, "XCMD:BDC;", {ChnlKindBdc}},
    {"BlanksDoNotPartWords", {ChnlKindBdc}, "CMD:QPL, BDC;", {}},
    {"TheProfilesOrderIsKept",
     {ChnlKindZrdPage, ChnlKindD4, ChnlKindBdc, ChnlKindLabel},
     "CMD:ZRDLABEL,BDC,D4;",
     {ChnlKindZrdPage, ChnlKindD4, ChnlKindBdc, ChnlKindLabel}},
    {"TheSameKindTwiceStaysTwice",
     {ChnlKindBdc, ChnlKindBdc},
     "CMD:BDC;",
     {ChnlKindBdc, ChnlKindBdc}},
    {"AProfileMayListTen",
     {1, 2, 3, 4, 5, 6, 7, 8, 9, 10},
     "CMD:X;",
     {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}},
    {"AProfileMayListNone", {}, "CMD:BDC,D4;", {}},
};

INSTANTIATE_TEST_SUITE_P(Of, Choices, ::testing::ValuesIn(kChoices),
                         [](const auto& each) { return std::string(each.param.name); });

class Modes : public SystemTest {
 protected:
  std::vector<Entry> EntriesOf(const std::vector<Channel>& channels, const char* device_id,
                               std::uint32_t attributes = 0x40) {
    AddPrinter(kLaser, "USB001", device_id, channels);
    far_side::set_attributes(kLaser, attributes);
    Load();
    const Connection answer = provider().Connect(kLaser);
    EXPECT_EQ(answer.code, static_cast<std::int32_t>(answer.entries.size()));
    // The cache gives the same.
    EXPECT_EQ(provider().Connect(kLaser).entries, answer.entries);
    DropProvider();
    return answer.entries;
  }
};

TEST_F(Modes, QplLeavesStatusToBdcWhereBothAre) {
  EXPECT_EQ(
      EntriesOf({{ChnlKindQpl, 7}, {ChnlKindBdc, 7}, {ChnlKindD4, 7}}, "MFG:X;CMD:QPL,BDC,D4;"),
      (std::vector<Entry>{{ChnlKindQpl, 3}, {ChnlKindBdc, 7}, {ChnlKindD4, 7}}));
  EXPECT_EQ(EntriesOf({{ChnlKindBdc, 0xFFFF}, {ChnlKindQpl, 0xFFFF}}, "CMD:QPL,BDC;"),
            (std::vector<Entry>{{ChnlKindBdc, 0xFFFF}, {ChnlKindQpl, 0xFFFB}}));
}

TEST_F(Modes, QplKeepsStatusWhereBdcIsNot) {
  EXPECT_EQ(EntriesOf({{ChnlKindQpl, 7}, {ChnlKindBdc, 7}}, "CMD:QPL;"),
            (std::vector<Entry>{{ChnlKindQpl, 7}}));
  EXPECT_EQ(EntriesOf({{ChnlKindBdc, 7}, {ChnlKindQpl, 7}}, "CMD:BDC;"),
            (std::vector<Entry>{{ChnlKindBdc, 7}}));
}

TEST_F(Modes, SixteenBitsOfAModeCount) {
  EXPECT_EQ(EntriesOf({{ChnlKindZrdPage, 0xFFFF1234}, {ChnlKindBdc, 0}}, "CMD:BDC;"),
            (std::vector<Entry>{{ChnlKindZrdPage, 0x1234}, {ChnlKindBdc, 0}}));
}

TEST_F(Modes, ASharedVendorClassPrinterMarksItsD4Channel) {
  EXPECT_EQ(EntriesOf({{ChnlKindD4, 7}, {ChnlKindBdc, 7}}, "CMD:GENVL,BDC;", 0x50),
            (std::vector<Entry>{{ChnlKindD4, 0xE007}, {ChnlKindBdc, 7}}));
}

TEST_F(Modes, TheMarkNeedsSharingAndVendorClassAndD4) {
  EXPECT_EQ(EntriesOf({{ChnlKindD4, 7}}, "CMD:GENVL,D4;", 0x40),
            (std::vector<Entry>{{ChnlKindD4, 7}}));
  EXPECT_EQ(EntriesOf({{ChnlKindD4, 7}}, "CMD:D4;", 0x50), (std::vector<Entry>{{ChnlKindD4, 7}}));
  EXPECT_EQ(EntriesOf({{ChnlKindBdc, 7}, {ChnlKindZrdPage, 7}}, "CMD:GENVL,BDC;", 0x50),
            (std::vector<Entry>{{ChnlKindBdc, 7}, {ChnlKindZrdPage, 7}}));
}

TEST_F(Modes, TheProfilesListEndsAtItsFirstZero) {
  far_side::add_model("Driver",
                      "LPT_Channel00=0x10010003\nLPT_ChnlMode00=7\n"
                      "LPT_Channel01=0\nLPT_Channel02=0x10010004\nLPT_ChnlMode02=7\n");
  far_side::add_printer({.name = kLaser, .port = "USB001", .driver = "Driver"});
  far_side::set_device_id("USB001", bytes_of("CMD:BDC;"));
  Load();
  EXPECT_EQ(provider().Connect(kLaser).entries, (std::vector<Entry>{{ChnlKindBdc, 7}}));
}

TEST_F(Modes, ADriverWithoutProfileHasNoChannel) {
  far_side::add_driver({.name = "Bare"});
  far_side::add_printer({.name = "Bare printer", .port = "USB001", .driver = "Bare"});
  far_side::add_printer({.name = "Driverless", .port = "USB001", .driver = "Nobody's"});
  far_side::set_device_id("USB001", bytes_of("CMD:BDC;"));
  Load();
  for (const char* name : {"Bare printer", "Driverless"}) {
    const Connection answer = provider().Connect(name);
    EXPECT_EQ(answer.code, VLPER_NOENTRY) << name;
    EXPECT_EQ(answer.name, name);
    EXPECT_TRUE(answer.entries.empty());
    ASSERT_EQ(provider().DeviceId(1, name), 0) << "the device ID is held all the same";
    EXPECT_EQ(provider().Take().data, bytes_of("CMD:BDC;"));
    EXPECT_EQ(far_side::counts(name).device_id_queries, 1U);
  }
}

TEST_F(Modes, AProfileFullOfNonsenseHasNoChannel) {
  std::string nonsense = "[ProfileInf\r\n=\r\nLPT_Channel00\r\n;\x01\x02\xFF\r\n[[]]\r\n";
  nonsense += std::string(5000, '\xFE') + "\r\nLPT_Channel00=frog\r\n";
  far_side::add_model("Driver", "");
  far_side::write_file(far_side::driver_directory() + "Driver.LMD", nonsense);
  far_side::add_printer({.name = kLaser, .port = "USB001", .driver = "Driver"});
  far_side::set_device_id("USB001", bytes_of("CMD:BDC;"));
  Load();
  EXPECT_EQ(provider().Connect(kLaser).code, VLPER_NOENTRY);
}

}  // namespace
}  // namespace system_test
