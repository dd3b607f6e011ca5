#pragma once

// Takes the bytes that come back from a printer apart: the reply to a command, the status
// items that the printer put in wherever it was, and the answer to the request that the
// command's envelope ended with.

#include <cstdint>

#include "diag/dbg_log.h"
#include "include/vlpbidi.h"
#include "support/connect_info.h"

namespace vlp {

// One per printer. Holds nothing of its own and takes no lock; what it works on is the
// caller's.
class CSepareteData {
 public:
  // Neither is owned. The log may be null.
  CSepareteData(const ConnectInfo* connectInfo, DbgLog* log)
      : m_pConnectInfo(connectInfo), m_pLog(log) {}

  // The reply alone, into `output`; `*outputLength` is its room and comes back as the
  // number of bytes, 0 for a command without a reply of its own. `data` is changed in
  // place. VLPER_PARAM for kind 0 and for no data; VLPER_SEND if the channel isn't the
  // printer's, the reply doesn't fit or there was none at all.
  std::int32_t SepareteRecvData(ChannelKind kind, std::uint8_t* data, std::uint32_t length,
                                std::uint8_t* output, std::uint32_t* outputLength);

  // The first status item, whole. VLPER_PARAM for kind 0 and for no data; VLPER_SEND if
  // there is no whole item or it doesn't fit.
  std::int32_t CutStatus(ChannelKind kind, const std::uint8_t* data, std::uint32_t length,
                         std::uint8_t* output, std::uint32_t* outputLength);

 private:
  const ConnectInfo* m_pConnectInfo;
  DbgLog* m_pLog;
};

}  // namespace vlp
