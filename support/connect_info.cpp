#include "support/connect_info.h"

namespace vlp {

const ChannelRecord* ConnectRecords::Find(ChannelKind kind) const {
  for (std::uint32_t index = 0; index < count; ++index) {
    if (records[index].kind == kind) return &records[index];
  }
  return nullptr;
}

}  // namespace vlp
