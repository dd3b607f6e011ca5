#include "tests/d4/fake_engine.h"

#include <windows.h>

#include <cstdio>
#include <utility>

#include "d4/state.h"
#include "d4/xdlt.h"
#include "platform/kernel/call.h"
#include "platform/kernel/clock.h"
#include "platform/kernel/scenario.h"

namespace fake_engine {
namespace {

struct Entry {
  std::string text;  // without the time
  std::string time;  // "500: ", or nothing
  std::size_t locks;
};

// Guarded by the layer's lock, which orders nothing between the threads under test.
struct Fake {
  Scripts scripts;
  std::vector<Entry> entries;
  std::uint32_t resolution = 1;
};

Fake& fake() {
  static Fake* const made = new Fake;
  return *made;
}

// The link that a good open gives. Nobody looks into it.
vlp::XdltLink* the_link() {
  alignas(vlp::XdltLink) static unsigned char place;
  return reinterpret_cast<vlp::XdltLink*>(&place);
}

const char* link_mark(const vlp::XdltLink* link) {
  if (link == nullptr) return " (no link)";
  return link == the_link() ? "" : " (stale link)";
}

std::string hex(std::uint32_t value) {
  char text[12];
  std::snprintf(text, sizeof text, "%02x", value);
  return text;
}

void note(const std::string& text, bool timed = true) {
  const std::size_t locks = platform::locks_held_by(GetCurrentThreadId()).size();
  const platform::StateGuard guard;
  fake().entries.push_back(
      {text, timed ? std::to_string(platform::now_ms()) + ": " : std::string(), locks});
}

Answer next(Script Scripts::*which) {
  Answer answer;
  {
    const platform::StateGuard guard;
    Script& script = fake().scripts.*which;
    answer = script.otherwise;
    if (!script.first.empty()) {
      answer = script.first.front();
      script.first.pop_front();
    }
  }
  if (answer.takes_ms != 0) Sleep(answer.takes_ms);
  return answer;
}

bool begins_with(const std::string& text, const std::string& begin) {
  return text.compare(0, begin.size(), begin) == 0;
}

}  // namespace

void reset(Scripts scripts) {
  const platform::StateGuard guard;
  fake() = Fake{};
  fake().scripts = std::move(scripts);
}

Scripts& scripts() { return fake().scripts; }

std::vector<std::string> calls() { return calls_of(""); }

std::vector<std::string> calls_of(const std::string& begin) {
  const platform::StateGuard guard;
  std::vector<std::string> found;
  for (const Entry& entry : fake().entries) {
    if (begins_with(entry.text, begin)) found.push_back(entry.time + entry.text);
  }
  return found;
}

void forget_calls() {
  const platform::StateGuard guard;
  fake().entries.clear();
}

std::vector<std::size_t> locks_under(const std::string& begin) {
  const platform::StateGuard guard;
  std::vector<std::size_t> found;
  for (const Entry& entry : fake().entries) {
    if (begins_with(entry.text, begin)) found.push_back(entry.locks);
  }
  return found;
}

void set_timer_resolution(std::uint32_t milliseconds) {
  const platform::StateGuard guard;
  fake().resolution = milliseconds;
}

}  // namespace fake_engine

namespace vlp {

using fake_engine::Answer;
using fake_engine::fake;
using fake_engine::hex;
using fake_engine::kAsked;
using fake_engine::link_mark;
using fake_engine::next;
using fake_engine::note;
using fake_engine::Scripts;

std::int32_t XdltInitialize(DbgLog* log) noexcept {
  note(log != nullptr ? "Initialize log" : "Initialize", false);
  const platform::StateGuard guard;
  return fake().scripts.initialize;
}

void XdltUninitialize() noexcept { note("Uninitialize", false); }

bool XdltPortIsInUse(XdltPortHandle) noexcept { return false; }

std::uint32_t TimerResolution() noexcept {
  const platform::StateGuard guard;
  return fake().resolution;
}

std::int32_t XDLT_Open(XdltPortHandle portHandle, XdltPortOps* portOps,
                       XdltLink** linkOut) noexcept {
  note("Open port=" + std::to_string(portHandle) + " keep=" +
       std::to_string(portOps->keepPriority) + " skip=" + std::to_string(portOps->skipDummyRead));
  const Answer answer = next(&Scripts::open);
  if (answer.result == 0) *linkOut = fake_engine::the_link();
  return answer.result;
}

std::int32_t XDLT_Close(XdltLink* link) noexcept {
  note(std::string("Close") + link_mark(link));
  return next(&Scripts::close).result;
}

void XDLT_SetParameters(XdltLink* link, XdltParameters* parameters) noexcept {
  if (parameters->kind != kAskPacketSizes) {
    note("SetParameters " + std::to_string(parameters->kind) + " timing=" +
         std::to_string(parameters->timing) + " mode=" + std::to_string(parameters->mode) +
         " max=" + std::to_string(parameters->maximum) + link_mark(link));
    return;
  }
  note("SetParameters 3 socket=" + hex(parameters->socket) + link_mark(link));
  const platform::StateGuard guard;
  parameters->writePacketSize = fake().scripts.write_packet;
  parameters->readPacketSize = fake().scripts.read_packet;
}

std::int32_t XDLT_OpenChannel(XdltLink* link, std::uint8_t socket) noexcept {
  note("OpenChannel " + hex(socket) + link_mark(link));
  return next(&Scripts::open_channel).result;
}

std::int32_t XDLT_CloseChannel(XdltLink* link, std::uint8_t socket) noexcept {
  note("CloseChannel " + hex(socket) + link_mark(link));
  return next(&Scripts::close_channel).result;
}

std::int32_t XDLT_Write(XdltLink* link, std::uint8_t socket, const std::uint8_t* bytes,
                        std::uint32_t* countInOut) noexcept {
  std::string text = "Write " + hex(socket);
  for (std::uint32_t i = 0; i < *countInOut; ++i) text += " " + hex(bytes[i]);
  note(text + link_mark(link));
  const std::int32_t result = next(&Scripts::write).result;
  if (result == kAsked) return static_cast<std::int32_t>(*countInOut);
  *countInOut = result > 0 ? static_cast<std::uint32_t>(result) : 0;
  return result;
}

std::int32_t XDLT_Read(XdltLink* link, std::uint8_t socket, std::uint8_t* buffer,
                       std::uint32_t* countInOut) noexcept {
  if (buffer == nullptr) {
    note("Size " + hex(socket) + link_mark(link));
    return next(&Scripts::size).result;
  }
  const std::uint32_t capacity = *countInOut;
  note("Fetch " + hex(socket) + " of " + std::to_string(capacity) + link_mark(link));
  std::int32_t result = next(&Scripts::fetch).result;
  if (result == kAsked) result = static_cast<std::int32_t>(capacity);
  *countInOut = result > 0 ? static_cast<std::uint32_t>(result) : 0;
  for (std::uint32_t i = 0; i < *countInOut; ++i) buffer[i] = static_cast<std::uint8_t>(i + 1);
  return result;
}

}  // namespace vlp
