// The mutex of a device: its name and how it is made.

#include "tests/device/pipes_search.h"

namespace search_test {
namespace {

class MutexName : public SearchTest {
 protected:
  MutexName() : log_(vlp::kLogDevice), access_(prepared(log_)), inside_(*access_) {}
  ~MutexName() override { access_.reset(); }

  std::string name() const { return inside_.MutexName().c_str(); }

  LogFile log_;
  Access access_;
  Private inside_;
};

TEST_F(MutexName, IsThePrefixAndTheVendorTextInUpperCase) {
  inside_.SetPath("\\\\?\\usb#vid_0ff7&pid_0900#ser1#{b1ceb704-c9ba-4369-82b7-af7ee754099f}");
  EXPECT_TRUE(inside_.NameMutex());
  EXPECT_EQ(
      "Global\\VELNO_Printer_VendorClassVL_VID_0FF7&PID_0900#SER1#"
      "{B1CEB704-C9BA-4369-82B7-AF7EE754099F}",
      name());
}

TEST_F(MutexName, BackslashesBehindThePrefixAreUnderscores) {
  inside_.SetPath("\\a\\vid_0ff7&pid_0900\\b\\\\c#{}\\");
  EXPECT_TRUE(inside_.NameMutex());
  EXPECT_EQ("Global\\VELNO_Printer_VendorClassVL_VID_0FF7&PID_0900_B__C#{}_", name());
}

TEST_F(MutexName, IsCutAt259Characters) {
  const std::string head = "VID_0FF7&PID_0900";
  for (const std::size_t tail : {224u, 225u, 230u}) {
    inside_.SetPath(head + std::string(tail - head.size(), 'X'));
    EXPECT_TRUE(inside_.NameMutex());
    EXPECT_EQ(kPrefix + head + std::string(224 - head.size(), 'X'), name()) << tail;
  }
  inside_.SetPath(head + std::string(223 - head.size(), 'X'));
  EXPECT_TRUE(inside_.NameMutex());
  EXPECT_EQ(258u, name().size());
}

TEST_F(MutexName, NothingOfAnEarlierNameStays) {
  inside_.SetPath("vid_0ff7&pid_0900#a-long-one");
  EXPECT_TRUE(inside_.NameMutex());
  inside_.SetPath("vid_0ff7&pid_1");
  EXPECT_TRUE(inside_.NameMutex());
  EXPECT_EQ(kPrefix + std::string("VID_0FF7&PID_1"), name());
  EXPECT_EQ(std::string::npos, inside_.MutexName().find_first_not_of('\0', name().size()));
  inside_.SetPath("");
  EXPECT_FALSE(inside_.NameMutex());
  EXPECT_EQ("", name());
}

TEST_F(MutexName, WithoutAPathOrAMarkThereIsNoName) {
  for (const char* path : {"", "vid_0001&pid_0900"}) {
    inside_.SetPath(path);
    EXPECT_FALSE(inside_.NameMutex());
    EXPECT_FALSE(inside_.MakeMutex());
    EXPECT_EQ(nullptr, inside_.Mutex());
    EXPECT_EQ(kNoName, lines_of_search(log_).back());
  }
  inside_.SetPath("vid_0ff7&pid_0900", 0);
  EXPECT_FALSE(inside_.NameMutex());
  EXPECT_TRUE(search_spy().mutexes.empty());
}

TEST_F(MutexName, IsMadeForEverybodyAndNotOwned) {
  inside_.SetPath(kFirst);
  EXPECT_TRUE(inside_.MakeMutex());
  ASSERT_EQ(1u, search_spy().mutexes.size());
  const MadeMutex& made = search_spy().mutexes[0];
  EXPECT_EQ(mutex_of(kFirst), made.name);
  EXPECT_EQ(FALSE, made.owner);
  EXPECT_EQ(TRUE, made.inheritable);
  EXPECT_EQ(sizeof(SECURITY_ATTRIBUTES), made.length);
  EXPECT_EQ(SECURITY_DESCRIPTOR_REVISION, made.descriptor.Revision);
  EXPECT_EQ(SE_DACL_PRESENT, made.descriptor.Control);
  EXPECT_EQ(nullptr, made.descriptor.Dacl);
  EXPECT_THAT(lines_of_search(log_), ElementsAre(kNewMutex));
  EXPECT_TRUE(mutex_is_free(mutex_of(kFirst)));
}

TEST_F(MutexName, OwnEarlierMutexIsNotTakenForSomebodyElses) {
  inside_.SetPath(kFirst);
  EXPECT_TRUE(inside_.MakeMutex());
  EXPECT_TRUE(inside_.MakeMutex());
  EXPECT_THAT(lines_of_search(log_), ElementsAre(kNewMutex, kNewMutex));
}

TEST_F(MutexName, MutexThatIsThereIsTaken) {
  const vlp::KernelHandle there(CreateMutexA(nullptr, FALSE, mutex_of(kFirst).c_str()));
  inside_.SetPath(kFirst);
  EXPECT_TRUE(inside_.MakeMutex());
  EXPECT_THAT(lines_of_search(log_),
              ElementsAre("GenVlAccess::CreateGenVlMutex - success. hWinUSBMutex=0x<address> "
                          "LastError=183"));
}

TEST_F(MutexName, ObjectOfAnotherKindOfThatNameIsAFailure) {
  const vlp::KernelHandle there(CreateEventA(nullptr, TRUE, FALSE, mutex_of(kFirst).c_str()));
  inside_.SetPath(kFirst);
  EXPECT_FALSE(inside_.MakeMutex());
  EXPECT_EQ(nullptr, inside_.Mutex());
  EXPECT_THAT(lines_of_search(log_),
              ElementsAre("*** GenVlAccess::CreateGenVlMutex - failed. LastError=6 ***"));
}

TEST_F(MutexName, EarlierMutexIsClosedFirst) {
  const std::string before = platform::handle_report();
  inside_.SetPath(kFirst);
  EXPECT_TRUE(inside_.MakeMutex());
  inside_.SetPath(kSecond);
  EXPECT_TRUE(inside_.MakeMutex());
  const std::string open = platform::handle_report();
  EXPECT_EQ(std::string::npos, open.find(mutex_of(kFirst))) << open;
  EXPECT_NE(std::string::npos, open.find(mutex_of(kSecond))) << open;
  inside_.SetPath("");
  EXPECT_FALSE(inside_.MakeMutex());
  EXPECT_EQ(nullptr, inside_.Mutex());
  EXPECT_EQ(before, platform::handle_report());
}

TEST_F(MutexName, SystemThatRefusesIsTold) {
  inside_.SetPath(kFirst);
  platform::fail_call("CreateMutexA", 1, ERROR_ACCESS_DENIED);
  EXPECT_FALSE(inside_.MakeMutex());
  EXPECT_EQ(nullptr, inside_.Mutex());
  EXPECT_THAT(lines_of_search(log_),
              ElementsAre("*** GenVlAccess::CreateGenVlMutex - failed. LastError=5 ***"));
}

TEST_F(MutexName, DescriptorThatCannotBeMadeIsAFailureWithoutALine) {
  inside_.SetPath(kFirst);
  for (const char* call : {"InitializeSecurityDescriptor", "SetSecurityDescriptorDacl"}) {
    platform::fail_call(call, 1, ERROR_INVALID_PARAMETER);
    EXPECT_FALSE(inside_.MakeMutex()) << call;
    EXPECT_EQ(nullptr, inside_.Mutex());
  }
  EXPECT_EQ(2u, platform::faults_met());
  EXPECT_THAT(lines_of_search(log_), IsEmpty());
  EXPECT_TRUE(search_spy().mutexes.empty());
}

TEST_F(MutexName, LinesHaveTheCategoryOfDevices) {
  LogFile other(0xFFFFFFFF & ~vlp::kLogDevice);
  {
    const Access access = prepared(other);
    Private inside(*access);
    inside.SetPath(kFirst);
    EXPECT_TRUE(inside.MakeMutex());
    inside.SetPath("");
    EXPECT_FALSE(inside.MakeMutex());
  }
  EXPECT_THAT(lines_of_search(other), IsEmpty());
}

}  // namespace
}  // namespace search_test
