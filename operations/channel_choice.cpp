#include "operations/channel_choice.h"

#include <windows.h>

#include "include/vlpbidi.h"
#include "operations/command_list.h"
#include "support/text.h"

namespace vlp {
namespace {

constexpr std::string_view kFireWirePort = "VL1394D3_";

bool KeepsD4(const PrinterFacts& facts, bool vendor_class) {
  if (vendor_class || BeginsInAnyCase(facts.port, kFireWirePort)) return true;
  if (CmdListHas(facts.device_id, "END4")) return false;
  return CmdListHas(facts.device_id, "D4");
}

bool KeepsChannel(ChannelKind kind, const PrinterFacts& facts, bool vendor_class) {
  switch (kind) {
    case ChnlKindD4:
      return KeepsD4(facts, vendor_class);
    case ChnlKindZrdPages:
      return CmdListHas(facts.device_id, "ZRDPAGES-01") ||
             CmdListHas(facts.device_id, "ZRDPAGES-02");
    case ChnlKindQpl:
      return CmdListHas(facts.device_id, "QPL");
    case ChnlKindBdc:
      return CmdListHas(facts.device_id, "BDC");
    case ChnlKindEnd4:
      return !vendor_class && CmdListHas(facts.device_id, "END4");
    case ChnlKindLabel:
      return CmdListHas(facts.device_id, "ZRDLABEL");
    default:
      return true;
  }
}

std::uint32_t ModeOf(ChannelKind kind, std::uint32_t profile_mode, bool shared_vendor_class) {
  const std::uint32_t mode = profile_mode & 0xFFFF;
  return shared_vendor_class && kind == ChnlKindD4 ? mode | VLP_MODE_SHARED : mode;
}

GenVlSettings SettingsOf(const ModelProfile& profile) {
  GenVlSettings settings;
  settings.d4RetryMode = profile.d4RetryMode;
  settings.d4RetryTiming = profile.d4RetryTiming;
  settings.d4RetryMax = profile.d4RetryMax;
  settings.packetRcvMaxTime = profile.packetRcvMaxTime;
  settings.statusNoChkTime = profile.statusNoChkTime;
  return settings;
}

// With both, status goes by the BDC channel alone.
void LeaveStatusToBdc(ConnectRecords& channels) {
  if (channels.Find(ChnlKindBdc) == nullptr) return;
  for (std::uint32_t index = 0; index < channels.count; ++index) {
    ChannelRecord& record = channels.records[index];
    if (record.kind != ChnlKindQpl) continue;
    record.mode &= ~VLP_MODE_STATUS;
    return;
  }
}

}  // namespace

std::shared_ptr<const ConnectRecords> ChooseChannels(const ModelProfile& profile,
                                                     const PrinterFacts& facts) {
  const auto channels = std::make_shared<ConnectRecords>();
  const bool vendor_class = CmdListHas(facts.device_id, "GENVL");
  channels->vendorClass = vendor_class ? 1 : 0;
  if (vendor_class) channels->genVlSettings = SettingsOf(profile);
  for (std::size_t slot = 0; slot < kProfileChannels; ++slot) {
    const ChannelKind kind = profile.channelKind[slot];
    if (kind == 0) break;
    if (!KeepsChannel(kind, facts, vendor_class)) continue;
    ChannelRecord& record = channels->records[channels->count++];
    record.kind = kind;
    record.mode = ModeOf(kind, profile.channelMode[slot], facts.shared && vendor_class);
    record.statusCmd = profile.channelStatusCmd[slot];
  }
  LeaveStatusToBdc(*channels);
  return channels;
}

}  // namespace vlp
