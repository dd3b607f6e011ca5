// Names whose characters may end in a byte that looks like a backslash. The program runs
// under code page 932.

#include <gtest/gtest.h>

#include <string>

#include "profile/profile_file.h"
#include "tests/support/far_side.h"

namespace {

const std::string kHyo = "\x95\x5C";

class Profile932Test : public ::testing::Test {
 protected:
  Profile932Test() {
    far_side::reset();
    EXPECT_TRUE(far_side::set_code_page(932)) << "no code page 932";
  }
};

std::string choose(const std::string& driver_path, const std::string& file) {
  return vlp::ChooseProfile(driver_path.c_str(), (file + '\0').c_str());
}

TEST_F(Profile932Test, ATrailByteMakesNoFolder) {
  EXPECT_EQ("C:\\d\\" + kHyo + ".lmd", choose("C:\\d\\v.dll", kHyo + ".lmd"));
  EXPECT_EQ(kHyo + "\\m.lmd", choose("C:\\d\\v.dll", kHyo + "\\m.lmd"));
}

TEST_F(Profile932Test, ATrailByteEndsNoFolderOfTheDriver) {
  EXPECT_EQ("C:\\m.lmd", choose("C:\\" + kHyo + ".dll", "m.lmd"));
  EXPECT_EQ("m.lmd", choose(kHyo + ".dll", "m.lmd"));
}

TEST_F(Profile932Test, AnEndingBehindADoubleByteCharacterCounts) {
  EXPECT_EQ("C:\\d\\\x83\x61.LmD", choose("C:\\d\\v.dll", "\x83\x61.LmD"));
}

}  // namespace
