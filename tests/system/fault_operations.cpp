// The library and its operations as a life uses them: what each may give, and what it must
// have let go of.

#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "platform/faults.h"
#include "platform/kernel/scenario.h"
#include "tests/system/fault_life.h"
#include "tests/system/library.h"

namespace system_test {
namespace {

using far_side::Bytes;
using far_side::bytes_of;

const std::set<std::int32_t> kListedCodes = {
    VLPER_NOTSUPPORT, VLPER_NOTCONNECT, VLPER_NOCHANNEL, VLPER_BUFFERSIZE, VLPER_TERMINATE,
    VLPER_PARAM,      VLPER_MEMORY,     VLPER_SEND,      VLPER_BUSY,       VLPER_NOENTRY};

// Status goes by BDC where both have it.
const std::set<std::uint64_t> kEntries = {0x0000'0003'1001'0002, 0x0000'0007'1001'0003,
                                          0x0000'0003'1001'0008};

}  // namespace

void FaultLife::Load() {
  terminated_ = false;
  const platform::UnderTest tested;
  library_ = LoadLibraryA(LibraryFile());
  if (library_ == nullptr) return;
  const FARPROC address = GetProcAddress(library_, "VLPGetProviderInfo");
  VlpGetProviderInfoCall info = nullptr;
  std::memcpy(&info, &address, sizeof(info));
  const std::int32_t code = info != nullptr ? info(&table_) : VLPER_NOTSUPPORT;
  const platform::Exempt exempt;
  EXPECT_EQ(code == 0, table_ != nullptr);
  EXPECT_TRUE(code == 0 || code == VLPER_NOTSUPPORT) << code;
  EXPECT_FALSE(platform::any_lock_held());
}

void FaultLife::Unload() {
  table_ = nullptr;
  if (library_ == nullptr) return;
  {
    const platform::UnderTest tested;
    FreeLibrary(library_);
  }
  library_ = nullptr;
  ExpectNoLock();
  if (!armed_) ExpectUnloaded();
}

// A taker may be looking at the queue at this moment.
void FaultLife::ExpectNoLock() const {
  // A mutex that can't be given back is held, whatever its holder does.
  if (fault_.call == "ReleaseMutex") return;
  EXPECT_EQ(platform::locks_held_by(GetCurrentThreadId()), std::vector<std::string>{});
  EXPECT_TRUE(taker_ != nullptr || !platform::any_lock_held());
}

template <typename Call>
std::int32_t FaultLife::Tested(std::int32_t good, Call call) {
  const std::size_t batches = far_side::batches().size();
  std::int32_t code = 0;
  {
    const platform::UnderTest tested;
    code = call();
  }
  ExpectNoLock();
  EXPECT_LE(far_side::batches().size(), batches + 1) << "the printer was asked twice";
  if (code == good) return code;
  EXPECT_TRUE(armed_ && platform::faults_met() > 0) << "code " << code << " without a cause";
  EXPECT_TRUE(kListedCodes.contains(code) || (good > 0 && code > 0 && code < good))
      << "code " << code;
  return code;
}

std::int32_t FaultLife::Connect() {
  const std::string prefixed = "UFName:" + printer_;
  std::uint64_t entries[11] = {};
  char name[260] = {};
  const std::int32_t code = Tested(static_cast<std::int32_t>(kEntries.size()), [&] {
    return table_->GetConnectInf(prefixed.c_str(), name, entries);
  });
  EXPECT_EQ(std::string(name), code > 0 || code == VLPER_NOENTRY ? printer_ : std::string());
  ExpectEntries(code, entries);
  return code;
}

void FaultLife::ExpectEntries(std::int32_t count, const std::uint64_t* entries) const {
  std::set<std::uint64_t> seen;
  for (std::int32_t n = 0; n < count; ++n) seen.insert(entries[n]);
  EXPECT_EQ(static_cast<std::int32_t>(seen.size()), std::max(count, 0)) << "an entry twice";
  for (const std::uint64_t entry : seen) {
    // Of a profile that can't be read, modes may be missing.
    const bool hurt = armed_ && platform::faults_met() > 0 && scenario_.reads_profile;
    EXPECT_TRUE(hurt || kEntries.contains(entry)) << std::hex << entry;
  }
}

std::int32_t FaultLife::Name() {
  return Tested(VLPER_NOCHANNEL,
                [&] { return table_->GetStatus(1, printer_.c_str(), ChnlKindBdc); });
}

std::int32_t FaultLife::Ask(std::int32_t code, Bytes data, bool may_be_empty) {
  asked_.push_back({last_id_, code, std::move(data), may_be_empty});
  return code;
}

std::int32_t FaultLife::DeviceId() {
  ++last_id_;
  return Ask(Tested(0, [&] { return table_->GetDeviceID(last_id_, printer_.c_str()); }),
             bytes_of(kDeviceId));
}

std::int32_t FaultLife::Status(ChannelKind kind, const std::string& item) {
  ++last_id_;
  return Ask(Tested(0, [&] { return table_->GetStatus(last_id_, printer_.c_str(), kind); }),
             bytes_of(item));
}

std::int32_t FaultLife::Command(ChannelKind kind, const Bytes& command, const std::string& reply) {
  ++last_id_;
  const auto size = static_cast<std::uint32_t>(command.size());
  const std::int32_t code = Tested(static_cast<std::int32_t>(size), [&] {
    return table_->SendCommand(last_id_, printer_.c_str(), kind, command.data(), size);
  });
  EXPECT_TRUE(code < 0 || code == static_cast<std::int32_t>(size)) << code;
  return Ask(code, bytes_of(reply), armed_ && platform::faults_met() > 0);
}

std::int32_t FaultLife::Through(const Bytes& command) {
  ++last_id_;
  const auto size = static_cast<std::uint32_t>(command.size());
  const std::int32_t code = Tested(static_cast<std::int32_t>(size), [&] {
    return table_->SendThroughCommand(last_id_, printer_.c_str(), ChnlKindBdc, command.data(),
                                      size);
  });
  EXPECT_TRUE(code < 0 || code == static_cast<std::int32_t>(size)) << code;
  return Ask(code, {});
}

void FaultLife::Terminate() {
  {
    const platform::UnderTest tested;
    EXPECT_EQ(table_->Terminate(), 0);
  }
  terminated_ = true;
  // Whoever sits in the library leaves it, also if the signal was lost.
  Sleep(kTakerLooksMs);
  ExpectNoLock();
}

void FaultLife::StartTaker() {
  taker_ = std::make_unique<test::TestThread>("taker", [this] { Take(); });
  platform::settle();
}

void FaultLife::Take() {
  for (;;) {
    std::uint32_t id = 0;
    Bytes data(2048);
    auto size = static_cast<std::uint32_t>(data.size());
    std::int32_t code = 0;
    {
      const platform::UnderTest tested;
      code = table_->GetResult(&id, data.data(), &size);
    }
    if (code == VLPER_TERMINATE) return;
    ASSERT_GT(code, 0);
    data.resize(size);
    taken_.emplace(id, std::move(data));
  }
}

}  // namespace system_test
