#include "profile/model_profile.h"

#include <string_view>

#include "profile/profile_file.h"
#include "profile/profile_reader.h"

namespace vlp {
namespace {

constexpr std::size_t kChannelKeys = 10;
constexpr std::uint32_t kMakerLimit = 260;

constexpr std::string_view kStartJob{"\0\0\0\x1B\x01@QPL 1284.4\n@QPL     \n", 27};
constexpr std::string_view kEndJob{"LD\0\0JE\x01\0\0\x1B\0\0\0", 13};

ByteList Bytes(std::string_view text) { return {text.begin(), text.end()}; }

std::string Numbered(const char* key, std::size_t number) {
  std::string name(key);
  name += static_cast<char>('0' + number / 10);
  name += static_cast<char>('0' + number % 10);
  return name;
}

// Without the key the field stays as it is.
void ReadNumber(const ProfileReader& file, const char* key, std::uint32_t& field) {
  field = file.Integer(key, field);
}

void ReadChannels(const ProfileReader& file, ModelProfile& profile) {
  for (std::size_t n = 0; n < kChannelKeys; ++n) {
    const std::uint32_t kind = file.Integer(Numbered("LPT_Channel", n).c_str(), 0);
    if (kind == 0) return;
    profile.channelKind[n] = kind;
    profile.channelMode[n] = file.Integer(Numbered("LPT_ChnlMode", n).c_str(), 0);
    profile.channelStatusCmd[n] = file.ParseHexList(Numbered("LPT_ChnlStsCmd", n).c_str(), {});
  }
}

void ReadRetry(const ProfileReader& file, ModelProfile& profile) {
  profile.d4RetryMode = file.Integer("LPT_D4RetryMode", 0);
  const bool retries = profile.d4RetryMode != 0;
  profile.d4RetryTiming = file.Integer("LPT_D4RetryTiming", retries ? 4 : 50);
  profile.d4RetryMax = retries ? file.Integer("LPT_D4RetryMax", 25) : 0;
}

void ReadPortTimes(const ProfileReader& file, ModelProfile& profile) {
  ReadNumber(file, "LPT_PortReadWriteWaitTime", profile.portReadWriteWaitTime);
  ReadNumber(file, "LPT_ReadTotalTimeOut", profile.readTotalTimeOut);
  ReadNumber(file, "LPT_ReadIntervalTimeOut", profile.readIntervalTimeOut);
  ReadNumber(file, "LPT_StopDLTDummyRead", profile.stopDLTDummyRead);
  // What isn't said of USB is as for any port.
  profile.readTotalTimeOutUSB = file.Integer("LPT_ReadTotalTimeOutUSB", profile.readTotalTimeOut);
  profile.readIntervalTimeOutUSB =
      file.Integer("LPT_ReadIntervalTimeOutUSB", profile.readIntervalTimeOut);
  profile.stopDLTDummyReadUSB = file.Integer("LPT_StopDLTDummyReadUSB", profile.stopDLTDummyRead);
  ReadNumber(file, "LPT_TNDMDriver", profile.tndmDriver);
}

void ReadMakers(const ProfileReader& file, ModelProfile& profile) {
  for (std::size_t n = 0; n < kProfileMakers; ++n) {
    profile.oemMfg[n] = file.Text(Numbered("LPT_OEMMFG", n).c_str(), kMakerLimit);
    if (profile.oemMfg[n].empty()) return;
  }
}

void ReadFile(const ProfileReader& file, ModelProfile& profile) {
  ReadChannels(file, profile);
  ReadNumber(file, "LPT_StatusNoChkTime", profile.statusNoChkTime);
  ReadNumber(file, "LPT_DevIDNoChkTime", profile.devIDNoChkTime);
  ReadNumber(file, "LPT_StatusLength", profile.statusLength);
  ReadNumber(file, "LPT_PacketRcvMaxTime", profile.packetRcvMaxTime);
  ReadNumber(file, "LPT_RcvDatBuffSize", profile.rcvDatBuffSize);
  ReadNumber(file, "DLT Enable", profile.dltEnable);
  ReadNumber(file, "LPT_D4AIDMode", profile.d4AIDMode);
  ReadNumber(file, "LPT_D4PacketSize", profile.d4PacketSize);
  ReadRetry(file, profile);
  profile.startJobCmd = file.ParseHexList("LPT_StartJobCmd", profile.startJobCmd);
  profile.endJobCmd = file.ParseHexList("LPT_EndJobCmd", profile.endJobCmd);
  ReadPortTimes(file, profile);
  ReadMakers(file, profile);
  ReadNumber(file, "LPT_UsePrintThread", profile.usePrintThread);
  ReadNumber(file, "LPT_ThreadMemorySize", profile.threadMemorySize);
  ReadNumber(file, "LPT_FlushTimer", profile.flushTimer);
  ReadNumber(file, "LPT_VL1394D3PacketSize", profile.vl1394D3PacketSize);
  ReadNumber(file, "LPT_MonitorPRIUp", profile.monitorPRIUp);
  ReadNumber(file, "LPT_DontSendStatusReplyCmd", profile.dontSendStatusReplyCmd);
  ReadNumber(file, "LPT_DataFlushCmdCheckInf", profile.dataFlushCmdCheckInf);
  ReadNumber(file, "LPT_UniversalDriver", profile.universalDriver);
  if (profile.universalDriver != 0) {
    profile.statusLength = 2048;
    profile.dltEnable = 1;
  }
}

}  // namespace

ModelProfile LoadModelProfile(const char* printer_name) {
  ModelProfile profile;
  profile.startJobCmd = Bytes(kStartJob);
  profile.endJobCmd = Bytes(kEndJob);
  const std::string path = FindProfile(printer_name);
  if (!path.empty()) ReadFile(ProfileReader(path), profile);
  profile.loaded = 1;
  return profile;
}

}  // namespace vlp
