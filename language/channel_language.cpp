#include "language/channel_language.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "language/byte_strings.h"

namespace vlp {
namespace {

struct Envelope {
  Bytes before;
  Bytes after;
};

template <std::size_t First, std::size_t Second>
constexpr std::array<std::uint8_t, First + Second> Join(
    const std::array<std::uint8_t, First>& first, const std::array<std::uint8_t, Second>& second) {
  std::array<std::uint8_t, First + Second> both{};
  std::copy(first.begin(), first.end(), both.begin());
  std::copy(second.begin(), second.end(), both.begin() + First);
  return both;
}

constexpr auto kQplEnd = Join(kQplIdentity, kJobEscape);
constexpr auto kBdcEnd = Join(kRemoteStatus, kRemoteLeave);

static_assert(kJobEscape.size() + kQplEnd.size() == 13);
static_assert(kRemoteEnter.size() + kBdcEnd.size() == 26);
static_assert(kPageEnter.size() + kPageProbe.size() == 35);

// Bytes of the record of a reply's end: five lengths behind the format, and the last byte.
constexpr std::size_t kFixedSize = 6 * 4 + 1;
static_assert(kFixedSize + 1 + kQplIdentity.size() + kQplIdentity.size() == 44);
static_assert(kFixedSize + kRemoteStatus.size() + kBdcProbeHead.size() == 42);
static_assert(kFixedSize + kBdcStatus2Head.size() + kRemoteStatus.size() + kBdcProbeHead.size() ==
              52);
static_assert(kFixedSize + kPageProbe.size() + kPageProbeHead.size() + kJobEscape.size() == 53);

Envelope EnvelopeOf(ChannelKind kind) {
  switch (kind) {
    case ChnlKindQpl:
      return {kJobEscape, kQplEnd};
    case ChnlKindBdc:
      return {kRemoteEnter, kBdcEnd};
    case ChnlKindZrdPage:
      return {kPageEnter, kPageProbe};
    default:
      return {};
  }
}

// How a reply ends, as the far side is told. Its head is that of ProbeForm.
struct ReplyEnd {
  Bytes status_end;
  Bytes status2_head;
  Bytes probe;
  Bytes trailer;
};

constexpr std::array<std::uint8_t, 1> kQplStatusEnd = {kLineFeed};
constexpr std::uint32_t kTerminateFormat = 1;

ReplyEnd ReplyEndOf(const ConnectRecords& channels, ChannelKind kind) {
  switch (kind) {
    case ChnlKindQpl:
      return {kQplStatusEnd, {}, kQplIdentity, {}};
    case ChnlKindBdc:
      return {
          {}, IsSt2Capable(channels, kind) ? Bytes(kBdcStatus2Head) : Bytes(), kRemoteStatus, {}};
    case ChnlKindZrdPage:
      return {{}, {}, kPageProbe, kJobEscape};
    default:
      return {};
  }
}

void AppendLength(std::vector<std::uint8_t>& to, Bytes bytes) {
  AppendLittle32(to, static_cast<std::uint32_t>(bytes.size()));
}

}  // namespace

std::vector<std::uint8_t> WrapCommand(ChannelKind kind, Bytes command, bool through) {
  const Envelope envelope = through ? Envelope{} : EnvelopeOf(kind);
  std::vector<std::uint8_t> wrapped;
  wrapped.reserve(envelope.before.size() + command.size() + envelope.after.size());
  AppendBytes(wrapped, envelope.before);
  AppendBytes(wrapped, command);
  AppendBytes(wrapped, envelope.after);
  return wrapped;
}

std::uint32_t WrappedLength(ChannelKind kind, std::uint32_t length, bool through) {
  const Envelope envelope = through ? Envelope{} : EnvelopeOf(kind);
  const std::uint64_t whole =
      std::uint64_t{length} + envelope.before.size() + envelope.after.size();
  return whole <= UINT32_MAX ? static_cast<std::uint32_t>(whole) : 0;
}

ItemForm StatusForm(const ConnectRecords& channels, ChannelKind kind) {
  switch (kind) {
    case ChnlKindQpl:
    case ChnlKindZrdPage:
      return {kQplStatusHead, kLineFeed, false};
    case ChnlKindBdc:
      if (IsSt2Capable(channels, kind)) return {kBdcStatus2Head, 0, true};
      return {kBdcStatusHead, kFormFeed, false};
    default:
      return {};
  }
}

ItemForm ProbeForm(ChannelKind kind) {
  switch (kind) {
    case ChnlKindQpl:
      return {kQplIdentity, kFormFeed, false};
    case ChnlKindBdc:
      return {kBdcProbeHead, kFormFeed, false};
    case ChnlKindZrdPage:
      return {kPageProbeHead, kLineFeed, false};
    default:
      return {};
  }
}

bool IsSt2Capable(const ConnectRecords& channels, ChannelKind kind) {
  const ChannelRecord* const record = channels.Find(kind);
  if (record == nullptr) return false;
  const Bytes command = record->statusCmd;
  for (std::size_t at = 0; at < command.size(); ++at) {
    if (command[at] != kStatusFormMarker[0]) continue;
    const Bytes rest = command.subspan(at);
    if (rest.size() < kStatusFormMarker.size()) return false;
    if (std::memcmp(rest.data(), kStatusFormMarker.data(), kStatusFormMarker.size()) != 0) continue;
    return rest.size() > kStatusFormMarker.size() &&
           rest[kStatusFormMarker.size()] == kStatusFormBinary;
  }
  return false;
}

ChannelKind ResolveStatusKind(const ConnectRecords& channels, ChannelKind kind) {
  if (channels.vendorClass != 0) return ChnlKindBdc;
  if (kind == ChnlKindBdc && channels.Find(ChnlKindD4) != nullptr) return ChnlKindD4;
  return kind;
}

std::vector<std::uint8_t> BuildTerminateInf(const ConnectRecords& channels, ChannelKind kind,
                                            bool through) {
  const ItemForm probe_reply = ProbeForm(kind);
  if (through || probe_reply.head.empty()) return {};
  const ReplyEnd end = ReplyEndOf(channels, kind);
  const Bytes fields[] = {end.status_end, end.status2_head, end.probe, probe_reply.head,
                          end.trailer};
  std::vector<std::uint8_t> record;
  AppendLittle32(record, kTerminateFormat);
  for (const Bytes field : fields) AppendLength(record, field);
  record.push_back(probe_reply.terminator);
  for (const Bytes field : fields) AppendBytes(record, field);
  return record;
}

}  // namespace vlp
