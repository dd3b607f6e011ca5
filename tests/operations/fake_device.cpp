#include "tests/operations/fake_device.h"

#include <algorithm>
#include <cstdio>
#include <new>
#include <span>
#include <utility>

#include "device/gen_vl_access.h"

namespace fake_device {
namespace {

Script the_script;
std::vector<std::string> the_calls;
std::size_t told = 0;
std::vector<std::int64_t> the_settings;

std::string hex(std::uint32_t number) {
  char text[16];
  std::snprintf(text, sizeof text, "%08X", number);
  return text;
}

std::string hex(std::span<const std::uint8_t> bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    char digits[8];
    std::snprintf(digits, sizeof digits, " %02X", byte);
    text += digits;
  }
  return text;
}

// None when the script has nothing to say.
std::int32_t next(std::deque<std::int32_t>& results, std::int32_t otherwise) {
  if (results.empty()) return otherwise;
  const std::int32_t result = results.front();
  results.pop_front();
  return result;
}

}  // namespace

void reset() {
  the_script = {};
  the_calls.clear();
  told = 0;
  the_settings.clear();
}

Script& script() { return the_script; }
std::vector<std::string> calls() { return the_calls; }
std::vector<std::string> new_calls() {
  const std::size_t from = std::exchange(told, the_calls.size());
  return {the_calls.begin() + static_cast<std::ptrdiff_t>(from), the_calls.end()};
}
std::vector<std::int64_t> settings() { return the_settings; }

}  // namespace fake_device

namespace vlp {

GenVlAccess::GenVlAccess(const std::uint8_t* serial, std::uint32_t, std::uint32_t, const char*,
                         const GenVlSettings* settings, DbgLog* log)
    : m_pLog(log), m_dwStatusLifeTime(0), m_dwMutexWaitTime(0) {
  fake_device::the_calls.push_back("new" + fake_device::hex({serial, kSerialLength}));
  if (fake_device::the_script.no_memory) throw std::bad_alloc();
  fake_device::the_settings = {settings->d4RetryMode, settings->d4RetryTiming, settings->d4RetryMax,
                               settings->packetRcvMaxTime, settings->statusNoChkTime};
  if (log == nullptr) fake_device::the_settings.insert(fake_device::the_settings.begin(), -1);
  m_bInitialized = fake_device::the_script.found ? 1 : 0;
}

GenVlAccess::~GenVlAccess() { fake_device::the_calls.push_back("delete"); }

std::int32_t GenVlAccess::GenVlSendRecv(std::uint32_t channel, const std::uint8_t* data,
                                        std::uint32_t length) {
  fake_device::the_calls.push_back("send " + fake_device::hex(channel) +
                                   fake_device::hex({data, length}));
  fake_device::the_script.while_sending();
  return fake_device::next(fake_device::the_script.sends, static_cast<std::int32_t>(length));
}

std::int32_t GenVlAccess::GenVlGetReply(std::uint32_t channel, std::uint8_t* data,
                                        std::uint32_t capacity, std::uint32_t* length) {
  fake_device::the_calls.push_back("reply " + fake_device::hex(channel) + " of " +
                                   std::to_string(capacity));
  const std::string& reply = fake_device::the_script.reply;
  *length = static_cast<std::uint32_t>(reply.size());
  const std::int32_t result =
      fake_device::next(fake_device::the_script.replies, static_cast<std::int32_t>(reply.size()));
  if (result > 0 && reply.size() <= capacity) std::copy(reply.begin(), reply.end(), data);
  return result;
}

}  // namespace vlp
