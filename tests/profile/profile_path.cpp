// Which of a driver's dependent files is the profile, and where it lies.

#include "profile/profile_file.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "tests/support/far_side.h"

namespace {

// The list as the spooler gives it: in a block of exactly its size.
std::string choose(const char* driver_path, std::initializer_list<std::string> files) {
  std::vector<char> list;
  for (const std::string& file : files) {
    list.insert(list.end(), file.begin(), file.end());
    list.push_back('\0');
  }
  list.push_back('\0');
  list.shrink_to_fit();
  return vlp::ChooseProfile(driver_path, list.data());
}

constexpr const char* kDriver = "C:\\drivers\\vldrv.dll";

TEST(ChooseProfile, AnEndingInAnyCaseOfLettersCounts) {
  for (const std::string name : {"model.lmd", "model.LMD", "model.Lmd", "model.lMD", ".lmd"}) {
    EXPECT_EQ("C:\\drivers\\" + name, choose(kDriver, {name}));
  }
}

TEST(ChooseProfile, OtherEndingsDoNotCount) {
  for (const std::string name :
       {"model.lm", "model.lmdx", "modellmd", "lmd", "a", "model.1md", "model.lmd "}) {
    EXPECT_EQ("", choose(kDriver, {name})) << name;
  }
}

TEST(ChooseProfile, TheFirstThatEndsSoIsTakenWhereverItStands) {
  EXPECT_EQ("C:\\drivers\\one.lmd", choose(kDriver, {"one.lmd", "two.lmd"}));
  EXPECT_EQ("C:\\drivers\\one.lmd", choose(kDriver, {"a.dll", "b.dll", "one.lmd", "two.lmd"}));
  EXPECT_EQ("C:\\drivers\\one.lmd", choose(kDriver, {"a.dll", "b", "one.lmd"}));
}

TEST(ChooseProfile, WithoutSuchAFileThereIsNone) {
  EXPECT_EQ("", choose(kDriver, {"a.dll", "b.dll"}));
  EXPECT_EQ("", choose(kDriver, {}));
  EXPECT_EQ("", vlp::ChooseProfile(kDriver, nullptr));
  EXPECT_EQ("", vlp::ChooseProfile(nullptr, nullptr));
}

TEST(ChooseProfile, AFileWithAFolderStaysWhereItIs) {
  EXPECT_EQ("D:\\other\\model.lmd", choose(kDriver, {"D:\\other\\model.lmd"}));
  EXPECT_EQ("sub\\model.lmd", choose(kDriver, {"sub\\model.lmd"}));
  EXPECT_EQ("\\model.lmd", choose(nullptr, {"\\model.lmd"}));
}

TEST(ChooseProfile, ABareNameLiesBesideTheDriver) {
  EXPECT_EQ("C:\\a\\b\\model.lmd", choose("C:\\a\\b\\vldrv.dll", {"model.lmd"}));
  EXPECT_EQ("\\model.lmd", choose("\\vldrv.dll", {"model.lmd"}));
  EXPECT_EQ("C:\\a\\model.lmd", choose("C:\\a\\", {"model.lmd"}));
}

TEST(ChooseProfile, WithoutAFolderOfTheDriverTheBareNameStays) {
  EXPECT_EQ("model.lmd", choose("vldrv.dll", {"model.lmd"}));
  EXPECT_EQ("model.lmd", choose("C:/drivers/vldrv.dll", {"model.lmd"}));
  EXPECT_EQ("model.lmd", choose("", {"model.lmd"}));
  EXPECT_EQ("model.lmd", choose(nullptr, {"model.lmd"}));
}

TEST(ChooseProfile, AJoinedPathTakesAtMost259Bytes) {
  const std::string folder = "C:\\" + std::string(200, 'f') + "\\";
  const std::string driver = folder + "d.dll";
  const std::string fits = std::string(259 - folder.size() - 4, 'n') + ".lmd";
  EXPECT_EQ(folder + fits, choose(driver.c_str(), {fits}));
  EXPECT_EQ("n" + fits, choose(driver.c_str(), {"n" + fits}));
}

TEST(ChooseProfile, ADriverPathBeyondTheLimitCountsAsNone) {
  const std::string fits = "C:\\d\\" + std::string(254, 'd');
  ASSERT_EQ(259U, fits.size());
  EXPECT_EQ("C:\\d\\model.lmd", choose(fits.c_str(), {"model.lmd"}));
  EXPECT_EQ("model.lmd", choose((fits + "d").c_str(), {"model.lmd"}));
}

TEST(ChooseProfile, ANameOf259BytesAndMoreMeansNoProfile) {
  const std::string fits = "\\" + std::string(253, 'n') + ".lmd";
  ASSERT_EQ(258U, fits.size());
  EXPECT_EQ(fits, choose(kDriver, {fits}));
  EXPECT_EQ("", choose(kDriver, {"n" + fits}));
  EXPECT_EQ("", choose(kDriver, {"nn" + fits}));
  EXPECT_EQ("", choose(kDriver, {"n" + fits, "good.lmd"}));
  EXPECT_EQ("", choose(kDriver, {std::string(5000, 'n') + ".lmd", "good.lmd"}));
}

// --- By way of the spooler -----------------------------------------------------------------

class FindProfileTest : public ::testing::Test {
 protected:
  FindProfileTest() { far_side::reset(); }

  static void add(const std::string& printer, const std::string& driver,
                  const std::vector<std::string>& files) {
    far_side::add_driver({.name = driver, .dependent_files = files});
    far_side::add_printer({.name = printer, .driver = driver});
  }
};

TEST_F(FindProfileTest, ThePrintersDriverNamesIt) {
  add("plain", "plain driver", {"C:\\x\\help.hlp", "C:\\x\\model.lmd"});
  EXPECT_EQ("C:\\x\\model.lmd", vlp::FindProfile("plain"));
}

TEST_F(FindProfileTest, AnUnknownPrinterHasNone) {
  EXPECT_EQ("", vlp::FindProfile("nobody"));
  EXPECT_EQ("", vlp::FindProfile(""));
  EXPECT_EQ("", vlp::FindProfile(nullptr));
}

TEST_F(FindProfileTest, APrinterWithoutADriverHasNone) {
  far_side::add_printer({.name = "driverless", .driver = "no such driver"});
  EXPECT_EQ("", vlp::FindProfile("driverless"));
}

TEST_F(FindProfileTest, ADriverWithoutDependentFilesHasNone) {
  add("alone", "alone driver", {});
  EXPECT_EQ("", vlp::FindProfile("alone"));
}

}  // namespace
