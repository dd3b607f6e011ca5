// What the port writes into the log, and under which category.

#include "tests/device/pipes_port.h"

namespace pipes_test {
namespace {

constexpr std::uint32_t kAll = 0xFFFFFFFF;

class PumpLog : public PortTest {
 protected:
  // Everything a port has to say: its life, transfers that work and transfers that don't.
  void exercise(vlp::DbgLog* log) {
    {
      vlp::CIOAccess port(log);
      connect(port);
      spy().write_answers = {{.count = 2, .takes_ms = 7}, {.success = false, .error = 31}};
      spy().read_answers = {{.bytes = {0x41, 0x42, 0x43}, .takes_ms = 1500},
                            {.success = false, .error = 22, .takes_ms = 2},
                            {}};
      write(port, {0x61, 0x62, 0x63});
      write(port, {0x0D});
      read(port, 2);
      read(port, 2);
      read(port, 2);
      read(port, 2);
      device_.CloseWinUSBDevice();
    }
    spy() = {};
  }

  std::vector<log_lines::Line> lines_under(std::uint32_t mask) {
    LogFile log(mask);
    run_virtual_serial(0, [&] { exercise(log); });
    return log.lines();
  }

  static std::vector<std::string> shown(const std::vector<log_lines::Line>& lines) {
    std::vector<std::string> texts;
    for (const log_lines::Line& line : lines) texts.push_back(line.shown());
    return texts;
  }
};

TEST_F(PumpLog, WrittenBytesHaveACategoryOfTheirOwnAndComeBeforeTheTransfer) {
  const auto lines = lines_under(vlp::kLogPortOutput);
  ASSERT_THAT(shown(lines), ElementsAre("CIOAccess::IOThroughWrite", "CIOAccess::IOThroughWrite"));
  EXPECT_THAT(lines[0].bytes, ElementsAre("Dump(3): 61 62 63 "));
  EXPECT_THAT(lines[1].bytes, ElementsAre("Dump(1): 0d "));
}

TEST_F(PumpLog, TransfersHaveALineWithTheirTimesAndCounts) {
  const auto lines = lines_under(vlp::kLogPort);
  ASSERT_THAT(
      shown(lines),
      ElementsAre(
          "CIOAccess::IOThroughWrite - SendData : bRC = 1 : S(3) 60: 0.000  E(2) 60: 0.007 ",
          "### CIOAccess::IOThroughWrite - WritePort : bRC = 0",
          "CIOAccess::IOBufferingRead - ReceiveData : bRC = 1 : "
          "S(2048) 60: 0.007  E(3) 60: 1.507 ",
          "CIOAccess::IOBufferingRead", "### CIOAccess::IOBufferingRead - ReadPort : bRC = 0",
          "CIOAccess::IOBufferingRead - ReceiveData : bRC = 1 : "
          "S(2048) 60: 1.509  E(0) 60: 1.509 ",
          "CIOAccess::IOBufferingRead"));
  EXPECT_EQ(31u, lines[1].last_error);
  EXPECT_EQ(" : S 60: 0.007  E 60: 0.007 ", lines[1].times);
  EXPECT_THAT(lines[3].bytes, ElementsAre("Dump(3): 41 42 43 "));
  EXPECT_EQ(22u, lines[4].last_error);
  EXPECT_EQ(" : S 60: 1.507  E 60: 1.509 ", lines[4].times);
}

TEST_F(PumpLog, LifeAndDeviceHaveLines) {
  LogFile log(vlp::kLogDevice);
  {
    vlp::CIOAccess port(log);
    EXPECT_TRUE(port.SetWinUSBIO(&device_));
    EXPECT_FALSE(port.SetWinUSBIO(nullptr));
  }
  EXPECT_THAT(
      log.shown(),
      ElementsAre("new CIOAccess", "CIOAccess::SetWinUSBIO bRC=1 WinUSBIO_Pointer=0x<address>",
                  "CIOAccess::SetWinUSBIO bRC=0 WinUSBIO_Pointer=0x<address>", "delete CIOAccess"));
}

TEST_F(PumpLog, OtherCategoriesHaveNoLineOfThePort) {
  EXPECT_THAT(shown(lines_under(kAll & ~(vlp::kLogPort | vlp::kLogPortOutput | vlp::kLogDevice))),
              IsEmpty());
  EXPECT_THAT(shown(lines_under(vlp::kLogDevice)),
              ElementsAre("new CIOAccess", ::testing::StartsWith("CIOAccess::SetWinUSBIO bRC=1"),
                          "delete CIOAccess"));
}

TEST_F(PumpLog, ClosedDeviceIsAFailureLineWithNoError) {
  LogFile log(vlp::kLogPort);
  vlp::CIOAccess port(log);
  ASSERT_TRUE(port.SetWinUSBIO(&device_));
  write(port, {1});
  read(port, 1);
  const auto lines = log.lines();
  ASSERT_EQ(2u, lines.size());
  EXPECT_TRUE(lines[0].shown().starts_with("### CIOAccess::IOThroughWrite - WritePort : bRC = 0"));
  EXPECT_TRUE(lines[1].shown().starts_with("### CIOAccess::IOBufferingRead - ReadPort : bRC = 0"));
  EXPECT_EQ(0u, lines[0].last_error);
  EXPECT_EQ(0u, lines[1].last_error);
}

TEST_F(PumpLog, ReadOutOfTheBufferHasNoLine) {
  LogFile log(kAll);
  vlp::CIOAccess port(log);
  connect(port);
  spy().read_answers = {{.bytes = {1, 2, 3}}};
  expect_read(port, 1, {1});
  const std::size_t lines = log.lines().size();
  expect_read(port, 1, {2});
  expect_read(port, 1, {3});
  EXPECT_EQ(lines, log.lines().size());
}

TEST_F(PumpLog, PortThatForgotItsLogWritesNoMore) {
  LogFile log(kAll);
  {
    vlp::CIOAccess port(log);
    connect(port);
    port.ForgetLog();
    spy().write_answers = {{.count = 1}};
    spy().read_answers = {{.bytes = {1}}};
    EXPECT_EQ(1u, write(port, {1}).result);
    expect_read(port, 1, {1});
  }
  EXPECT_EQ(2u, log.lines().size());
}

TEST_F(PumpLog, TableHasTheTwoOperationsAndNothingElse) {
  vlp::CIOAccess port(nullptr);
  const vlp::XdltPortOps& table = *port.PortOps();
  EXPECT_EQ(&vlp::CIOAccess::IOThroughWrite, table.write);
  EXPECT_EQ(&vlp::CIOAccess::IOBufferingRead, table.read);
  EXPECT_EQ(0u, table.keepPriority);
  EXPECT_EQ(0u, table.skipDummyRead);
  EXPECT_EQ(nullptr, table.reserved[0]);
  EXPECT_EQ(nullptr, table.reserved[1]);
}

TEST_F(PumpLog, NoDeviceIsToldAndRefused) {
  vlp::CIOAccess port(nullptr);
  EXPECT_FALSE(port.SetWinUSBIO(nullptr));
  EXPECT_TRUE(port.SetWinUSBIO(&device_));
}

}  // namespace
}  // namespace pipes_test
