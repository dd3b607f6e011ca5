// Devices that can't be asked, and what the search makes of their answers.

#include "tests/device/pipes_search.h"

namespace search_test {
namespace {

constexpr char kItemHead[] = "@BDC ST\r\nST:0400;ER:00;PA:A4;MC:514E3930303030323033;XX:";

// The status item with the wanted number, of so many bytes.
std::string item_of(std::size_t size) {
  const std::string head = kItemHead;
  return head + std::string(size - head.size() - 2, 'x') + ";\x0C";
}

class SearchCandidates : public SearchTest {
 protected:
  // A search in which the first device fails at its status, and the second one is found.
  static void expect_passed_over(const std::vector<std::string>& why = {}) {
    LogFile log(vlp::kLogDevice);
    const Access access = make(log);
    EXPECT_TRUE(access->IsInitialized());
    EXPECT_EQ(kSecond, Private(*access).Path());
    std::vector<std::string> expected = {kEnter, kNewMutex};
    expected.insert(expected.end(), why.begin(), why.end());
    expected.insert(expected.end(), {kNoStatus, kNewMutex, kFound});
    EXPECT_EQ(expected, lines_of_search(log));
    expect_closed(*access, mutex_of(kFirst));
    expect_closed(*access, mutex_of(kSecond));
  }
};

TEST_F(SearchCandidates, PathWithoutTheMarkIsAMutexFailureAndTheSearchGoesOn) {
  const std::string foreign = path_of("foreign", kSerialClass, "vid_0123&pid_0900");
  platform::add_usb_device(described(foreign));
  platform::add_usb_device(described(kFirst));
  run_virtual_serial(1, [&] {
    LogFile log(vlp::kLogDevice);
    const Access access = make(log);
    EXPECT_TRUE(access->IsInitialized());
    EXPECT_EQ(kFirst, Private(*access).Path());
    EXPECT_THAT(lines_of_search(log), ElementsAre(kEnter, kNotSubject,
                                                  "  \\\\?\\USB#VID_0123&PID_0900#FOREIGN#"
                                                  "{B1CEB704-C9BA-4369-82B7-AF7EE754099F}",
                                                  kNoName, kNoMutex, kNewMutex, kFound));
    EXPECT_EQ(0u, transfers_to(foreign));
  });
}

TEST_F(SearchCandidates, MutexThatCannotBeMadePassesTheDeviceOver) {
  platform::add_usb_device(described(kFirst));
  platform::add_usb_device(described(kSecond));
  run_virtual_serial(1, [] {
    LogFile log(vlp::kLogDevice);
    const Access access = prepared(log);
    platform::fail_call("InitializeSecurityDescriptor", 1, ERROR_INVALID_PARAMETER);
    EXPECT_TRUE(Private(*access).SearchSerial(kSerialNumber));
    EXPECT_EQ(kSecond, Private(*access).Path());
    EXPECT_THAT(lines_of_search(log), ElementsAre(kEnter, kNoMutex, kNewMutex, kFound));
    EXPECT_EQ(0u, transfers_to(kFirst));
  });
}

TEST_F(SearchCandidates, DeviceThatSomebodyHasOpenIsPassedOver) {
  platform::add_usb_device(described(kFirst));
  platform::add_usb_device(described(kSecond));
  run_virtual_serial(1, [] {
    vlp::CWinUSB_IO other(&vlp::kSerialNumberInterface);
    ASSERT_TRUE(other.OpenWinUSBDevice(kFirst.c_str()));
    expect_passed_over();
  });
}

TEST_F(SearchCandidates, DeviceThatRefusesItsLinkIsPassedOver) {
  platform::add_usb_device(
      described(kFirst, kSerialNumber,
                {.replies = {{.command = simulator::D4Command::init, .result = std::uint8_t{2}}}}));
  platform::add_usb_device(described(kSecond));
  run_virtual_serial(1, [] { expect_passed_over(); });
}

TEST_F(SearchCandidates, DeviceThatRefusesItsChannelIsPassedOver) {
  platform::add_usb_device(described(
      kFirst, kSerialNumber,
      {.replies = {{.command = simulator::D4Command::open_channel, .result = std::uint8_t{8}}}}));
  platform::add_usb_device(described(kSecond));
  run_virtual_serial(1, [] {
    expect_passed_over({"*** GenVlAccess::GetSndRcvMaxSize - D4GetPacketSize failed. ***"});
  });
}

TEST_F(SearchCandidates, DeviceThatSaysNothingIsPassedOver) {
  platform::add_usb_device(described(kFirst));
  platform::add_usb_device(described(kSecond));
  answer(kFirst, "");
  run_virtual_serial(1, [] { expect_passed_over(); });
}

TEST_F(SearchCandidates, AnswerOf512BytesIsHeldAndOneMoreIsAFailure) {
  platform::add_usb_device(described(kFirst));
  platform::add_usb_device(described(kSecond));
  answer(kFirst, item_of(512));
  run_virtual_serial(1, [] {
    const Access access = make();
    EXPECT_EQ(kFirst, Private(*access).Path());
    EXPECT_EQ(512u, Private(*access).StatusLength());
  });
  answer(kFirst, item_of(513));
  run_virtual_serial(1, [] { expect_passed_over(); });
}

TEST_F(SearchCandidates, AnswerWithoutANumberIsAMismatch) {
  platform::add_usb_device(described(kFirst));
  for (const std::string& reply :
       {std::string("?"), std::string(512, '\xFF'), std::string(20, '\0'),
        std::string("@BDC ST\r\nST:0400;ER:00;PA:A4;MC:514E39303030303230;\x0C"),
        std::string("@BDC ST\r\nST:0400;ER:00;PA:A4;SE:01;WWWWWWWWWWWWWWWWWWWWWWWWWWWW\x0C")}) {
    answer(kFirst, reply);
    run_virtual_serial(1, [] {
      LogFile log(vlp::kLogDevice);
      EXPECT_FALSE(make(log)->IsInitialized());
      EXPECT_THAT(lines_of_search(log),
                  ElementsAre(kEnter, kNewMutex, unmatched(kFirst), no_path(1), kNotFound));
    });
  }
}

TEST_F(SearchCandidates, BusyDeviceIsPassedOverWhenTheWaitIsOver) {
  platform::add_usb_device(described(kFirst));
  platform::add_usb_device(described(kSecond));
  run_virtual_serial(1, [] {
    Holder holder(mutex_of(kFirst));
    LogFile log(vlp::kLogDevice);
    const Access access = make(log);
    EXPECT_EQ(kSecond, Private(*access).Path());
    EXPECT_EQ(0u, transfers_to(kFirst));
    const std::vector<std::string> lines = lines_of_search(log);
    ASSERT_EQ(5u, lines.size());
    EXPECT_THAT(lines[1], StartsWith("GenVlAccess::CreateGenVlMutex - success."));
    EXPECT_EQ(kNoStatus, lines[2]);
    EXPECT_EQ(kFound, lines[4]);
  });
}

TEST_F(SearchCandidates, SearchForABusyDeviceMayEndWithNone) {
  platform::add_usb_device(described(kFirst));
  run_virtual_serial(1, [] {
    Holder holder(mutex_of(kFirst));
    EXPECT_FALSE(make()->IsInitialized());
    EXPECT_EQ(20'000u, elapsed_ms());
    holder.let_go();
    EXPECT_TRUE(make()->IsInitialized());
  });
}

TEST_F(SearchCandidates, DeviceThatGetsFreeWithinTheWaitIsFound) {
  platform::add_usb_device(described(kFirst));
  run_virtual_serial(1, [] {
    Holder holder(mutex_of(kFirst));
    auto releaser = spawn("releaser", [&] {
      sleep_ms(19'999);
      holder.let_go();
    });
    EXPECT_TRUE(make()->IsInitialized());
    EXPECT_LE(19'999u, elapsed_ms());
    releaser.join();
  });
}

TEST_F(SearchCandidates, MutexOfADeviceIsFreeWhileTheNextOneIsAsked) {
  platform::add_usb_device(described(kFirst, "QN90000204"));
  platform::add_usb_device(described(kSecond));
  run_virtual_serial(1, [] {
    Holder holder(mutex_of(kSecond));
    Access access;
    auto searcher = spawn("searcher", [&] { access = make(); });
    sleep_ms(10'000);
    EXPECT_FALSE(searcher.ended());
    EXPECT_EQ(1u, commands_of(kFirst).size());
    EXPECT_TRUE(mutex_is_free(mutex_of(kFirst)));
    vlp::CWinUSB_IO other(&vlp::kSerialNumberInterface);
    EXPECT_TRUE(other.OpenWinUSBDevice(kFirst.c_str()));
    other.CloseWinUSBDevice();
    holder.let_go();
    searcher.join();
    ASSERT_TRUE(access != nullptr);
    EXPECT_EQ(kSecond, Private(*access).Path());
    access.reset();
  });
}

TEST_F(SearchCandidates, StatusOfAMismatchIsNotTheNextOnes) {
  platform::add_usb_device(described(kFirst, "QN90000204"));
  run_virtual_serial(1, [] {
    const Access access = prepared();
    Private inside(*access);
    EXPECT_FALSE(inside.SearchSerial(kSerialNumber));
    EXPECT_NE(0u, inside.StatusLength());
    answer(kFirst, item_of(513));
    EXPECT_FALSE(inside.SearchSerial("QN90000204"));
    EXPECT_EQ(0u, inside.StatusLength());
  });
}

TEST_F(SearchCandidates, DeviceThatGoesWhileItIsAskedEndsCleanly) {
  platform::add_usb_device(
      described(kFirst, kSerialNumber,
                {.acts = {{.kind = simulator::D4Act::Kind::removal, .host_packet = 4}}}));
  run_virtual_serial(1, [] {
    LogFile log(vlp::kLogDevice);
    const Access access = make(log);
    EXPECT_FALSE(access->IsInitialized());
    EXPECT_THAT(lines_of_search(log),
                ElementsAre(kEnter, kNewMutex, kNoStatus, no_path(1), kNotFound));
    expect_closed(*access, mutex_of(kFirst));
  });
}

}  // namespace
}  // namespace search_test
