// What a channel's items look like, whether its status is binary, and where status comes by.

#include "language/channel_language.h"
#include "tests/language/language_fixture.h"

namespace vlp {
namespace {

using language_test::BinaryBdc;
using language_test::Channel;
using language_test::Channels;
using language_test::FormMarker;
using language_test::kUnknownKind;
using language_test::TextOf;
using namespace std::string_literals;

constexpr ChannelKind kWithoutLanguage[] = {
    ChnlKindD4, ChnlKindZrdPages, ChnlKindEnd4, ChnlKindLabel, 0, kUnknownKind};

bool IsCapable(const std::string& status_command) {
  const ConnectRecords channels = Channels({Channel(ChnlKindBdc, 7, status_command)});
  EXPECT_EQ(status_command.size(), channels.records[0].statusCmd.size());
  return IsSt2Capable(channels, ChnlKindBdc);
}

TEST(IsSt2Capable, NotIfTheStatusCommandEndsDirectlyBehindTheMarker) {
  EXPECT_FALSE(IsCapable(FormMarker()));
  EXPECT_FALSE(IsCapable("abc" + FormMarker()));
}

TEST(IsSt2Capable, TellsByTheByteBehindTheMarker) {
  EXPECT_TRUE(IsCapable(FormMarker() + "\x11"));
  EXPECT_TRUE(IsCapable(FormMarker() + "\x11more"));
  EXPECT_TRUE(IsCapable("before" + FormMarker() + "\x11"));
  for (int behind = 0; behind < 256; ++behind) {
    EXPECT_EQ(behind == 0x11, IsCapable(FormMarker() + static_cast<char>(behind))) << behind;
  }
}

TEST(IsSt2Capable, LooksAtTheFirstWholeMarkerOnly) {
  EXPECT_FALSE(IsCapable(FormMarker() + "\x12" + FormMarker() + "\x11"));
  EXPECT_TRUE(IsCapable(FormMarker() + "\x11" + FormMarker() + "\x12"));
  EXPECT_FALSE(IsCapable(FormMarker() + FormMarker() + "\x11"))
      << "the byte behind the first is the second's";
}

TEST(IsSt2Capable, GoesOnBehindCandidatesThatDiffer) {
  std::string differing = FormMarker();
  differing.back() = 1;
  EXPECT_TRUE(IsCapable(differing + "\x11" + FormMarker() + "\x11"));
  EXPECT_TRUE(IsCapable("\x1B@" + FormMarker() + "\x11")) << "the marker begins with it twice";
  EXPECT_TRUE(IsCapable("\x1B\x1B\x1B" + FormMarker() + "\x11"));
  EXPECT_FALSE(IsCapable(differing + "\x11"));
}

TEST(IsSt2Capable, NotIfACandidateHasTooFewBytesLeft) {
  const std::string whole = FormMarker() + "\x11";
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_FALSE(IsCapable(whole.substr(0, length))) << length;
  }
  EXPECT_FALSE(IsCapable("\x1B"));
  EXPECT_FALSE(IsCapable(std::string(21, '\x1B')));
}

TEST(IsSt2Capable, NotWithoutARecordOrAStatusCommand) {
  EXPECT_FALSE(IsSt2Capable(ConnectRecords(), ChnlKindBdc));
  EXPECT_FALSE(IsSt2Capable(Channels({BinaryBdc()}), ChnlKindQpl));
  EXPECT_FALSE(IsCapable(""));
}

TEST(IsSt2Capable, ReadsTheFirstRecordOfTheKindItIsAskedFor) {
  const ConnectRecords channels = Channels({Channel(ChnlKindBdc, 7, "text"), BinaryBdc(),
                                            Channel(ChnlKindQpl, 7, FormMarker() + "\x11")});
  EXPECT_FALSE(IsSt2Capable(channels, ChnlKindBdc));
  EXPECT_TRUE(IsSt2Capable(channels, ChnlKindQpl));
}

TEST(ResolveStatusKind, IsTheCommandChannelForEveryKindOfAVendorClassPrinter) {
  const ConnectRecords channels = Channels({BinaryBdc(), Channel(ChnlKindD4)}, 1);
  for (const ChannelKind kind :
       {ChnlKindQpl, ChnlKindBdc, ChnlKindZrdPage, ChnlKindD4, ChnlKindLabel, 0U, kUnknownKind}) {
    EXPECT_EQ(ChnlKindBdc, ResolveStatusKind(channels, kind)) << std::hex << kind;
    EXPECT_EQ(ChnlKindBdc, ResolveStatusKind(Channels({}, 1), kind)) << std::hex << kind;
  }
}

TEST(ResolveStatusKind, IsThePacketChannelWhereThePrinterHasOne) {
  const ConnectRecords channels = Channels({Channel(ChnlKindBdc), Channel(ChnlKindD4)});
  EXPECT_EQ(ChnlKindD4, ResolveStatusKind(channels, ChnlKindBdc));
  EXPECT_EQ(ChnlKindD4, ResolveStatusKind(Channels({Channel(ChnlKindD4)}), ChnlKindBdc));
}

TEST(ResolveStatusKind, IsOtherwiseTheKindAskedFor) {
  EXPECT_EQ(ChnlKindBdc, ResolveStatusKind(Channels({Channel(ChnlKindBdc)}), ChnlKindBdc));
  EXPECT_EQ(ChnlKindBdc, ResolveStatusKind(ConnectRecords(), ChnlKindBdc));
  const ConnectRecords channels = Channels({Channel(ChnlKindBdc), Channel(ChnlKindD4)});
  for (const ChannelKind kind :
       {ChnlKindQpl, ChnlKindZrdPage, ChnlKindD4, ChnlKindLabel, 0U, kUnknownKind}) {
    EXPECT_EQ(kind, ResolveStatusKind(channels, kind)) << std::hex << kind;
  }
}

void ExpectForm(const ItemForm& form, const std::string& head, int terminator, bool counted) {
  EXPECT_EQ(head, TextOf(form.head));
  EXPECT_EQ(counted, form.counted);
  if (!counted && !head.empty()) {
    EXPECT_EQ(terminator, form.terminator);
  }
}

TEST(StatusForm, OfEachKind) {
  const ConnectRecords text = Channels({Channel(ChnlKindBdc, 7, "ask")});
  ExpectForm(StatusForm(text, ChnlKindQpl), "@QPL STATUS CODE=", 0x0A, false);
  ExpectForm(StatusForm(text, ChnlKindZrdPage), "@QPL STATUS CODE=", 0x0A, false);
  ExpectForm(StatusForm(text, ChnlKindBdc), "@BDC ST\r\nST:", 0x0C, false);
  ExpectForm(StatusForm(Channels({BinaryBdc()}), ChnlKindBdc), "@BDC ST2\r\n", 0, true);
  ExpectForm(StatusForm(ConnectRecords(), ChnlKindBdc), "@BDC ST\r\nST:", 0x0C, false);
  for (const ChannelKind kind : kWithoutLanguage) {
    ExpectForm(StatusForm(text, kind), "", 0, false);
  }
}

TEST(StatusForm, OfTheJobLanguageIsTextWhateverItsStatusCommandAsksFor) {
  const ConnectRecords channels = Channels({Channel(ChnlKindQpl, 7, FormMarker() + "\x11")});
  ExpectForm(StatusForm(channels, ChnlKindQpl), "@QPL STATUS CODE=", 0x0A, false);
}

TEST(ProbeForm, OfEachKind) {
  ExpectForm(ProbeForm(ChnlKindQpl), "@QPL ID\r\n", 0x0C, false);
  ExpectForm(ProbeForm(ChnlKindBdc), "@BDC PS\r\nST:", 0x0C, false);
  ExpectForm(ProbeForm(ChnlKindZrdPage), "ZRD/PAGE mlS ", 0x0A, false);
  for (const ChannelKind kind : kWithoutLanguage) {
    ExpectForm(ProbeForm(kind), "", 0, false);
  }
}

}  // namespace
}  // namespace vlp
