#include "tests/d4/device_port.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <utility>

#include "platform/faults.h"

namespace d4_test {
namespace {

using platform::elapsed_ms;
using simulator::D4Transfer;

// Empty reads within one virtual ms: more are a loop that passes no time.
constexpr unsigned kSpinLimit = 1000;

}  // namespace

DevicePort::DevicePort(simulator::D4Options options, std::string name)
    : name_(std::move(name)),
      news_(CreateEventA(nullptr, FALSE, FALSE, nullptr)),
      device_(std::move(options)) {
  ops_.keepPriority = 1;
  ops_.write = [](vlp::XdltPortHandle port, const std::uint8_t* bytes, std::uint32_t count,
                  std::uint32_t* written) {
    return reinterpret_cast<DevicePort*>(static_cast<std::uintptr_t>(port))
        ->write(bytes, count, written);
  };
  ops_.read = [](vlp::XdltPortHandle port, std::uint8_t* buffer, std::uint32_t capacity,
                 std::uint32_t* got) {
    return reinterpret_cast<DevicePort*>(static_cast<std::uintptr_t>(port))
        ->read(buffer, capacity, got);
  };
}

DevicePort::~DevicePort() { finish(); }

void DevicePort::remove() {
  with([](simulator::D4Device& device, std::uint64_t now) { device.unplug(now); });
}

void DevicePort::remove_at_ms(std::uint64_t ms) {
  with([ms](simulator::D4Device& device, std::uint64_t) {
    device.plan({.kind = simulator::D4Act::Kind::removal, .at_ms = ms});
  });
}

void DevicePort::empty_reads_store_zero(bool yes) {
  const vlp::LockGuard guard(lock_);
  stores_zero_ = yes;
}

void DevicePort::breach(const std::string& text) {
  breaches_.push_back(std::to_string(elapsed_ms()) + " ms: " + text);
}

// A fault that a test has armed for the engine may strike here; this must not fail.
void DevicePort::tell() {
  for (unsigned tries = 0; tries < 3 && SetEvent(news_.Get()) == FALSE; ++tries) {
  }
}

// Until the device has something to do, or somebody else has done something to it.
void DevicePort::wait_for_news() {
  DWORD wait = INFINITE;
  if (const auto due = device_.next_due()) {
    const std::uint64_t now = elapsed_ms();
    // A transfer that is held though something is due waits on in small steps.
    wait =
        static_cast<DWORD>(std::clamp<std::uint64_t>(*due > now ? *due - now : 1, 1, 86'400'000));
  }
  lock_.Leave();
  WaitForSingleObject(news_.Get(), wait);
  lock_.Enter();
}

std::size_t DevicePort::begin(std::vector<Transfer>& list, std::uint32_t asked) {
  if (inside_++ > 0) breach("a transfer began while another was inside");
  Transfer transfer;
  transfer.order = ++order_;
  transfer.began_ms = elapsed_ms();
  transfer.asked = asked;
  transfer.thread = GetCurrentThreadId();
  list.push_back(transfer);
  return list.size() - 1;
}

std::uint32_t DevicePort::end(Transfer& transfer, bool success, DWORD error) {
  --inside_;
  transfer.ended_ms = elapsed_ms();
  transfer.success = success;
  transfer.ended = true;
  if (inside_ > 0) tell();  // the event releases one only
  SetLastError(error);
  return success ? 1 : 0;
}

std::uint32_t DevicePort::write(const std::uint8_t* bytes, std::uint32_t count,
                                std::uint32_t* written) {
  const platform::Exempt exempt;
  const DWORD kept = GetLastError();
  const vlp::LockGuard guard(lock_);
  const std::size_t index = begin(writes_, count);
  if (bytes == nullptr || written == nullptr || count == 0) {
    breach("a write of nothing, or with a null pointer");
    return end(writes_[index], false, kPortError);
  }
  const Bytes out(bytes, bytes + count);
  writes_[index].bytes = out;
  simulator::D4Written done = device_.write(out, elapsed_ms());
  while (done.how == D4Transfer::pending) {
    wait_for_news();
    done = device_.write(out, elapsed_ms());
  }
  *written = writes_[index].moved = static_cast<std::uint32_t>(done.count);
  const bool success = done.how == D4Transfer::done;
  return end(writes_[index], success, success ? kept : kRemovedError);
}

std::uint32_t DevicePort::read(std::uint8_t* buffer, std::uint32_t capacity, std::uint32_t* got) {
  const platform::Exempt exempt;
  const DWORD kept = GetLastError();
  const vlp::LockGuard guard(lock_);
  const std::size_t index = begin(reads_, capacity);
  if (buffer == nullptr || got == nullptr || capacity == 0) {
    breach("a read of nothing, or with a null pointer");
    return end(reads_[index], false, kPortError);
  }
  simulator::D4Taken taken = device_.take(elapsed_ms(), capacity);
  while (taken.how == D4Transfer::pending) {
    wait_for_news();
    taken = device_.take(elapsed_ms(), capacity);
  }
  if (taken.how == D4Transfer::gone) return end(reads_[index], false, kRemovedError);
  std::copy(taken.bytes.begin(), taken.bytes.end(), buffer);
  if (taken.bytes.empty()) guard_against_spin();
  reads_[index].bytes = taken.bytes;
  reads_[index].moved = static_cast<std::uint32_t>(taken.bytes.size());
  if (!taken.bytes.empty() || stores_zero_) *got = reads_[index].moved;
  return end(reads_[index], true, kept);
}

void DevicePort::guard_against_spin() {
  if (spin_ms_ != elapsed_ms()) spin_reads_ = 0;
  spin_ms_ = elapsed_ms();
  if (++spin_reads_ <= kSpinLimit) return;
  if (!std::exchange(spin_told_, true)) {
    breach(std::to_string(kSpinLimit) + " empty reads at one moment");
  }
  lock_.Leave();
  Sleep(1);
  lock_.Enter();
}

std::vector<Transfer> DevicePort::writes() const {
  const vlp::LockGuard guard(lock_);
  return writes_;
}

std::vector<Transfer> DevicePort::reads() const {
  const vlp::LockGuard guard(lock_);
  return reads_;
}

std::string DevicePort::report() const {
  const vlp::LockGuard guard(lock_);
  return device_.report();
}

std::vector<std::string> DevicePort::all_breaches() {
  finished_ = true;
  device_.check_end(elapsed_ms());
  std::vector<std::string> all = breaches_;
  all.insert(all.end(), device_.breaches().begin(), device_.breaches().end());
  return all;
}

void DevicePort::finish() {
  const vlp::LockGuard guard(lock_);
  if (finished_) return;
  std::string lines;
  for (const std::string& breach : all_breaches()) lines += "  " + breach + "\n";
  if (!lines.empty()) {
    ADD_FAILURE() << name_ << ":\n" << lines << "in all:\n" << device_.report();
  } else if (::testing::Test::HasFailure()) {
    std::cout << name_ << " until then:\n" << device_.report();
  }
}

std::vector<std::string> DevicePort::forgive() {
  const vlp::LockGuard guard(lock_);
  return all_breaches();
}

}  // namespace d4_test
