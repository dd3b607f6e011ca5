#pragma once

// The channels of one printer, as profile and device ID together decide them.

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "include/vlpbidi.h"
#include "support/gen_vl_settings.h"
#include "support/published.h"

namespace vlp {

inline constexpr std::uint32_t kMaxConnectEntries = 11;

struct ChannelRecord {
  ChannelKind kind = 0;
  std::uint32_t mode = 0;               // low 16 bits only
  std::vector<std::uint8_t> statusCmd;  // may be empty
};

struct ConnectRecords {
  std::array<ChannelRecord, kMaxConnectEntries> records;
  std::uint32_t count = 0;        // valid records, packed from the front
  std::uint32_t vendorClass = 0;  // 1: the device ID lists "GENVL"
  GenVlSettings genVlSettings;    // all zero unless vendorClass is 1

  // The first record of this kind, or null.
  const ChannelRecord* Find(ChannelKind kind) const;
};

// One per printer, at a fixed address. Its contents are replaced as a whole, so a
// reader works on one consistent set for as long as it holds the snapshot.
class ConnectInfo {
 public:
  ConnectInfo() : records_(std::make_shared<const ConnectRecords>()) {}

  // Never null.
  std::shared_ptr<const ConnectRecords> Get() const { return records_.Get(); }
  void Publish(std::shared_ptr<const ConnectRecords> next) { records_.Set(std::move(next)); }

 private:
  Published<ConnectRecords> records_;
};

}  // namespace vlp
