#include "fuzz/channels.h"

#include "language/byte_strings.h"

namespace fuzz {
namespace {

void Add(vlp::ConnectRecords& channels, ChannelKind kind, std::uint32_t mode) {
  vlp::ChannelRecord& record = channels.records[channels.count++];
  record.kind = kind;
  record.mode = mode;
}

}  // namespace

std::shared_ptr<const vlp::ConnectRecords> MakeChannels(std::uint8_t choice) {
  auto channels = std::make_shared<vlp::ConnectRecords>();
  if ((choice & 0x01) == 0) {
    const bool reports = (choice & 0x02) == 0;
    Add(*channels, ChnlKindBdc, reports ? 7 : 3);
    if ((choice & 0x04) == 0) {
      std::vector<std::uint8_t>& command = channels->records[0].statusCmd;
      command.assign(vlp::kStatusFormMarker.begin(), vlp::kStatusFormMarker.end());
      command.push_back(vlp::kStatusFormBinary);
    }
  }
  if ((choice & 0x08) == 0) Add(*channels, ChnlKindQpl, 7);
  if ((choice & 0x10) == 0) Add(*channels, ChnlKindZrdPage, 7);
  if ((choice & 0x20) == 0) Add(*channels, ChnlKindLabel, 7);
  if ((choice & 0x40) == 0) Add(*channels, ChnlKindEnd4, 7);
  if ((choice & 0x80) != 0) Add(*channels, ChnlKindD4, 7);
  channels->vendorClass = (choice & 0xC0) == 0xC0 ? 1 : 0;
  return channels;
}

}  // namespace fuzz
