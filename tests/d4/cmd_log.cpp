// What the command layer writes into the printer's log, and that it disturbs nothing.

#include "tests/d4/cmd_fixture.h"

namespace {

using cmd_test::CmdLogTest;
using cmd_test::kCommand;
using cmd_test::kPort;
using cmd_test::kUntouched;
using cmd_test::kUsual;
using cmd_test::Lines;
using log_lines::Line;
using test::run_virtual_parallel;
using vlp::kD4CommandChannel;

constexpr std::uint32_t kCommands = 0x200;
constexpr std::uint32_t kDevices = 0x1000;

class CmdLog : public CmdLogTest {
 protected:
  // Times are minutes, seconds and milliseconds since an hour before the test's start.
  static std::string took(const std::string& from, const std::string& to) {
    return " : S 60: " + from + "  E 60: " + to + " ";
  }
  static std::string at_once() { return took("0.000", "0.000"); }
};

TEST_F(CmdLog, AWholeCommandReadsLikeThis) {
  run_virtual_parallel([this] {
    vlp::DbgLog log = open_log(kCommands);
    {
      fake_engine::reset({.write = {{{-33, 20}}, {3}}, .size = {{{0}}, {5}}});
      vlp::XdltPortOps ops;
      vlp::CD4CmdIO io(&log, kPort, &ops, &kUsual);
      std::uint8_t answer[8];
      std::uint32_t count = 0;
      SetLastError(6);
      EXPECT_TRUE(io.D4Open());
      EXPECT_TRUE(io.D4CmdProc(kD4CommandChannel, kCommand, 3, answer, 8, &count));
      EXPECT_TRUE(io.D4Close());
    }
    const std::vector<Line> lines = whole_lines();
    Lines texts;
    for (const Line& line : lines) texts.push_back(line.shown());
    EXPECT_EQ(texts,
              (Lines{
                  "CD4CmdIO::D4Open - XDLT_Open : nDltRc = 0" + at_once(),
                  "CD4CmdIO::D4CmdProc - Enter",
                  "CD4CmdIO::D4OpenChnl - Enter",
                  "CD4CmdIO::OpenChnlProc - XDLT_OpenChannel : nRC = 0" + at_once(),
                  "CD4CmdIO::D4OpenChnl - End : bRC = 1",
                  "CD4CmdIO::D4WriteCmd - Enter",
                  "### CD4CmdIO::D4WriteCmd - XDLT_Write : nDltRc = -33",
                  "CD4CmdIO::D4WriteCmd - XDLT_Write : nDltRc = 3" + took("0.520", "0.520"),
                  "CD4CmdIO::D4WriteCmd - End : bRC = 1",
                  "CD4CmdIO::D4ReadCmd - Enter",
                  "CD4CmdIO::D4ReadCmd - XDLT_Read Get buffer size : nReadSize = 0" +
                      took("0.520", "0.520"),
                  "CD4CmdIO::D4ReadCmd - XDLT_Read Get buffer size : nReadSize = 5" +
                      took("0.524", "0.524"),
                  "CD4CmdIO::D4ReadCmd - XDLT_Read : nDltRc = 5" + took("0.524", "0.524"),
                  "CD4CmdIO::D4ReadCmd - End : bRC = 1",
                  "CD4CmdIO::D4CmdProc - End : bRC = 1",
                  "CD4CmdIO::D4CloseChnl - Enter",
                  "CD4CmdIO::D4CloseChnl - XDLT_CloseChannel : nDltRc = 0" + took("0.524", "0.524"),
                  "CD4CmdIO::D4CloseChnl - End : bRC = 1",
                  "CD4CmdIO::D4Close - XDLT_Close : nDltRc = 0" + took("0.524", "0.524"),
              }));
    ASSERT_EQ(lines.size(), 19u);
    EXPECT_EQ(lines[6].bytes, Lines{"Dump(3): 1b 40 53 "});
    EXPECT_EQ(lines[7].bytes, Lines{"Dump(3): 1b 40 53 "});
    EXPECT_EQ(lines[12].bytes, Lines{"Dump(5): 01 02 03 04 05 "});
    EXPECT_EQ(lines[6].last_error, 6u);
  });
}

TEST_F(CmdLog, TheTimesSpanTheEnginesCall) {
  run_virtual_parallel([this] {
    vlp::DbgLog log = open_log(kCommands);
    fake_engine::reset({.open = {{}, {0, 1234}}});
    Device device(kUsual, &log);
    EXPECT_EQ(lines(), Lines{"CD4CmdIO::D4Open - XDLT_Open : nDltRc = 0" + took("0.000", "1.234")});
  });
}

TEST_F(CmdLog, NegativeResultsBearTheErrorMark) {
  run_virtual_parallel([this] {
    vlp::DbgLog log = open_log(kCommands);
    fake_engine::reset({.open = {{{-55}}}, .open_channel = {{{-4}}}, .close_channel = {{}, {-3}}});
    Device device(kUsual, &log);
    device.io.D4Open();
    device.io.D4OpenChnl(kD4CommandChannel);
    device.io.D4OpenChnl(kD4CommandChannel);
    fake_engine::scripts().close.otherwise.result = -34;
    device.io.D4Close();
    Lines keys;
    for (const Line& line : whole_lines()) {
      if (line.error) keys.push_back(line.text.substr(0, line.text.find(" = ")));
    }
    EXPECT_EQ(keys, (Lines{"CD4CmdIO::D4Open - XDLT_Open : nDltRc",
                           "CD4CmdIO::OpenChnlProc - XDLT_OpenChannel : nRC",
                           "CD4CmdIO::D4OpenChnl - End : bRC",
                           "CD4CmdIO::D4CloseChnl - XDLT_CloseChannel : nDltRc",
                           "CD4CmdIO::D4CloseChnl - End : bRC",
                           "CD4CmdIO::D4Close - XDLT_Close : nDltRc"}));
  });
}

TEST_F(CmdLog, AFailedReadShowsItsFailuresAndNoData) {
  run_virtual_parallel([this] {
    vlp::DbgLog log = open_log(kCommands);
    Device device(kUsual, &log);
    vlp::D4ChannelEntry* const entry = device.open_channel();
    fake_engine::scripts().size.otherwise.result = 5;
    fake_engine::scripts().fetch.otherwise.result = -80;
    const std::size_t before = lines().size();
    EXPECT_FALSE(device.io.D4ReadCmd(entry, device.answer, 64, &device.count, GetTickCount()));
    std::vector<Line> written = whole_lines();
    written.erase(written.begin(), written.begin() + static_cast<std::ptrdiff_t>(before));
    ASSERT_EQ(written.size(), 4u);
    EXPECT_EQ(written[2].text.substr(0, 44), "CD4CmdIO::D4ReadCmd - XDLT_Read : nDltRc = -");
    EXPECT_TRUE(written[2].error);
    EXPECT_EQ(written[2].bytes, Lines{});
    EXPECT_EQ(written[3].shown(), "### CD4CmdIO::D4ReadCmd - End : bRC = 0");
  });
}

TEST_F(CmdLog, EveryOperationSaysThatItBeginsAndEndsEvenForBadArguments) {
  run_virtual_parallel([this] {
    vlp::DbgLog log = open_log(kCommands);
    Device device(kUsual, &log);
    const std::size_t before = lines().size();
    SetLastError(kUntouched);
    device.io.D4GetPacketSize(0, nullptr);
    device.io.D4CmdProc(0, nullptr, 0, nullptr, 0, nullptr);
    device.io.D4OpenChnl(5);
    device.io.D4CloseChnl(nullptr);
    device.io.D4WriteCmd(nullptr, nullptr, 0, 0);
    device.io.D4ReadCmd(nullptr, nullptr, 0, nullptr, 0);
    EXPECT_EQ(GetLastError(), 0u);
    Lines expected;
    for (const char* name :
         {"D4GetPacketSize", "D4CmdProc", "D4OpenChnl", "D4CloseChnl", "D4WriteCmd", "D4ReadCmd"}) {
      expected.push_back(std::string("CD4CmdIO::") + name + " - Enter");
      expected.push_back(std::string("### CD4CmdIO::") + name + " - End : bRC = 0");
    }
    std::vector<Line> written = whole_lines();
    written.erase(written.begin(), written.begin() + static_cast<std::ptrdiff_t>(before));
    Lines texts;
    for (const Line& line : written) {
      texts.push_back(line.shown());
      if (line.error) {
        EXPECT_EQ(line.last_error, 0u) << line.text;
      }
    }
    EXPECT_EQ(texts, expected);
  });
}

TEST_F(CmdLog, TheSizesAreToldAsPayloads) {
  run_virtual_parallel([this] {
    vlp::DbgLog log = open_log(kCommands);
    Device device(kUsual, &log);
    device.open_channel();
    const std::size_t before = lines().size();
    std::uint32_t sizes = 0;
    EXPECT_TRUE(device.io.D4GetPacketSize(kD4CommandChannel, &sizes));
    Lines written = lines();
    written.erase(written.begin(), written.begin() + static_cast<std::ptrdiff_t>(before));
    EXPECT_EQ(written, (Lines{"CD4CmdIO::D4GetPacketSize - Enter", "CD4CmdIO::D4OpenChnl - Enter",
                              "CD4CmdIO::D4OpenChnl - End : bRC = 1",
                              "    wWritePacketSize=128 wReadPacketSize=512",
                              "CD4CmdIO::D4GetPacketSize - End : bRC = 1"}));
  });
}

TEST_F(CmdLog, AnOpeningOverALostLinkIsOfTheDevicesCategory) {
  run_virtual_parallel([this] {
    vlp::DbgLog log = open_log(kDevices);
    fake_engine::reset({.open_channel = {{}, {-22}}});
    Device device(kUsual, &log);
    EXPECT_EQ(device.io.D4OpenChnl(kD4CommandChannel), nullptr);
    EXPECT_EQ(lines(), Lines{});
    SetLastError(kUntouched);
    EXPECT_EQ(device.io.D4OpenChnl(kD4CommandChannel), nullptr);
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(lines(), Lines{"*****CD4CmdIO::D4OpenChnl - already FatalError! *****"});
  });
}

TEST_F(CmdLog, OtherCategoriesGetNoLine) {
  run_virtual_parallel([this] {
    vlp::DbgLog log = open_log(~(kCommands | kDevices));
    {
      fake_engine::reset({.size = {{}, {5}}});
      Device device(kUsual, &log);
      EXPECT_TRUE(device.command());
      fake_engine::scripts().size.otherwise.result = -22;
      EXPECT_FALSE(device.command());
      EXPECT_FALSE(device.command());
    }
    EXPECT_EQ(lines(), Lines{});
  });
}

TEST_F(CmdLog, ALogThatCannotBeWrittenKeepsTheLastError) {
  run_virtual_parallel([] {
    vlp::DbgLog log("printer", "C:\\no\\such\\folder\\", kCommands | kDevices, 0);
    fake_engine::reset({.size = {{}, {65}}});
    Device device(kUsual, &log);
    SetLastError(kUntouched);
    EXPECT_FALSE(device.command());
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    SetLastError(kUntouched);
    EXPECT_FALSE(device.command(0));
    EXPECT_EQ(GetLastError(), 0u);
  });
}

}  // namespace
