#include "tests/d4/scripted_port.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <utility>

#include "tests/d4/scripted_far.h"

namespace d4_test {
namespace {

// The engine's number for a port is where its far side lies.
ScriptedPort::Far& far_of(vlp::XdltPortHandle port) {
  return *reinterpret_cast<ScriptedPort::Far*>(static_cast<std::uintptr_t>(port));
}

std::uint32_t write_port(vlp::XdltPortHandle port, const std::uint8_t* bytes, std::uint32_t count,
                         std::uint32_t* written) {
  return far_of(port).write(bytes, count, written);
}

std::uint32_t read_port(vlp::XdltPortHandle port, std::uint8_t* buffer, std::uint32_t capacity,
                        std::uint32_t* got) {
  return far_of(port).read(buffer, capacity, got);
}

std::size_t count_between(const std::vector<Transfer>& transfers, std::uint64_t from_ms,
                          std::uint64_t to_ms) {
  return static_cast<std::size_t>(
      std::count_if(transfers.begin(), transfers.end(), [&](const Transfer& transfer) {
        return transfer.began_ms >= from_ms && transfer.began_ms < to_ms;
      }));
}

}  // namespace

Pieces one_byte_reads(std::size_t count) { return Pieces(count, 1); }

ScriptedPort::ScriptedPort(std::string name) : far_(std::make_unique<Far>(std::move(name))) {
  ops_.keepPriority = 1;
  ops_.write = write_port;
  ops_.read = read_port;
}

ScriptedPort::~ScriptedPort() { finish(); }

vlp::XdltPortHandle ScriptedPort::handle() const {
  return reinterpret_cast<std::uintptr_t>(far_.get());
}

// --- The script ------------------------------------------------------------------------------

ScriptedPort::Step ScriptedPort::expect(const Bytes& bytes, const std::string& note) {
  std::size_t index = 0;
  far_->change([&](Far& far) {
    index = far.script.size();
    far.script.push_back({bytes, note});
  });
  return Step(*far_, index);
}

void ScriptedPort::say(const Bytes& bytes, When when, const Pieces& pieces) {
  far_->change([&](Far& far) { far.say(bytes, when, pieces); });
}

void ScriptedPort::opens(When reply) {
  expect(entry_string()).answer(entry_reply(), reply);
  expect(init()).answer(init_reply(), reply);
}

void ScriptedPort::opens_channel(std::uint8_t socket, const Agreed& agreed, When reply) {
  const std::uint16_t write_offer = socket == 0x40 ? 4102 : 65535;
  const std::uint16_t read_offer = socket == 0x40 ? 512 : 65535;
  expect(open_channel(socket, write_offer, read_offer))
      .answer(open_channel_reply(socket, agreed.write_size, agreed.read_size, agreed.credit),
              reply);
}

void ScriptedPort::closes_channel(std::uint8_t socket, When reply) {
  expect(close_channel(socket)).answer(close_channel_reply(socket), reply);
}

void ScriptedPort::exits(When reply) { expect(exit_link()).answer(exit_reply(), reply); }

void ScriptedPort::grants(std::uint8_t socket, std::uint16_t credit, When reply) {
  expect(credit_request(socket)).answer(credit_request_reply(socket, credit), reply);
}

void ScriptedPort::takes_credit(std::uint8_t socket, When reply) {
  expect(credit(socket)).answer(credit_reply(socket), reply);
}

void ScriptedPort::ignores_the_rest() {
  far_->change([](Far& far) { far.ignores_the_rest = true; });
}

ScriptedPort::Step& ScriptedPort::Step::answer(const Bytes& bytes, When when,
                                               const Pieces& pieces) {
  far_->change([&](Far& far) { far.script[index_].answers.push_back({bytes, when, pieces}); });
  return *this;
}

ScriptedPort::Step& ScriptedPort::Step::takes_ms(std::uint32_t ms) {
  far_->change([&](Far& far) { far.script[index_].takes_ms = ms; });
  return *this;
}

ScriptedPort::Step& ScriptedPort::Step::fails(const Failure& failure) {
  far_->change([&](Far& far) { far.script[index_].failure = failure; });
  return *this;
}

ScriptedPort::Step& ScriptedPort::Step::is_short_by(std::uint32_t less) {
  far_->change([&](Far& far) { far.script[index_].less = less; });
  return *this;
}

ScriptedPort::Step& ScriptedPort::Step::removes(When when) {
  far_->change([&](Far& far) { far.script[index_].removal = when; });
  return *this;
}

ScriptedPort::Step& ScriptedPort::Step::times(unsigned count) {
  far_->change([&](Far& far) { far.script[index_].left = count; });
  return *this;
}

ScriptedPort::Step& ScriptedPort::Step::at_any_time() {
  far_->change([&](Far& far) { far.script[index_].any_time = true; });
  return *this;
}

// --- How reads and writes go -----------------------------------------------------------------

void ScriptedPort::reads_return_at_once() {
  far_->change([](Far& far) { far.idle = Far::Idle::at_once; });
}

void ScriptedPort::reads_wait(std::uint32_t ms) {
  far_->change([&](Far& far) {
    far.idle = Far::Idle::wait;
    far.idle_ms = ms;
  });
}

void ScriptedPort::reads_block() {
  far_->change([](Far& far) { far.idle = Far::Idle::block; });
}

void ScriptedPort::empty_reads_store_zero(bool yes) {
  far_->change([&](Far& far) { far.stores_zero = yes; });
}

void ScriptedPort::read_at_most(std::uint32_t count) {
  far_->change([&](Far& far) { far.most_per_read = count; });
}

void ScriptedPort::reads_span_answers(bool yes) {
  far_->change([&](Far& far) { far.spans_answers = yes; });
}

void ScriptedPort::fail_read(unsigned nth, const Failure& failure) {
  far_->change([&](Far& far) { far.read_failures.push_back({nth, false, failure}); });
}

void ScriptedPort::fail_reads_from(unsigned nth, const Failure& failure) {
  far_->change([&](Far& far) { far.read_failures.push_back({nth, true, failure}); });
}

void ScriptedPort::writes_take(std::uint32_t ms) {
  far_->change([&](Far& far) { far.writes_take_ms = ms; });
}

void ScriptedPort::fail_write(unsigned nth, const Failure& failure) {
  far_->change([&](Far& far) { far.write_failures.push_back({nth, false, failure}); });
}

void ScriptedPort::fail_writes_from(unsigned nth, const Failure& failure) {
  far_->change([&](Far& far) { far.write_failures.push_back({nth, true, failure}); });
}

void ScriptedPort::shorten_write(unsigned nth, std::uint32_t less) {
  far_->change([&](Far& far) { far.short_writes.push_back({nth, false, {.bytes = less}}); });
}

void ScriptedPort::remove(When when) {
  far_->change([&](Far& far) { far.remove(when); });
}

// --- What was seen ---------------------------------------------------------------------------

std::vector<Transfer> ScriptedPort::writes() const {
  return far_->look([](const Far& far) { return far.writes; });
}

std::vector<Transfer> ScriptedPort::reads() const {
  return far_->look([](const Far& far) { return far.reads; });
}

std::size_t ScriptedPort::empty_read_count() const {
  const std::vector<Transfer> all = reads();
  return static_cast<std::size_t>(std::count_if(all.begin(), all.end(), [](const Transfer& read) {
    return read.ended && read.success && read.moved == 0;
  }));
}

std::size_t ScriptedPort::reads_between(std::uint64_t from_ms, std::uint64_t to_ms) const {
  return count_between(reads(), from_ms, to_ms);
}

std::size_t ScriptedPort::writes_between(std::uint64_t from_ms, std::uint64_t to_ms) const {
  return count_between(writes(), from_ms, to_ms);
}

Bytes ScriptedPort::written() const {
  Bytes all;
  for (const Transfer& write : writes()) {
    all.insert(all.end(), write.bytes.begin(), write.bytes.end());
  }
  return all;
}

Bytes ScriptedPort::last_write() const {
  const std::vector<Transfer> all = writes();
  return all.empty() ? Bytes() : all.back().bytes;
}

bool ScriptedPort::read_is_inside() const {
  const std::vector<Transfer> all = reads();
  return std::any_of(all.begin(), all.end(), [](const Transfer& read) { return !read.ended; });
}

std::size_t ScriptedPort::unread() const {
  return far_->look([](const Far& far) {
    std::size_t count = 0;
    for (const Far::Coming& answer : far.coming) count += answer.bytes.size() - answer.offset;
    return count;
  });
}

std::size_t ScriptedPort::steps_left() const {
  return far_->look([](const Far& far) { return far.steps_left(); });
}

std::vector<std::string> ScriptedPort::breaches() const {
  return far_->look([](const Far& far) { return far.breaches; });
}

std::string ScriptedPort::conversation() const {
  return far_->look([](const Far& far) { return far.conversation(); });
}

void ScriptedPort::finish() {
  bool finished = false;
  far_->change([&](Far& far) { finished = std::exchange(far.finished, true); });
  if (finished) return;
  std::string complaints;
  for (const std::string& line : far_->look([](const Far& far) { return far.complaints(); })) {
    complaints += "  " + line + "\n";
  }
  if (!complaints.empty()) {
    ADD_FAILURE() << far_->name << ":\n" << complaints << "in all:\n" << conversation();
  } else if (::testing::Test::HasFailure()) {
    std::cout << far_->name << " until then:\n" << conversation();
  }
}

std::vector<std::string> ScriptedPort::forgive() {
  std::vector<std::string> complaints;
  far_->change([&](Far& far) {
    far.finished = true;
    complaints = far.complaints();
  });
  return complaints;
}

}  // namespace d4_test
