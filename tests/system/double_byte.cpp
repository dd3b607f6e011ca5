// Names in code page 932, where a letter may have two bytes and the second may look like
// a backslash or a small letter.

#include "tests/system/fixture.h"

namespace system_test {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;

class DoubleByteNames : public SystemTest {
 protected:
  void SetUp() override {
    SystemTest::SetUp();
    ASSERT_TRUE(far_side::set_code_page(932)) << "run this program in Japanese";
    ASSERT_EQ(far_side::code_page(), 932U);
  }
};

struct Name {
  std::string bytes;
  std::u16string wide;
};

// Printer; the letter whose second byte is a backslash, and one whose second is "|".
const Name kPrinter = {"\x83\x76\x83\x8A\x83\x93\x83\x5E", u"\u30D7\u30EA\u30F3\u30BF"};
const Name kBackslash = {
    "\x83\x5C"
    "1",
    u"\u30BD"
    u"1"};
const Name kBar = {
    "\x83\x7C"
    "2",
    u"\u30DD"
    u"2"};

TEST_F(DoubleByteNames, ReachTheSpoolerAsWideText) {
  Load();
  int port = 1;
  for (const Name& name : {kPrinter, kBackslash, kBar}) {
    AddPrinter(name.bytes, "USB00" + std::to_string(port++), kLaserId, {{ChnlKindBdc}});
    const Connection answer = provider().Connect(name.bytes);
    EXPECT_EQ(answer.code, 1);
    EXPECT_EQ(answer.name, name.bytes);
    EXPECT_EQ(far_side::batches().back().printer, name.wide);
    ASSERT_EQ(provider().DeviceId(7, name.bytes), 0);
    EXPECT_EQ(provider().Take().data, bytes_of(kLaserId));
  }
}

TEST_F(DoubleByteNames, NameTheirLogFilesWhole) {
  LogTo(kLogOperations);
  Load();
  AddPrinter(kPrinter.bytes, "USB001", kLaserId, {{ChnlKindBdc}});
  ASSERT_EQ(provider().DeviceId(1, kPrinter.bytes), 0);
  EXPECT_THAT(LogLines(kPrinter.bytes), Contains(HasSubstr("(" + kPrinter.bytes + ")")));
  AddPrinter(kBackslash.bytes, "USB002", kLaserId, {{ChnlKindBdc}});
  ASSERT_EQ(provider().DeviceId(2, kBackslash.bytes), 0);
  EXPECT_THAT(LogLines(kBackslash.bytes), Contains("CPrinterInf::GetDeviceID Enter"))
      << "the second byte of a letter is no backslash and stays";
}

TEST_F(DoubleByteNames, KeepTheirRotation) {
  log_folder_ = far_side::fresh_log_directory();
  far_side::set_log({.flag = kLogOperations, .path = log_folder_, .max_size = 2000});
  Load();
  AddPrinter(kBackslash.bytes, "USB001", kLaserId, {{ChnlKindBdc}});
  far_side::write_file(LogFile(kBackslash.bytes), std::string(1500, '.'));
  EXPECT_EQ(provider().Status(1, kBackslash.bytes, ChnlKindBdc), VLPER_NOCHANNEL);
  EXPECT_TRUE(far_side::read_file(log_folder_ + kBackslash.bytes + "_0.dat").has_value());
}

TEST_F(DoubleByteNames, OfPortsAreComparedLetterByLetter) {
  LogTo(kLogOperations);
  Load();
  // The second byte of this letter is a small "a", which is no letter of its own.
  const std::string port = "USB\x83\x61";
  far_side::add_printer({.name = kLaser, .port = port});
  EXPECT_EQ(provider().Status(1, kLaser, ChnlKindBdc), VLPER_NOCHANNEL);
  EXPECT_THAT(LogLines(kLaser),
              Contains("CPrinterInf::CheckSupportPort Return : " + port + " = 0"));
}

TEST_F(DoubleByteNames, OfProfilesAreFound) {
  far_side::add_model("\x83\x5C", ProfileLines({{ChnlKindBdc}}));
  far_side::add_printer({.name = kLaser, .port = "USB001", .driver = "\x83\x5C"});
  far_side::set_device_id("USB001", bytes_of(kLaserId));
  Load();
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
}

}  // namespace
}  // namespace system_test
