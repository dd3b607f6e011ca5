// The input is a device ID, laid over a profile that lists every channel.

#include <algorithm>
#include <string_view>

#include "fuzz/channels.h"
#include "fuzz/targets.h"
#include "operations/channel_choice.h"
#include "operations/command_list.h"

namespace fuzz {

void device_id(Input input) {
  constexpr std::string_view keywords[] = {"QPL",      "BDC",         "D4",          "END4",
                                           "ZRDLABEL", "ZRDPAGES-01", "ZRDPAGES-02", "GENVL"};
  for (const std::string_view keyword : keywords) {
    if (!vlp::CmdListHas(input, keyword)) continue;
    claim(std::search(input.begin(), input.end(), keyword.begin(), keyword.end()) != input.end(),
          "a keyword that isn't there");
  }
  vlp::ModelProfile profile;
  std::size_t slot = 0;
  for (const ChannelKind kind : kKinds) {
    if (kind == 0) break;
    profile.channelKind[slot] = kind;
    profile.channelMode[slot++] = 7;
  }
  vlp::PrinterFacts facts;
  facts.device_id = input;
  facts.port = "USB001";
  const auto channels = vlp::ChooseChannels(profile, facts);
  claim(channels->count <= slot, "more channels than the profile lists");
  claim(channels->vendorClass == (vlp::CmdListHas(input, "GENVL") ? 1U : 0U),
        "a vendor class that the device ID doesn't tell of");
}

}  // namespace fuzz
