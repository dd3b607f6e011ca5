#include "fuzz/d4_device_port.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>

#include "fuzz/d4_calls.h"
#include "platform/kernel/scenario.h"

namespace fuzz {
namespace {

using platform::elapsed_ms;
using simulator::D4Transfer;

constexpr DWORD kRemovedError = ERROR_DEVICE_NOT_CONNECTED;

// A host may end the link for a header alone. The device judges whole packets.
bool IsBadHeader(simulator::View begun) {
  constexpr std::size_t kLongestControl = 64;
  const auto header = simulator::d4::header_of(begun);
  if (!header) return false;
  return header->primary != header->secondary ||
         (header->primary == 0 && header->length > kLongestControl);
}

}  // namespace

// One at a time, and not for ever.
class DevicePort::Transfer {
 public:
  explicit Transfer(DevicePort& port) : port_(port) {
    claim(++port_.calls_ <= kMostPortCalls, "a loop of port calls");
    claim(!port_.inside_, "two transfers at once");
    port_.inside_ = true;
  }
  ~Transfer() { port_.inside_ = false; }
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

 private:
  DevicePort& port_;
};

DevicePort::DevicePort(simulator::D4Options options, const DevicePortPlan& plan)
    : plan_(plan), device_(std::move(options)) {
  ops_.keepPriority = plan.keepPriority ? 1 : 0;
  ops_.skipDummyRead = plan.skipsDummyRead ? 1 : 0;
  ops_.write = [](vlp::XdltPortHandle port, const std::uint8_t* bytes, std::uint32_t count,
                  std::uint32_t* written) { return Of(port).Write(bytes, count, written); };
  ops_.read = [](vlp::XdltPortHandle port, std::uint8_t* buffer, std::uint32_t capacity,
                 std::uint32_t* got) { return Of(port).Read(buffer, capacity, got); };
}

// Until the device may have something to do; false if the transfer has lasted too long.
bool DevicePort::WaitForDevice(std::uint64_t began_ms) const {
  const std::uint64_t now = elapsed_ms();
  const std::uint64_t end = began_ms + plan_.patienceMs;
  if (now >= end) return false;
  const std::uint64_t due = std::max(device_.next_due().value_or(end), now + 1);
  Sleep(static_cast<DWORD>(std::min(due, end) - now));
  return true;
}

// As slow as a read without bytes, for the engine tries again and again.
std::uint32_t DevicePort::Fail() const {
  Sleep(kEmptyReadMs);
  SetLastError(kRemovedError);
  return 0;
}

std::uint32_t DevicePort::Write(const std::uint8_t* bytes, std::uint32_t count,
                                std::uint32_t* written) {
  const Transfer transfer(*this);
  claim(bytes != nullptr && written != nullptr && count != 0, "a write of nothing");
  const std::uint64_t began = elapsed_ms();
  simulator::D4Written done = device_.write({bytes, count}, began);
  while (done.how == D4Transfer::pending && WaitForDevice(began)) {
    done = device_.write({bytes, count}, elapsed_ms());
  }
  *written = static_cast<std::uint32_t>(done.count);
  JudgeWrite({bytes, count}, done.count);
  return done.how == D4Transfer::done ? 1 : Fail();
}

std::uint32_t DevicePort::Read(std::uint8_t* buffer, std::uint32_t capacity, std::uint32_t* got) {
  const Transfer transfer(*this);
  claim(buffer != nullptr && got != nullptr && capacity != 0, "a read of nothing");
  const std::uint64_t began = elapsed_ms();
  simulator::D4Taken taken = device_.take(began, capacity);
  while (taken.how == D4Transfer::pending && WaitForDevice(began)) {
    taken = device_.take(elapsed_ms(), capacity);
  }
  if (taken.how == D4Transfer::gone) return Fail();
  std::copy(taken.bytes.begin(), taken.bytes.end(), buffer);
  NoteDelivered(taken.bytes, taken.how == D4Transfer::pending);
  if (!taken.bytes.empty() || plan_.storesZero) {
    *got = static_cast<std::uint32_t>(taken.bytes.size());
  }
  return 1;
}

// A host waits for the rest of a body, but not for that of a header. The device doesn't know that
// its transfer came to an end.
void DevicePort::NoteDelivered(simulator::View bytes, bool gaveUp) {
  const std::size_t begun = delivered_.pending().size();
  if (gaveUp && begun > 0 && begun < simulator::d4::header_size) badStream_ = true;
  if (!bytes.empty()) deliveredMs_ = elapsed_ms();
  delivered_.feed(bytes);
  while (delivered_.next()) {
  }
  if (IsBadHeader(delivered_.pending())) badStream_ = true;
}

// Where the device itself, or this port, left the host no way to keep the rule.
bool DevicePort::IsExcused(const std::string& breach) const {
  // A part of a packet was taken, or no more than one is delivered: the streams aren't packets.
  if (tookPart_ || badStream_) return true;
  // An Error is read when the host next waits for something, so it may have said more by then; and
  // the engine closes what is open all the same.
  if (breach.find("after the device's Error") != std::string::npos) return true;
  // A host that gives up a reply answers no more, but a read that began before may still bring it
  // something. This one is found when all is over.
  const std::string missing = simulator::name_of(simulator::D4Rule::answer_missing);
  return breach.starts_with(missing) && elapsed_ms() - deliveredMs_ <= kLongestTransferMs;
}

void DevicePort::Judge() {
  for (; judged_ < device_.breaches().size(); ++judged_) {
    if (IsExcused(device_.breaches()[judged_])) continue;
    std::fprintf(stderr, "%s", device_.report().c_str());
    claim(false, "the device finds the host at fault");
  }
}

// From a new entry string on all is new, but with it the device also tells what was before.
void DevicePort::JudgeWrite(simulator::View bytes, std::size_t taken) {
  const bool begins =
      simulator::match_front(bytes, simulator::d4::entry_string()) == simulator::Match::whole;
  if (taken < bytes.size()) tookPart_ = true;
  Judge();
  if (!begins || taken < bytes.size()) return;
  tookPart_ = badStream_ = false;
  delivered_.clear();
}

void DevicePort::ClaimNothingOwed() {
  device_.check_end(elapsed_ms());
  Judge();
}

}  // namespace fuzz
