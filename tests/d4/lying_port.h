#pragma once

// A port in front of a ScriptedPort that tells wrong counts, or goes quiet or away after
// so many bytes. Made behind it and before the Engine.

#include <cstdint>
#include <functional>
#include <optional>

#include "d4/xdlt.h"
#include "tests/d4/engine_fixture.h"

namespace d4_test {

// What becomes of the transfer that finds no more bytes, and of all behind it.
enum class Ending {
  fails,   // it fails, with what still went through
  short_,  // it succeeds with that; the next one fails
  silent   // reads bring nothing, writes are taken and not heard
};

class LyingPort {
 public:
  explicit LyingPort(ScriptedPort& real) : real_(real) {
    ops_.keepPriority = 1;
    ops_.write = [](vlp::XdltPortHandle port, const std::uint8_t* bytes, std::uint32_t count,
                    std::uint32_t* written) { return of(port).write(bytes, count, written); };
    ops_.read = [](vlp::XdltPortHandle port, std::uint8_t* buffer, std::uint32_t capacity,
                   std::uint32_t* got) { return of(port).read(buffer, capacity, got); };
  }
  LyingPort(const LyingPort&) = delete;
  LyingPort& operator=(const LyingPort&) = delete;

  vlp::XdltPortHandle handle() const { return reinterpret_cast<std::uintptr_t>(this); }
  vlp::XdltPortOps* ops() { return &ops_; }

  // The counts told instead of the true ones; asked, moved. Set while nothing is inside.
  using Tale = std::function<std::uint32_t(std::uint32_t, std::uint32_t)>;
  void tell_of_reads(Tale tale) { read_tale_ = std::move(tale); }
  void tell_of_writes(Tale tale) { write_tale_ = std::move(tale); }

  // So many bytes still pass, of both directions together.
  void end_after(std::uint64_t bytes, Ending ending) {
    left_ = bytes;
    ending_ = ending;
  }
  std::uint64_t bytes_left() const { return left_.value_or(0); }

 private:
  static LyingPort& of(vlp::XdltPortHandle port) {
    return *reinterpret_cast<LyingPort*>(static_cast<std::uintptr_t>(port));
  }

  // The engine makes one transfer at a time, so nothing here needs a lock.
  std::uint32_t write(const std::uint8_t* bytes, std::uint32_t count, std::uint32_t* written) {
    if (left_ && *left_ < count) {
      *written = static_cast<std::uint32_t>(*left_);
      const bool was_over = *left_ == 0;
      left_ = 0;
      if (ending_ == Ending::silent) *written = count;
      return ending_ == Ending::silent || (ending_ == Ending::short_ && !was_over) ? 1 : 0;
    }
    const std::uint32_t done = real_.ops()->write(real_.handle(), bytes, count, written);
    if (left_) *left_ -= *written;
    if (write_tale_) *written = write_tale_(count, *written);
    return done;
  }

  std::uint32_t read(std::uint8_t* buffer, std::uint32_t capacity, std::uint32_t* got) {
    if (left_ && *left_ == 0) {
      *got = 0;
      return ending_ == Ending::silent ? 1 : 0;
    }
    std::uint32_t room = capacity;
    if (left_ && *left_ < room) room = static_cast<std::uint32_t>(*left_);
    std::uint32_t moved = 0;
    std::uint32_t done = real_.ops()->read(real_.handle(), buffer, room, &moved);
    if (left_) {
      *left_ -= moved;
      if (*left_ == 0 && ending_ == Ending::fails && moved < capacity) done = 0;
    }
    *got = read_tale_ ? read_tale_(capacity, moved) : moved;
    return done;
  }

  ScriptedPort& real_;
  vlp::XdltPortOps ops_;
  Tale read_tale_;
  Tale write_tale_;
  std::optional<std::uint64_t> left_;
  Ending ending_ = Ending::fails;
};

// What each call of a whole conversation gave: link, channel, a command, its answer, and all
// closed again. Calls go on behind a failure as a careless owner's would; none is made without
// a link.
struct Conversation {
  std::int32_t opened = 0;
  std::int32_t channel = 0;
  std::int32_t written = 0;
  std::int32_t waiting = 0;
  std::int32_t fetched = 0;
  std::int32_t channel_closed = 0;
  std::int32_t closed = 0;
  Bytes answer;

  std::vector<std::int32_t> results() const {
    return {opened, channel, written, waiting, fetched, channel_closed, closed};
  }
};

inline void script_conversation(ScriptedPort& port) {
  port.opens();
  port.opens_channel(0x02, {.credit = 1});
  port.expect(data(0x02, text("command")));
  port.expect(credit(0x02)).answer(credit_reply(0x02)).answer(data(0x02, text("answer")));
  port.closes_channel(0x02);
  port.exits();
}

inline Conversation converse(vlp::XdltPortHandle handle, vlp::XdltPortOps* ops) {
  Conversation all;
  vlp::XdltLink* link = nullptr;
  all.opened = vlp::XDLT_Open(handle, ops, &link);
  EXPECT_EQ(all.opened == 0, link != nullptr);
  if (link != nullptr) {
    all.channel = vlp::XDLT_OpenChannel(link, 0x02);
    all.written = write(link, 0x02, text("command")).result;
    all.waiting = size_query(link, 0x02).result;
    const Called fetched = fetch(link, 0x02, 100);
    all.fetched = fetched.result;
    all.answer = fetched.bytes;
    all.channel_closed = vlp::XDLT_CloseChannel(link, 0x02);
    all.closed = vlp::XDLT_Close(link);
  }
  EXPECT_FALSE(vlp::XdltPortIsInUse(handle));
  return all;
}

}  // namespace d4_test
