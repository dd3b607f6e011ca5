// The settings of the log, seen through the files that come of them.

#include "tests/system/digits.h"
#include "tests/system/fixture.h"

namespace system_test {
namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::Not;
using ::testing::StartsWith;

class LogFiles : public SystemTest {
 protected:
  void SetUp() override {
    SystemTest::SetUp();
    AddLaser();
    log_folder_ = far_side::fresh_log_directory();
  }

  // One request of each kind, with these settings.
  void Work(const far_side::LogSettings& settings) {
    far_side::set_log(settings);
    Load();
    ASSERT_EQ(provider().DeviceId(1, kLaser), 0);
    EXPECT_EQ(provider().Status(1, kLaser, ChnlKindQpl), VLPER_NOCHANNEL);
    DropProvider();
  }

  std::optional<std::string> File(const std::string& name) {
    return far_side::read_file(log_folder_ + name);
  }

  void FillTo(const std::string& name, std::size_t size) {
    far_side::write_file(log_folder_ + name, std::string(size, '.'));
  }
};

TEST_F(LogFiles, ComeOnlyWithAFlagAndAFolder) {
  struct Case {
    std::optional<std::uint32_t> flag;
    bool path;
    bool file;
  };
  const Case cases[] = {{std::nullopt, false, false},
                        {std::nullopt, true, false},
                        {0, true, false},
                        {0, false, false},
                        {1, false, false},
                        {1, true, true},
                        {0xFFFFFFFF, true, true},
                        {0x80000000, true, true}};
  for (const Case& each : cases) {
    far_side::LogSettings settings{.flag = each.flag};
    if (each.path) settings.path = log_folder_;
    Work(settings);
    EXPECT_EQ(File("Laser.dat").has_value(), each.file)
        << "flag " << each.flag.value_or(0) << ", path " << each.path;
    far_side::remove_file(log_folder_ + "Laser.dat");
  }
}

TEST_F(LogFiles, BeginWithALineBreakAndBearTimeProcessAndThread) {
  Work({.flag = kLogOperations, .path = log_folder_});
  const std::string text = File("Laser.dat").value_or("");
  ASSERT_TRUE(text.starts_with("\r\n"));
  EXPECT_FALSE(text.ends_with("\n"));
  const std::string head = text.substr(2, text.find("] : ") + 1 - 2);
  EXPECT_THAT(head, LooksLike("9:9.9 [PID:9 TID:9]"));
}

TEST_F(LogFiles, TakeTheFoldersTextAsItStands) {
  Work({.flag = kLogOperations, .path = log_folder_ + "Begin "});
  EXPECT_TRUE(File("Begin Laser.dat").has_value());
  EXPECT_FALSE(File("Laser.dat").has_value());
}

TEST_F(LogFiles, StayAwayWhereTheFolderIsMissing) {
  Work({.flag = 0xFFFFFFFF, .path = log_folder_ + "missing\\"});
  EXPECT_FALSE(File("missing\\Laser.dat").has_value());
}

TEST_F(LogFiles, StayAwayWhereTheNameDoesNotFit) {
  // Folder, name and ending have 259 bytes together; with one more there is no log.
  const std::string folder = log_folder_;
  const std::size_t room = 259 - folder.size() - std::string("Laser.dat").size();
  far_side::set_log({.flag = kLogOperations, .path = folder + std::string(room + 1, 'p')});
  Load();
  ASSERT_EQ(provider().DeviceId(1, kLaser), 0);
  EXPECT_FALSE(File(std::string(room + 1, 'p') + "Laser.dat").has_value());
  DropProvider();
  far_side::set_log({.flag = kLogOperations, .path = folder + std::string(300, 'p')});
  Load();
  ASSERT_EQ(provider().DeviceId(1, kLaser), 0);
}

TEST_F(LogFiles, HoldOnlyTheCategoriesThatAreOn) {
  Work({.flag = kLogOperations, .path = log_folder_});
  EXPECT_THAT(LogLines(kLaser), Contains("CPrinterInf::GetDeviceID Enter"));
  EXPECT_THAT(LogLines(kLaser), Not(Contains(StartsWith("CBidiIF::"))));
  EXPECT_THAT(LogLines(kLaser), Not(Contains(StartsWith("new CPrinterInf"))));
  far_side::remove_file(LogFile(kLaser));

  Work({.flag = kLogSpooler, .path = log_folder_});
  EXPECT_THAT(LogLines(kLaser), Contains("CBidiIF::SendRecvBidiContainer Enter"));
  EXPECT_THAT(LogLines(kLaser), Not(Contains(StartsWith("CPrinterInf::"))));
  far_side::remove_file(LogFile(kLaser));

  Work({.flag = kLogLife, .path = log_folder_});
  EXPECT_THAT(LogLines(kLaser), Contains("new CPrinterInf : Laser = 0"));
  EXPECT_THAT(LogLines(kLaser), Contains("delete CPrinterInf : Laser = 0"));
  EXPECT_THAT(LogLines(kLaser), Not(Contains("CPrinterInf::GetDeviceID Enter")));
}

TEST_F(LogFiles, HoldOnlyStampsWhereNoCategoryIsOn) {
  for (const std::uint32_t flag : {kLogUncut, 0x4U}) {
    Work({.flag = flag, .path = log_folder_});
    const auto lines = LogLines(kLaser);
    EXPECT_EQ(lines.size(), 1U) << flag;
    EXPECT_THAT(lines, Each(LooksLike(kStampShape)));
    far_side::remove_file(LogFile(kLaser));
  }
}

TEST_F(LogFiles, KeepTheSettingsOfTheirLoad) {
  far_side::set_log({.flag = kLogOperations, .path = log_folder_});
  Load();
  far_side::set_log({});
  ASSERT_EQ(provider().DeviceId(1, kLaser), 0);
  EXPECT_TRUE(File("Laser.dat").has_value());
  far_side::remove_file(LogFile(kLaser));
  DropProvider();
  Load();
  ASSERT_EQ(provider().DeviceId(1, kLaser), 0);
  EXPECT_FALSE(File("Laser.dat").has_value());
}

TEST_F(LogFiles, GoOnWhereTheLastProcessStopped) {
  Work({.flag = kLogOperations, .path = log_folder_});
  const std::string first = File("Laser.dat").value_or("");
  Work({.flag = kLogOperations, .path = log_folder_});
  const std::string both = File("Laser.dat").value_or("");
  EXPECT_TRUE(both.starts_with(first));
  EXPECT_GT(both.size(), first.size());
}

TEST_F(LogFiles, ChangeAtHalfTheSizeThatIsSet) {
  const far_side::LogSettings settings{.flag = kLogUncut, .path = log_folder_, .max_size = 100000};
  far_side::set_log(settings);
  Load();
  // The first stamp makes the file; its size gives that of all.
  EXPECT_EQ(provider().Status(1, kLaser, ChnlKindQpl), VLPER_NOCHANNEL);
  const std::size_t stamp = File("Laser.dat").value_or("").size();
  ASSERT_GT(stamp, 0U);
  FillTo("Laser.dat", 50000 - stamp - 1);
  EXPECT_EQ(provider().Status(1, kLaser, ChnlKindQpl), VLPER_NOCHANNEL);
  EXPECT_EQ(File("Laser.dat").value_or("").size(), 49999U);
  EXPECT_FALSE(File("Laser_0.dat").has_value());
  FillTo("Laser.dat", 50000 - stamp);
  EXPECT_EQ(provider().Status(1, kLaser, ChnlKindQpl), VLPER_NOCHANNEL);
  EXPECT_EQ(File("Laser_0.dat").value_or("").size(), 50000U);
  EXPECT_EQ(File("Laser.dat").value_or("").size(), stamp) << "the fresh file has its stamp";
}

TEST_F(LogFiles, ReplaceTheOlderOfTheTwo) {
  far_side::set_log({.flag = kLogUncut, .path = log_folder_, .max_size = 2000});
  Load();
  FillTo("Laser_0.dat", 10);
  FillTo("Laser.dat", 1234);
  EXPECT_EQ(provider().Command(1, kLaser, ChnlKindQpl, {1}), VLPER_NOCHANNEL);
  EXPECT_GT(File("Laser_0.dat").value_or("").size(), 1234U);
}

TEST_F(LogFiles, AreLookedAtOnlyByStatusAndCommands) {
  far_side::set_log({.flag = kLogOperations, .path = log_folder_, .max_size = 2000});
  Load();
  FillTo("Laser.dat", 5000);
  ASSERT_EQ(provider().DeviceId(1, kLaser), 0);
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
  EXPECT_EQ(provider().Through(1, kLaser, ChnlKindQpl, {1}), VLPER_NOCHANNEL);
  EXPECT_FALSE(File("Laser_0.dat").has_value());
  EXPECT_EQ(provider().Command(1, kLaser, ChnlKindQpl, {1}), VLPER_NOCHANNEL);
  EXPECT_TRUE(File("Laser_0.dat").has_value());
}

TEST_F(LogFiles, HaveTheFirstSizeThatIsNotZero) {
  struct Case {
    const char* name;
    std::optional<std::uint32_t> size;
    std::optional<std::uint32_t> debug_size;
    bool changes;  // at 3000 bytes
  };
  const Case cases[] = {{"none", std::nullopt, std::nullopt, false},
                        {"both zero", 0, 0, false},
                        {"one", 1, std::nullopt, false},
                        {"its own", 4000, std::nullopt, true},
                        {"its own, larger", 8000, std::nullopt, false},
                        {"the other", std::nullopt, 4000, true},
                        {"the other for zero", 0, 4000, true},
                        {"its own before a larger one", 4000, 8000, true},
                        {"its own before a smaller one", 8000, 4000, false}};
  for (const Case& each : cases) {
    far_side::remove_file(log_folder_ + "Laser_0.dat");
    FillTo("Laser.dat", 3000);
    Work({.flag = kLogOperations,
          .path = log_folder_,
          .max_size = each.size,
          .debug_max_size = each.debug_size});
    EXPECT_EQ(File("Laser_0.dat").has_value(), each.changes) << each.name;
  }
}

}  // namespace
}  // namespace system_test
