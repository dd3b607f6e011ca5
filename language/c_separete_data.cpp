#include "language/c_separete_data.h"

#include <cstring>
#include <memory>
#include <optional>
#include <span>

#include "language/byte_search.h"
#include "language/status_item.h"

namespace vlp {
namespace {

// Items among job-language replies are those of the BDC channel where it reports status.
ChannelKind StripKind(const ConnectRecords& channels, ChannelKind kind) {
  if (kind != ChnlKindQpl) return kind;
  const ChannelRecord* const bdc = channels.Find(ChnlKindBdc);
  return bdc != nullptr && (bdc->mode & VLP_MODE_STATUS) != 0 ? ChnlKindBdc : kind;
}

std::span<std::uint8_t> StripStatus(const ConnectRecords& channels, ChannelKind kind,
                                    std::span<std::uint8_t> data) {
  const ChannelKind items = StripKind(channels, kind);
  if (channels.Find(items) == nullptr) return data;
  return data.first(StripStatusItems(StatusForm(channels, items), data));
}

std::int32_t CopyTo(Bytes data, std::uint8_t* output, std::uint32_t* outputLength) {
  if (output == nullptr || outputLength == nullptr || *outputLength < data.size()) {
    return VLPER_SEND;
  }
  std::memcpy(output, data.data(), data.size());
  *outputLength = static_cast<std::uint32_t>(data.size());
  return 0;
}

}  // namespace

std::int32_t CSepareteData::SepareteRecvData(ChannelKind kind, std::uint8_t* data,
                                             std::uint32_t length, std::uint8_t* output,
                                             std::uint32_t* outputLength) {
  if (kind == 0 || data == nullptr) return VLPER_PARAM;
  if (kind == ChnlKindLabel && length <= 1 && outputLength != nullptr) {
    *outputLength = 0;
    if (length == 0) return VLPER_SEND;
    DbgLogPut(m_pLog, kLogObjects, 0, "CSepareteData::SepareteRecvData - DummyReply was deleted");
    return 0;
  }
  if (length == 0) return VLPER_PARAM;

  const std::shared_ptr<const ConnectRecords> channels = m_pConnectInfo->Get();
  std::span<std::uint8_t> rest = StripStatus(*channels, kind, {data, length});
  if (channels->Find(kind) == nullptr) return VLPER_SEND;

  // The last answer is the one to the envelope's own request; earlier ones are replies.
  const ItemForm probe = ProbeForm(kind);
  const std::size_t answers = CountMatches(probe.head, rest);
  if (answers > 0) rest = rest.first(RemoveLastField(probe.head, probe.terminator, rest));
  if (!rest.empty()) return CopyTo(rest, output, outputLength);
  if (answers != 1 || outputLength == nullptr) return VLPER_SEND;
  *outputLength = 0;
  return 0;
}

std::int32_t CSepareteData::CutStatus(ChannelKind kind, const std::uint8_t* data,
                                      std::uint32_t length, std::uint8_t* output,
                                      std::uint32_t* outputLength) {
  if (kind == 0 || data == nullptr || length == 0) return VLPER_PARAM;
  const std::shared_ptr<const ConnectRecords> channels = m_pConnectInfo->Get();
  const ChannelKind resolved = ResolveStatusKind(*channels, kind);
  const std::optional<Bytes> item = FindStatusItem(StatusForm(*channels, resolved), {data, length});
  return item ? CopyTo(*item, output, outputLength) : VLPER_SEND;
}

}  // namespace vlp
