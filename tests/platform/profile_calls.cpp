// Profile files as ordinary SDK code meets them.

#include "tests/platform/own_machine.h"

namespace {

using own_machine::untouched;
using own_machine::write_file;
using namespace std::string_literals;

constexpr const char* folder = "C:\\vlp_profile_calls";
constexpr const char* file = "C:\\vlp_profile_calls\\model.lmd";

class ProfileCalls : public own_machine::MachineTest {
 protected:
  ProfileCalls() { CreateDirectoryA(folder, nullptr); }
};

INT number(const char* key, INT otherwise = 777, const char* section = "ProfileInf") {
  return static_cast<INT>(GetPrivateProfileIntA(section, key, otherwise, file));
}

// The text and, behind a bar, the count.
std::string text(const char* key, const char* otherwise = "", DWORD capacity = 64,
                 const char* section = "ProfileInf") {
  std::string buffer(100, '#');
  const DWORD count =
      GetPrivateProfileStringA(section, key, otherwise, buffer.data(), capacity, file);
  EXPECT_EQ('\0', buffer[count]);
  EXPECT_EQ('#', buffer[count + 1]);
  return buffer.substr(0, count);
}

TEST_F(ProfileCalls, IntegersAreReadUpToTheFirstForeignCharacter) {
  write_file(file,
             "[ProfileInf]\r\nplain=12\r\n  lead  =  34  \r\n\ttab\t=\t56\t\r\nneg=-5\r\n"
             "plus=+7\r\nspaced=- 5\r\nhex=0x10\r\nhexu=0X1F\r\noct=0o17\r\nbin=0b101\r\n"
             "zero=010\r\njunk=12abc\r\nword=abc\r\nsemi=12;x\r\npair=1 2\r\n"
             "lid=0xfA\r\n");
  const std::vector<std::pair<const char*, INT>> rows = {
      {"plain", 12}, {"lead", 34}, {"tab", 56}, {"neg", -5}, {"plus", 7},  {"spaced", 0},
      {"hex", 16},   {"hexu", 0},  {"oct", 15}, {"bin", 5},  {"zero", 10}, {"junk", 12},
      {"word", 0},   {"semi", 12}, {"pair", 1}, {"lid", 250}};
  for (const auto& [key, wanted] : rows) {
    EXPECT_EQ(wanted, number(key)) << key;
  }
}

TEST_F(ProfileCalls, IntegersWrapAt32Bits) {
  write_file(file,
             "[ProfileInf]\r\nbig=4294967295\r\nwrap=4294967296\r\nmore=99999999999\r\n"
             "low=-2147483648\r\nneg=-4294967295\r\nhex=0x10000005\r\nlong=0xFFFFFFFFF\r\n");
  EXPECT_EQ(-1, number("big"));
  EXPECT_EQ(0, number("wrap"));
  EXPECT_EQ(0x4876E7FF, number("more"));
  EXPECT_EQ(-2147483647 - 1, number("low"));
  EXPECT_EQ(1, number("neg"));
  EXPECT_EQ(0x10000005, number("hex"));
  EXPECT_EQ(-1, number("long"));
}

TEST_F(ProfileCalls, WhereNoIntegerStandsTheDefaultIsGivenEvenANegativeOne) {
  write_file(file, "[ProfileInf]\r\nempty=\r\nblank=   \r\nnoeq\r\n");
  EXPECT_EQ(777, number("empty"));
  EXPECT_EQ(777, number("blank"));
  EXPECT_EQ(777, number("noeq"));
  EXPECT_EQ(-3, number("absent", -3));
  EXPECT_EQ(5, number("plain", 5, "NoSuchSection"));
  EXPECT_EQ(6, static_cast<INT>(GetPrivateProfileIntA("ProfileInf", "x", 6,
                                                      "C:\\vlp_profile_calls\\absent.lmd")));
  EXPECT_EQ(7, static_cast<INT>(
                   GetPrivateProfileIntA("ProfileInf", "x", 7, "C:\\vlp_no_such_folder\\x.lmd")));
}

TEST_F(ProfileCalls, QuotesAreTakenOffBeforeTheNumberIsRead) {
  write_file(file, "[ProfileInf]\r\ndouble=\"42\"\r\nsingle='43'\r\n");
  EXPECT_EQ(42, number("double"));
  EXPECT_EQ(43, number("single"));
}

TEST_F(ProfileCalls, NamesCompareWithoutCaseAndWithoutTheBlanksRoundThem) {
  write_file(file, "[ Spaced ]\r\nDLT Enable=1\r\n[Trail] junk\r\nk=2\r\n");
  EXPECT_EQ(1, number("dlt enable", 9, "SPACED"));
  EXPECT_EQ(1, number(" DLT Enable ", 9, " spaced "));
  EXPECT_EQ(9, number("DLTEnable", 9, "Spaced"));
  EXPECT_EQ(2, number("k", 9, "Trail"));
}

TEST_F(ProfileCalls, FirstSectionAndFirstKeyOfANameWin) {
  write_file(file,
             "[ProfileInf]\r\ndup=1\r\nDUP=2\r\n[Other]\r\nx=3\r\n[ProfileInf]\r\nlate=4\r\n");
  EXPECT_EQ(1, number("dup"));
  EXPECT_EQ(777, number("late"));
}

TEST_F(ProfileCalls, LineWithoutItsClosingBracketIsNoSection) {
  write_file(file, "[Good]\r\na=1\r\n[Unclosed\r\nb=2\r\n");
  EXPECT_EQ(2, number("b", 9, "Good"));
  EXPECT_EQ(9, number("b", 9, "Unclosed"));
}

TEST_F(ProfileCalls, EveryLineEndIsUnderstood) {
  write_file(file, "[ProfileInf]\nlf=1\n\n\ncr=2\rcr2=3\rcrlf=4\r\nlast=5");
  EXPECT_EQ(1, number("lf"));
  EXPECT_EQ(2, number("cr"));
  EXPECT_EQ(3, number("cr2"));
  EXPECT_EQ(4, number("crlf"));
  EXPECT_EQ(5, number("last"));
}

TEST_F(ProfileCalls, TextLosesBlanksRoundItAndOnePairOfQuotes) {
  write_file(file,
             "[ProfileInf]\r\na=  x y  \r\nb=\"  sp  \"\r\nc=\"abc\r\nd=abc\"\r\ne=\"a\"b\"\r\n"
             "f=\"\"\r\ng=\"\r\nh='ab\"\r\ni=a=b=c\r\nj=12 ; comment\r\n");
  EXPECT_EQ("x y", text("a"));
  EXPECT_EQ("  sp  ", text("b"));
  EXPECT_EQ("\"abc", text("c"));
  EXPECT_EQ("abc\"", text("d"));
  EXPECT_EQ("a\"b", text("e"));
  EXPECT_EQ("", text("f"));
  EXPECT_EQ("\"", text("g"));
  EXPECT_EQ("'ab\"", text("h"));
  EXPECT_EQ("a=b=c", text("i"));
  EXPECT_EQ("12 ; comment", text("j"));
}

TEST_F(ProfileCalls, EmptyKeyGivesAnEmptyTextAndAnAbsentOneTheDefault) {
  write_file(file, "[ProfileInf]\r\nempty=\r\nnoeq\r\n");
  EXPECT_EQ("", text("empty", "default"));
  EXPECT_EQ("default", text("noeq", "default"));
  EXPECT_EQ("default", text("absent", "default"));
  EXPECT_EQ("def", text("absent", "def  ")) << "the default's trailing blanks are cut";
}

TEST_F(ProfileCalls, LongTextIsCutToTheCapacityLessOne) {
  write_file(file, "[ProfileInf]\r\nv=abcde\r\n");
  EXPECT_EQ("abcde", text("v", "", 6));
  EXPECT_EQ("abcd", text("v", "", 5));
  EXPECT_EQ("", text("v", "", 1));
}

TEST_F(ProfileCalls, CapacityOfNothingTouchesNothing) {
  write_file(file, "[ProfileInf]\r\nv=abcde\r\n");
  char buffer[4] = "###";
  SetLastError(untouched);
  EXPECT_EQ(0U, GetPrivateProfileStringA("ProfileInf", "v", "", buffer, 0, file));
  EXPECT_STREQ("###", buffer);
  EXPECT_EQ(untouched, GetLastError());
}

TEST_F(ProfileCalls, TextThatFillsTheBufferCountsOneLessThanItsCapacity) {
  for (const size_t length : {size_t{2046}, size_t{2047}, size_t{2048}, size_t{4000}}) {
    write_file(file, "[ProfileInf]\r\nv=" + std::string(length, '1') + "\r\n");
    std::string buffer(2048, '#');
    EXPECT_EQ(std::min<size_t>(length, 2047),
              GetPrivateProfileStringA("ProfileInf", "v", "", buffer.data(), 2048, file));
  }
}

TEST_F(ProfileCalls, BytesAreAnsiTextAndMarkedUtf16IsUnderstood) {
  write_file(file, "[ProfileInf]\r\nv=\xE9\x82\xA0\r\n");
  EXPECT_EQ("\xE9\x82\xA0", text("v"));
  write_file(file,
             "\xFF\xFE[\0P\0]\0\r\0\n\0v\0=\0"
             "6\0\r\0\n\0"s);
  EXPECT_EQ(6, number("v", 1, "P"));
}

TEST_F(ProfileCalls, NulEndsOneValueOnly) {
  write_file(file, "[ProfileInf]\r\nv=5\0x\r\nw=6\r\n\x1A\r\nz=9\r\n"s);
  EXPECT_EQ("5", text("v"));
  EXPECT_EQ(6, number("w"));
  EXPECT_EQ(9, number("z"));
}

TEST_F(ProfileCalls, BareNameMeansTheWindowsFolder) {
  write_file("C:\\windows\\vlp_bare.ini", "[ProfileInf]\r\nv=1111\r\n");
  EXPECT_EQ(1111U, GetPrivateProfileIntA("ProfileInf", "v", 7, "vlp_bare.ini"));
  EXPECT_TRUE(DeleteFileA("C:\\windows\\vlp_bare.ini"));
  EXPECT_EQ(7U, GetPrivateProfileIntA("ProfileInf", "v", 7, "vlp_bare.ini"));
}

TEST_F(ProfileCalls, ChangedFileIsReadAnew) {
  write_file(file, "[ProfileInf]\r\nv=1\r\n");
  EXPECT_EQ(1, number("v"));
  write_file(file, "[ProfileInf]\r\nv=2\r\n");
  EXPECT_EQ(2, number("v"));
  EXPECT_TRUE(DeleteFileA(file));
  EXPECT_EQ(777, number("v"));
}

TEST_F(ProfileCalls, MissingFileOrFolderShowsInTheLastError) {
  SetLastError(untouched);
  GetPrivateProfileIntA("ProfileInf", "v", 7, "C:\\vlp_no_such.lmd");
  EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, GetLastError());
  GetPrivateProfileIntA("ProfileInf", "v", 7, "C:\\vlp_no_such_folder\\x.lmd");
  EXPECT_EQ(DWORD{ERROR_PATH_NOT_FOUND}, GetLastError());
}

}  // namespace
