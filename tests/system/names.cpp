// Which names are the same printer, and how long a name may be.

#include "tests/system/fixture.h"

namespace system_test {
namespace {

using ::testing::Contains;
using ::testing::IsEmpty;
using ::testing::StartsWith;

constexpr const char* kNew = "new CPrinterInf : ";

class Names : public SystemTest {
 protected:
  // How often a log has seen an object of this name made.
  std::ptrdiff_t Made(const std::string& log, const std::string& name) {
    const auto lines = LogLines(log);
    return std::count(lines.begin(), lines.end(), kNew + name + " = 0");
  }
};

TEST_F(Names, MakeOnePrinterEachAndKeepIt) {
  AddLaser();
  LogTo(kLogLife);
  Load();
  ASSERT_EQ(provider().DeviceId(1, kLaser), 0);
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
  EXPECT_EQ(provider().Status(1, kLaser, ChnlKindQpl), VLPER_NOCHANNEL);
  EXPECT_EQ(provider().Terminate(), 0);
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
  EXPECT_EQ(Made(kLaser, kLaser), 1);
  DropProvider();
  EXPECT_THAT(LogLines(kLaser), Contains("delete CPrinterInf : Laser = 0").Times(1));
}

TEST_F(Names, OfDifferentCaseAreDifferentPrinters) {
  AddLaser();
  LogTo(kLogLife);
  Load();
  // The spooler takes either name for the same printer; the library doesn't.
  EXPECT_EQ(provider().Connect("Laser").code, 1);
  EXPECT_EQ(provider().Connect("LASER").code, 1);
  EXPECT_EQ(provider().Connect("LASER").name, "LASER");
  EXPECT_EQ(far_side::counts("Laser").sends, 1U);
  EXPECT_EQ(far_side::counts("LASER").sends, 1U);
  EXPECT_EQ(provider().Connect("Laser").code, 1);
  EXPECT_EQ(far_side::counts("Laser").sends, 1U);
  // One file, as files don't tell case apart either.
  EXPECT_EQ(Made(kLaser, "Laser"), 1);
  EXPECT_EQ(Made(kLaser, "LASER"), 1);
}

TEST_F(Names, AreNotTrimmed) {
  AddLaser();
  LogTo(kLogLife);
  Load();
  ASSERT_EQ(provider().DeviceId(1, kLaser), 0);
  EXPECT_EQ(provider().DeviceId(2, "Laserjet"), VLPER_NOTSUPPORT);
  EXPECT_EQ(provider().DeviceId(2, "Lase"), VLPER_NOTSUPPORT);
  provider().DeviceId(2, " Laser");
  EXPECT_EQ(Made("Laserjet", "Laserjet"), 1);
  EXPECT_EQ(Made("Lase", "Lase"), 1);
  EXPECT_EQ(Made(" Laser", " Laser"), 1);
}

TEST_F(Names, WithThePrefixAreOtherPrintersToAllButConnectionInfo) {
  AddLaser();
  LogTo(kLogLife | kLogOperations);
  Load();
  const std::string prefixed = "UFName:Laser";
  EXPECT_EQ(provider().DeviceId(1, prefixed), VLPER_NOTSUPPORT);
  EXPECT_EQ(provider().Status(1, prefixed, ChnlKindBdc), VLPER_NOTSUPPORT);
  EXPECT_EQ(provider().Command(1, prefixed, ChnlKindBdc, {1}), VLPER_NOTSUPPORT);
  EXPECT_EQ(provider().Through(1, prefixed, ChnlKindBdc, {1}), VLPER_NOTSUPPORT);
  EXPECT_EQ(Made("UFName Laser", prefixed), 1);
  EXPECT_THAT(LogLines("UFName Laser"),
              Contains(StartsWith("### CPrinterInf::CheckSupportPort Return (Failed to "
                                  "GetPortName)"))
                  .Times(4));
  EXPECT_THAT(LogLines(kLaser), IsEmpty());
}

TEST_F(Names, MayFillTheirBufferToTheLastByte) {
  // Nobody's printer bears such a name; what tells is whose object the call goes to. A
  // name of 259 bytes leaves its log no room, one that counts as empty has a log.
  LogTo(kLogLife);
  Load();
  EXPECT_EQ(provider().DeviceId(1, std::string(259, 'n')), VLPER_NOTSUPPORT);
  EXPECT_EQ(Made("", ""), 0);
  EXPECT_EQ(provider().DeviceId(1, std::string(260, 'n')), VLPER_NOTSUPPORT);
  EXPECT_EQ(Made("", ""), 1);
}

TEST_F(Names, BeyondTheirBufferAllCountAsTheEmptyOne) {
  LogTo(kLogLife);
  Load();
  for (const std::size_t size : {260U, 261U, 1000U}) {
    EXPECT_EQ(provider().DeviceId(1, std::string(size, 'n')), VLPER_NOTSUPPORT);
  }
  EXPECT_EQ(provider().DeviceId(1, ""), VLPER_NOTSUPPORT);
  EXPECT_EQ(provider().DeviceId(1, std::string(400, 'm')), VLPER_NOTSUPPORT);
  EXPECT_EQ(Made("", ""), 1);
}

TEST_F(Names, BehindThePrefixHaveSevenBytesLess) {
  // 252 bytes, with the prefix and the terminator: 260. Not every spooler holds so long a
  // name; what tells is whether an object is made.
  const std::string longest(252, 'n');
  const std::string longer = longest + "n";
  Load();
  EXPECT_EQ(provider().Connect(longer).code, VLPER_NOTSUPPORT);
  EXPECT_EQ(far_side::live_objects().spls, 0U);
  EXPECT_EQ(provider().Connect(longest).code, VLPER_NOTSUPPORT);
  EXPECT_EQ(far_side::live_objects().spls, 1U);
  EXPECT_EQ(provider().DeviceId(1, longest), VLPER_NOTSUPPORT);
  EXPECT_EQ(far_side::live_objects().spls, 1U) << "it was this name's object";
  EXPECT_EQ(provider().DeviceId(1, longer), VLPER_NOTSUPPORT);
  EXPECT_EQ(far_side::live_objects().spls, 2U) << "without the prefix there is room";
}

TEST_F(Names, OfManyCharactersAreServed) {
  const std::string name = "Printer " + std::string(180, 'n');
  AddPrinter(name, "USB001", kLaserId, {{ChnlKindBdc}});
  Load();
  const Connection answer = provider().Connect(name);
  EXPECT_EQ(answer.code, 1);
  EXPECT_EQ(answer.name, name);
  ASSERT_EQ(provider().DeviceId(1, name), 0);
  EXPECT_EQ(provider().Take().data, bytes_of(kLaserId));
}

TEST_F(Names, MayBearCharactersThatNoFileMay) {
  const std::string name = "\\\\srv\\hp:1";
  LogTo(kLogOperations);
  Load();
  EXPECT_EQ(provider().DeviceId(1, name), VLPER_NOTSUPPORT);
  EXPECT_THAT(LogLines("  srv hp 1"),
              Contains(StartsWith("### CPrinterInf::CheckSupportPort Return")));
  EXPECT_EQ(provider().DeviceId(1, "a/b*c?d\"e<f>g|h,i;j"), VLPER_NOTSUPPORT);
  EXPECT_THAT(LogLines("a b c d e f g h i j"),
              Contains(StartsWith("### CPrinterInf::CheckSupportPort Return")));
}

TEST_F(Names, WithAccentsReachTheSpoolerAsWideText) {
  if (far_side::code_page() != 1252) GTEST_SKIP() << "these bytes are letters of code page 1252";
  const std::string name =
      "Dr\xFC"
      "cker \xE9t\xE9";
  AddPrinter(name, "USB001", kLaserId, {{ChnlKindBdc}});
  Load();
  const Connection answer = provider().Connect(name);
  EXPECT_EQ(answer.code, 1);
  EXPECT_EQ(answer.name, name);
  const auto batches = far_side::batches();
  ASSERT_EQ(batches.size(), 1U);
  EXPECT_EQ(batches[0].printer, u"Dr\u00FCcker \u00E9t\u00E9");
}

TEST_F(Names, BeginningLikeAnAliasAreLeftAloneWhereTheyAreNone) {
  for (const char* name : {"\\\\csr|srv\\x", "\\\\CSR", "CSR|srv\\x"}) {
    LogTo(kLogOperations);
    Load();
    EXPECT_EQ(provider().DeviceId(1, name), VLPER_NOTSUPPORT) << name;
    DropProvider();
  }
}

}  // namespace
}  // namespace system_test
