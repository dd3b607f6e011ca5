// The search by serial number: which device it takes.

#include "tests/device/pipes_search.h"

namespace search_test {
namespace {

class SearchSerial : public SearchTest {};

TEST_F(SearchSerial, WithoutADeviceThereIsNone) {
  run_virtual_serial(1, [] {
    LogFile log(vlp::kLogDevice);
    const Access access = make(log);
    EXPECT_FALSE(access->IsInitialized());
    EXPECT_THAT(lines_of_search(log), ElementsAre(kEnter, no_path(0), kNotFound));
    EXPECT_EQ("", Private(*access).Path());
    EXPECT_EQ(0u, Private(*access).PathLength());
  });
}

TEST_F(SearchSerial, DeviceWithTheNumberIsTakenAndStays) {
  platform::add_usb_device(described(kFirst));
  run_virtual_serial(1, [] {
    LogFile log(vlp::kLogDevice);
    const Access access = make(log);
    EXPECT_TRUE(access->IsInitialized());
    EXPECT_THAT(lines_of_search(log), ElementsAre(kEnter, kNewMutex, kFound));
    const Private inside(*access);
    EXPECT_EQ(kFirst, inside.Path());
    EXPECT_EQ(kFirst.size() + 1, inside.PathLength());
    EXPECT_EQ(mutex_of(kFirst), inside.MutexName().c_str());
    EXPECT_NE(nullptr, inside.Mutex());
    expect_closed(*access, mutex_of(kFirst));
  });
}

TEST_F(SearchSerial, AsksTheStatusAndClosesTheDevice) {
  platform::add_usb_device(described(kFirst));
  run_virtual_serial(1, [] {
    const Access access = make();
    EXPECT_THAT(commands_of(kFirst), ElementsAre(status_request()));
    with(kFirst, [](simulator::UsbPrinter& printer, std::uint64_t) {
      EXPECT_EQ(nullptr, printer.device().link().channel(simulator::UsbPrinter::command_socket));
    });
    vlp::CWinUSB_IO other(&vlp::kSerialNumberInterface);
    EXPECT_TRUE(other.OpenWinUSBDevice(kFirst.c_str()));
  });
}

TEST_F(SearchSerial, DevicesWithAnotherNumberArePassedOver) {
  platform::add_usb_device(described(kFirst, "QN90000204"));
  platform::add_usb_device(described(kSecond));
  run_virtual_serial(1, [] {
    LogFile log(vlp::kLogDevice);
    const Access access = make(log);
    EXPECT_TRUE(access->IsInitialized());
    EXPECT_EQ(kSecond, Private(*access).Path());
    EXPECT_EQ(mutex_of(kSecond), Private(*access).MutexName().c_str());
    EXPECT_THAT(lines_of_search(log),
                ElementsAre(kEnter, kNewMutex, unmatched(kFirst), kNewMutex, kFound));
    EXPECT_THAT(commands_of(kFirst), ElementsAre(status_request()));
    expect_closed(*access, mutex_of(kFirst));
    expect_closed(*access, mutex_of(kSecond));
  });
}

TEST_F(SearchSerial, NumberThatDiffersInAnyByteIsAnotherOne) {
  for (std::size_t at = 0; at < 10; ++at) {
    std::string other = kSerialNumber;
    ++other[at];
    platform::add_usb_device(described(kFirst, other));
    run_virtual_serial(1, [] {
      LogFile log(vlp::kLogDevice);
      EXPECT_FALSE(make(log)->IsInitialized());
      EXPECT_THAT(lines_of_search(log),
                  ElementsAre(kEnter, kNewMutex, unmatched(kFirst), no_path(1), kNotFound));
    });
  }
}

TEST_F(SearchSerial, NumberIsTenBytesWithZeroesAmongThem) {
  platform::add_usb_device(described(kFirst));
  answer(kFirst, "@BDC ST\r\nST:0400;ER:00;PA:A4;MC:41004200000000000043;SE:01;\x0C");
  run_virtual_serial(1, [] {
    EXPECT_TRUE(make(nullptr, "A\0B\0\0\0\0\0\0C")->IsInitialized());
    EXPECT_FALSE(make(nullptr, "A\0B\0\0\0\0\0\0D")->IsInitialized());
  });
}

TEST_F(SearchSerial, BytesBehindTheTenthDoNotCount) {
  platform::add_usb_device(described(kFirst));
  run_virtual_serial(1, [] { EXPECT_TRUE(make(nullptr, "QN90000203XYZ")->IsInitialized()); });
}

TEST_F(SearchSerial, LowerIndexWinsAndTheLaterDeviceIsNotAsked) {
  platform::add_usb_device(described(kSecond));
  platform::add_usb_device(described(kFirst));
  run_virtual_serial(1, [] {
    const Access access = make();
    EXPECT_EQ(kFirst, Private(*access).Path());
    EXPECT_EQ(0u, transfers_to(kSecond));
  });
}

TEST_F(SearchSerial, OnlyItsOwnClassIsSearched) {
  const std::string product = path_of("another", kProductClass);
  platform::add_usb_device(described(product));
  run_virtual_serial(1, [&] {
    EXPECT_FALSE(make()->IsInitialized());
    EXPECT_EQ(0u, transfers_to(product));
  });
}

TEST_F(SearchSerial, WinnersStatusServesTheFirstAskUntilItsTimeIsOver) {
  platform::add_usb_device(described(kFirst));
  run_virtual_serial(1, [] {
    const Access access = make();
    const std::uint64_t transfers = transfers_to(kFirst);
    std::uint8_t status[512];
    std::uint32_t length = 0;
    const auto ask = [&] {
      return access->GenVlGetStatus(vlp::GENVL_CHANNEL_STATUS, status, sizeof status, &length);
    };
    sleep_ms(2500);
    EXPECT_EQ(0, ask());
    EXPECT_EQ("@BDC ST\r\nST:0400;ER:00;PA:A4;MC:514E3930303030323033;SE:01;\x0C",
              std::string(status, status + length));
    EXPECT_EQ(transfers, transfers_to(kFirst));
    sleep_ms(1);
    EXPECT_EQ(0, ask());
    EXPECT_LT(transfers, transfers_to(kFirst));
    EXPECT_EQ(2u, commands_of(kFirst).size());
  });
}

TEST_F(SearchSerial, WithoutANumberOnlyItsBeginIsTold) {
  platform::add_usb_device(described(kFirst));
  run_virtual_serial(1, [] {
    LogFile log(vlp::kLogDevice);
    const Access access = prepared(log);
    EXPECT_FALSE(Private(*access).SearchSerial(nullptr));
    EXPECT_THAT(lines_of_search(log), ElementsAre(kEnter));
    EXPECT_EQ(0u, transfers_to(kFirst));
  });
}

TEST_F(SearchSerial, LinesHaveTheCategoryOfDevices) {
  platform::add_usb_device(described(kFirst, "QN90000204"));
  run_virtual_serial(1, [] {
    LogFile log(0xFFFFFFFF & ~vlp::kLogDevice);
    make(log);
    EXPECT_THAT(lines_of_search(log),
                ElementsAre("    wWritePacketSize=4096 wReadPacketSize=4096"));
  });
}

TEST_F(SearchSerial, ManyDevicesAreAllAskedInTheirOrder) {
  for (char name = 'a'; name < 'k'; ++name) {
    platform::add_usb_device(described(path_of({name}), "QN9000000" + std::string(1, name)));
  }
  run_virtual_serial(1, [] {
    LogFile log(vlp::kLogDevice);
    EXPECT_FALSE(make(log)->IsInitialized());
    std::vector<std::string> expected = {kEnter};
    for (char name = 'a'; name < 'k'; ++name) {
      expected.insert(expected.end(), {kNewMutex, unmatched(path_of({name}))});
      EXPECT_TRUE(mutex_is_free(mutex_of(path_of({name}))));
    }
    expected.insert(expected.end(), {no_path(10), kNotFound});
    EXPECT_EQ(expected, lines_of_search(log));
    EXPECT_TRUE(make(nullptr, "QN9000000j")->IsInitialized());
  });
}

}  // namespace
}  // namespace search_test
