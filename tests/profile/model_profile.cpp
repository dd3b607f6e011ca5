// The record that a profile fills.

#include "profile/model_profile.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/far_side.h"

namespace {

using vlp::ByteList;
using vlp::LoadModelProfile;
using vlp::ModelProfile;

using Number = std::uint32_t ModelProfile::*;

struct NumberKey {
  const char* key;
  Number field;
  std::uint32_t standard;
};

// Those with a default of their own.
const NumberKey kNumbers[] = {
    {"LPT_StatusNoChkTime", &ModelProfile::statusNoChkTime, 5000},
    {"LPT_DevIDNoChkTime", &ModelProfile::devIDNoChkTime, 30000},
    {"LPT_StatusLength", &ModelProfile::statusLength, 2048},
    {"LPT_PacketRcvMaxTime", &ModelProfile::packetRcvMaxTime, 20000},
    {"LPT_RcvDatBuffSize", &ModelProfile::rcvDatBuffSize, 2048},
    {"DLT Enable", &ModelProfile::dltEnable, 1},
    {"LPT_D4AIDMode", &ModelProfile::d4AIDMode, 0},
    {"LPT_D4PacketSize", &ModelProfile::d4PacketSize, 4102},
    {"LPT_D4RetryMode", &ModelProfile::d4RetryMode, 0},
    {"LPT_D4RetryTiming", &ModelProfile::d4RetryTiming, 50},
    {"LPT_UniversalDriver", &ModelProfile::universalDriver, 0},
    {"LPT_PortReadWriteWaitTime", &ModelProfile::portReadWriteWaitTime, 5000},
    {"LPT_ReadTotalTimeOut", &ModelProfile::readTotalTimeOut, 5000},
    {"LPT_ReadIntervalTimeOut", &ModelProfile::readIntervalTimeOut, 200},
    {"LPT_StopDLTDummyRead", &ModelProfile::stopDLTDummyRead, 0},
    {"LPT_ReadTotalTimeOutUSB", &ModelProfile::readTotalTimeOutUSB, 5000},
    {"LPT_ReadIntervalTimeOutUSB", &ModelProfile::readIntervalTimeOutUSB, 200},
    {"LPT_StopDLTDummyReadUSB", &ModelProfile::stopDLTDummyReadUSB, 0},
    {"LPT_TNDMDriver", &ModelProfile::tndmDriver, 0},
    {"LPT_UsePrintThread", &ModelProfile::usePrintThread, 0},
    {"LPT_ThreadMemorySize", &ModelProfile::threadMemorySize, 1048576},
    {"LPT_FlushTimer", &ModelProfile::flushTimer, 2000},
    {"LPT_VL1394D3PacketSize", &ModelProfile::vl1394D3PacketSize, 65536},
    {"LPT_MonitorPRIUp", &ModelProfile::monitorPRIUp, 0},
    {"LPT_DontSendStatusReplyCmd", &ModelProfile::dontSendStatusReplyCmd, 0},
    {"LPT_DataFlushCmdCheckInf", &ModelProfile::dataFlushCmdCheckInf, 0},
};

const ByteList kStartJob = {0,   0,   0,    0x1B, 0x01, '@', 'Q', 'P', 'L', ' ', '1', '2', '8', '4',
                            '.', '4', 0x0A, '@',  'Q',  'P', 'L', ' ', ' ', ' ', ' ', ' ', 0x0A};
const ByteList kEndJob = {'L', 'D', 0, 0, 'J', 'E', 1, 0, 0, 0x1B, 0, 0, 0};

class ModelProfileTest : public ::testing::Test {
 protected:
  ModelProfileTest() { far_side::reset(); }

  // The record of a printer whose profile has these lines in its section.
  ModelProfile load(const std::string& lines) { return load_file(section(lines)); }

  static std::string section(const std::string& lines) { return "[ProfileInf]\n" + lines + "\n"; }

  // A file of its own for each, since systems may keep what a file said.
  ModelProfile load_file(const std::string& content) {
    path_ = far_side::fresh_log_directory() + "model.lmd";
    far_side::write_file(path_, content);
    far_side::add_driver({.name = "model driver", .dependent_files = {path_}});
    far_side::add_printer({.name = "model", .driver = "model driver"});
    return LoadModelProfile("model");
  }

  static void expect_standard(const ModelProfile& profile) {
    EXPECT_EQ(1U, profile.loaded);
    for (const NumberKey& number : kNumbers) {
      EXPECT_EQ(number.standard, profile.*number.field) << number.key;
    }
    EXPECT_EQ(0U, profile.d4RetryMax);
    EXPECT_EQ(kStartJob, profile.startJobCmd);
    EXPECT_EQ(kEndJob, profile.endJobCmd);
    for (const std::string& maker : profile.oemMfg) EXPECT_EQ("", maker);
    expect_channels_end_at(profile, 0);
  }

  static void expect_channels_end_at(const ModelProfile& profile, std::size_t end) {
    ASSERT_EQ(11U, profile.channelKind.size());
    for (std::size_t slot = end; slot < 11; ++slot) {
      EXPECT_EQ(0U, profile.channelKind[slot]) << slot;
      EXPECT_EQ(0U, profile.channelMode[slot]) << slot;
      EXPECT_TRUE(profile.channelStatusCmd[slot].empty()) << slot;
    }
  }

  std::string path_;
};

TEST_F(ModelProfileTest, APrinterThatIsNotThereHasTheDefaults) {
  expect_standard(LoadModelProfile("nobody"));
  expect_standard(LoadModelProfile(nullptr));
}

TEST_F(ModelProfileTest, ADriverWithoutAProfileHasTheDefaults) {
  far_side::add_driver({.name = "bare driver"});
  far_side::add_printer({.name = "bare", .driver = "bare driver"});
  expect_standard(LoadModelProfile("bare"));
}

TEST_F(ModelProfileTest, AProfileThatIsNotThereOrSaysNothingHasTheDefaults) {
  expect_standard(load(""));
  expect_standard(load_file(""));
  far_side::remove_file(path_);
  expect_standard(LoadModelProfile("model"));
}

TEST_F(ModelProfileTest, TheStartAndEndOfAJobHave27And13Bytes) {
  const ModelProfile profile = load("");
  EXPECT_EQ(27U, profile.startJobCmd.size());
  EXPECT_EQ(13U, profile.endJobCmd.size());
}

TEST_F(ModelProfileTest, EachNumberIsReadFromItsKey) {
  for (const NumberKey& number : kNumbers) {
    const ModelProfile profile = load(std::string(number.key) + "=4711");
    for (const NumberKey& other : kNumbers) {
      std::uint32_t expected = number.field == other.field ? 4711 : other.standard;
      if (number.field == &ModelProfile::d4RetryMode &&
          other.field == &ModelProfile::d4RetryTiming) {
        expected = 4;
      }
      if (number.field == &ModelProfile::readTotalTimeOut &&
          other.field == &ModelProfile::readTotalTimeOutUSB) {
        expected = 4711;
      }
      if (number.field == &ModelProfile::readIntervalTimeOut &&
          other.field == &ModelProfile::readIntervalTimeOutUSB) {
        expected = 4711;
      }
      if (number.field == &ModelProfile::stopDLTDummyRead &&
          other.field == &ModelProfile::stopDLTDummyReadUSB) {
        expected = 4711;
      }
      EXPECT_EQ(expected, profile.*other.field) << number.key << " and " << other.key;
    }
    EXPECT_EQ(1U, profile.loaded) << number.key;
  }
}

TEST_F(ModelProfileTest, NumbersStandAsTheSystemReadsThem) {
  EXPECT_EQ(0xFFFFFFFFU, load("LPT_RcvDatBuffSize=-1").rcvDatBuffSize);
  EXPECT_EQ(0xFFFFFFFFU, load("LPT_RcvDatBuffSize=4294967295").rcvDatBuffSize);
  EXPECT_EQ(0x10000005U, load("LPT_RcvDatBuffSize=0x10000005").rcvDatBuffSize);
  EXPECT_EQ(0U, load("LPT_RcvDatBuffSize=no number").rcvDatBuffSize);
  EXPECT_EQ(12U, load("LPT_RcvDatBuffSize=12 ; comment").rcvDatBuffSize);
  EXPECT_EQ(2048U, load("LPT_RcvDatBuffSize=").rcvDatBuffSize);
}

TEST_F(ModelProfileTest, OnlyTheOneSectionIsRead) {
  const ModelProfile profile = load_file(
      "LPT_FlushTimer=1\n[Other]\nLPT_StatusLength=2\nLPT_Channel00=3\n"
      "[ProfileInf]\nLPT_TNDMDriver=4\n[Behind]\nLPT_D4AIDMode=5\nLPT_OEMMFG00=X\n");
  EXPECT_EQ(4U, profile.tndmDriver);
  EXPECT_EQ(2000U, profile.flushTimer);
  EXPECT_EQ(2048U, profile.statusLength);
  EXPECT_EQ(0U, profile.d4AIDMode);
  EXPECT_EQ("", profile.oemMfg[0]);
  expect_channels_end_at(profile, 0);
}

TEST_F(ModelProfileTest, OneKeyHasABlankAndNoPrefix) {
  EXPECT_EQ(0U, load("DLT Enable=0").dltEnable);
  EXPECT_EQ(1U, load("LPT_DLTEnable=0\nDLTEnable=0\nLPT_DLT Enable=0").dltEnable);
}

TEST_F(ModelProfileTest, TheRecordStaysWhenTheFileChanges) {
  const ModelProfile profile = load("LPT_FlushTimer=1\nLPT_OEMMFG00=A\nLPT_StartJobCmd=1");
  far_side::write_file(path_, section("LPT_FlushTimer=2\nLPT_OEMMFG00=B\nLPT_StartJobCmd=2"));
  EXPECT_EQ(1U, profile.flushTimer);
  EXPECT_EQ("A", profile.oemMfg[0]);
  EXPECT_EQ(ByteList{1}, profile.startJobCmd);
}

// --- Retry ---------------------------------------------------------------------------------

TEST_F(ModelProfileTest, WithoutRetryItsMostIsNotRead) {
  for (const char* mode : {"LPT_D4RetryMode=0\n", ""}) {
    const ModelProfile profile = load(std::string(mode) + "LPT_D4RetryMax=9");
    EXPECT_EQ(0U, profile.d4RetryMode);
    EXPECT_EQ(0U, profile.d4RetryMax);
    EXPECT_EQ(50U, profile.d4RetryTiming);
  }
}

TEST_F(ModelProfileTest, WithRetryTheOtherDefaultsAreItsOwn) {
  for (const char* mode : {"1", "2", "-1"}) {
    const ModelProfile profile = load(std::string("LPT_D4RetryMode=") + mode);
    EXPECT_EQ(4U, profile.d4RetryTiming) << mode;
    EXPECT_EQ(25U, profile.d4RetryMax) << mode;
  }
}

TEST_F(ModelProfileTest, WhatTheFileSaysOfRetryStands) {
  const ModelProfile with = load("LPT_D4RetryMode=1\nLPT_D4RetryTiming=7\nLPT_D4RetryMax=8");
  EXPECT_EQ(7U, with.d4RetryTiming);
  EXPECT_EQ(8U, with.d4RetryMax);
  const ModelProfile without = load("LPT_D4RetryMode=0\nLPT_D4RetryTiming=7\nLPT_D4RetryMax=8");
  EXPECT_EQ(7U, without.d4RetryTiming);
  EXPECT_EQ(0U, without.d4RetryMax);
}

TEST_F(ModelProfileTest, TheOrderOfLinesDoesNotMatter) {
  const ModelProfile profile = load(
      "LPT_D4RetryMax=8\nLPT_ReadTotalTimeOutUSB=3\nLPT_D4RetryMode=1\nLPT_ReadTotalTimeOut=2");
  EXPECT_EQ(8U, profile.d4RetryMax);
  EXPECT_EQ(3U, profile.readTotalTimeOutUSB);
  EXPECT_EQ(2U, profile.readTotalTimeOut);
}

// --- Times of the USB port -----------------------------------------------------------------

TEST_F(ModelProfileTest, WhatIsNotSaidOfUsbIsAsForAnyPort) {
  const ModelProfile profile =
      load("LPT_ReadTotalTimeOut=7000\nLPT_ReadIntervalTimeOut=300\nLPT_StopDLTDummyRead=1");
  EXPECT_EQ(7000U, profile.readTotalTimeOutUSB);
  EXPECT_EQ(300U, profile.readIntervalTimeOutUSB);
  EXPECT_EQ(1U, profile.stopDLTDummyReadUSB);
}

TEST_F(ModelProfileTest, WhatIsSaidOfUsbStandsForUsbAlone) {
  const ModelProfile profile = load(
      "LPT_ReadTotalTimeOut=7000\nLPT_ReadIntervalTimeOut=300\nLPT_StopDLTDummyRead=1\n"
      "LPT_ReadTotalTimeOutUSB=8000\nLPT_ReadIntervalTimeOutUSB=0\nLPT_StopDLTDummyReadUSB=2");
  EXPECT_EQ(7000U, profile.readTotalTimeOut);
  EXPECT_EQ(300U, profile.readIntervalTimeOut);
  EXPECT_EQ(1U, profile.stopDLTDummyRead);
  EXPECT_EQ(8000U, profile.readTotalTimeOutUSB);
  EXPECT_EQ(0U, profile.readIntervalTimeOutUSB);
  EXPECT_EQ(2U, profile.stopDLTDummyReadUSB);
}

TEST_F(ModelProfileTest, ADefaultWithItsTopBitPassesToUsbUnchanged) {
  EXPECT_EQ(0xFFFFFFF0U, load("LPT_ReadTotalTimeOut=-16").readTotalTimeOutUSB);
}

// --- Universal driver ----------------------------------------------------------------------

TEST_F(ModelProfileTest, AUniversalDriverForcesLengthAndReading) {
  for (const char* value : {"1", "2", "-1"}) {
    const ModelProfile profile =
        load(std::string("DLT Enable=0\nLPT_StatusLength=64\nLPT_UniversalDriver=") + value);
    EXPECT_EQ(1U, profile.dltEnable) << value;
    EXPECT_EQ(2048U, profile.statusLength) << value;
    EXPECT_NE(0U, profile.universalDriver) << value;
  }
}

TEST_F(ModelProfileTest, AnOrdinaryDriverKeepsWhatTheFileSays) {
  const ModelProfile profile = load("DLT Enable=0\nLPT_StatusLength=64\nLPT_UniversalDriver=0");
  EXPECT_EQ(0U, profile.dltEnable);
  EXPECT_EQ(64U, profile.statusLength);
}

// --- Job commands --------------------------------------------------------------------------

TEST_F(ModelProfileTest, JobCommandsAreReadAndEmptyOnesAreTheDefault) {
  const ModelProfile profile = load("LPT_StartJobCmd=1b,40\nLPT_EndJobCmd=0,ff,");
  EXPECT_EQ((ByteList{0x1B, 0x40}), profile.startJobCmd);
  EXPECT_EQ((ByteList{0x00, 0xFF, 0x00}), profile.endJobCmd);
  const ModelProfile empty = load("LPT_StartJobCmd=\nLPT_EndJobCmd=");
  EXPECT_EQ(kStartJob, empty.startJobCmd);
  EXPECT_EQ(kEndJob, empty.endJobCmd);
}

// --- Channels ------------------------------------------------------------------------------

TEST_F(ModelProfileTest, AChannelHasKindModeAndStatusCommand) {
  const ModelProfile profile = load(
      "LPT_Channel00=0x10010003\nLPT_ChnlMode00=0x12345\nLPT_ChnlStsCmd00=1b,4\n"
      "LPT_Channel01=268435461");
  EXPECT_EQ(0x10010003U, profile.channelKind[0]);
  EXPECT_EQ(0x12345U, profile.channelMode[0]);
  EXPECT_EQ((ByteList{0x1B, 0x04}), profile.channelStatusCmd[0]);
  EXPECT_EQ(0x10000005U, profile.channelKind[1]);
  EXPECT_EQ(0U, profile.channelMode[1]);
  EXPECT_TRUE(profile.channelStatusCmd[1].empty());
  expect_channels_end_at(profile, 2);
}

TEST_F(ModelProfileTest, TheListEndsAtTheFirstMissingChannel) {
  for (const char* second : {"", "LPT_Channel01=0\n", "LPT_Channel01=\n", "LPT_Channel01=x\n"}) {
    const ModelProfile profile = load(std::string("LPT_Channel00=1\n") + second +
                                      "LPT_ChnlMode01=5\nLPT_ChnlStsCmd01=1\n"
                                      "LPT_Channel02=3\nLPT_ChnlMode02=6\nLPT_ChnlStsCmd02=2");
    EXPECT_EQ(1U, profile.channelKind[0]);
    expect_channels_end_at(profile, 1);
  }
}

TEST_F(ModelProfileTest, TenChannelsAreReadAndTheEleventhSlotStaysEmpty) {
  std::string lines;
  for (int n = 0; n < 11; ++n) {
    const std::string suffix = {static_cast<char>('0' + n / 10), static_cast<char>('0' + n % 10)};
    const std::string number = std::to_string(n + 1);
    lines += "LPT_Channel" + suffix + "=" + number + "\nLPT_ChnlMode" + suffix + "=" + number +
             "\nLPT_ChnlStsCmd" + suffix + "=" + suffix + "\n";
  }
  const ModelProfile profile = load(lines);
  for (std::uint32_t n = 0; n < 10; ++n) {
    EXPECT_EQ(n + 1, profile.channelKind[n]);
    EXPECT_EQ(n + 1, profile.channelMode[n]);
    EXPECT_EQ(ByteList{static_cast<std::uint8_t>(n)}, profile.channelStatusCmd[n]);
  }
  expect_channels_end_at(profile, 10);
}

TEST_F(ModelProfileTest, KeysWithOneDigitAreNoChannels) {
  expect_channels_end_at(load("LPT_Channel0=1\nLPT_Channel=1"), 0);
}

// --- Makers --------------------------------------------------------------------------------

TEST_F(ModelProfileTest, MakersAreReadUpToTheFirstMissingOne) {
  const ModelProfile all = load(
      "LPT_OEMMFG00=A\nLPT_OEMMFG01=B b\nLPT_OEMMFG02=C\nLPT_OEMMFG03=D\nLPT_OEMMFG04=E\n"
      "LPT_OEMMFG05=F");
  EXPECT_EQ((std::array<std::string, 5>{"A", "B b", "C", "D", "E"}), all.oemMfg);
  const ModelProfile gap = load("LPT_OEMMFG00=A\nLPT_OEMMFG02=C");
  EXPECT_EQ((std::array<std::string, 5>{"A", "", "", "", ""}), gap.oemMfg);
  const ModelProfile empty = load("LPT_OEMMFG00=A\nLPT_OEMMFG01=\nLPT_OEMMFG02=C");
  EXPECT_EQ((std::array<std::string, 5>{"A", "", "", "", ""}), empty.oemMfg);
}

TEST_F(ModelProfileTest, AMakerIsCutAt259Bytes) {
  const std::string long_name(300, 'm');
  EXPECT_EQ(long_name.substr(0, 259), load("LPT_OEMMFG00=" + long_name).oemMfg[0]);
  EXPECT_EQ(long_name.substr(0, 259), load("LPT_OEMMFG00=" + long_name.substr(0, 259)).oemMfg[0]);
}

}  // namespace
