#pragma once

// A port whose far side is written down beforehand: these bytes are expected, those are
// answered, after so long. For the engine in virtual time.
//
//   test::run_virtual_parallel([] {
//     ScriptedPort port;
//     Engine engine;
//     port.opens();
//     port.expect(open_channel(0x02, 65535, 65535))
//         .answer(open_channel_reply(0x02, 512, 512, 1), after_ms(20));
//     ...
//   });
//
// Each write of the engine must be the next one expected, to the byte. What isn't is a
// breach: it is let through, and the test fails at finish() or at the port's end with
// the whole conversation in words. Two transfers at once, a read of no bytes and reads
// without end at one moment are breaches too.
//
// Make and destroy it inside the scenario, before the Engine, so that it outlives the
// engine's threads. All calls may come from any thread, also while the engine runs.

#include <windows.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "d4/xdlt.h"
#include "tests/d4/wire_build.h"

namespace d4_test {

// When something happens. After: counted from the end of the write that it belongs to, or from
// the call if it belongs to none. At: time since the scenario began.
struct When {
  std::uint64_t ms = 0;
  bool absolute = false;
};
inline When at_once() { return {}; }
inline When after_ms(std::uint64_t ms) { return {ms, false}; }
inline When at_ms(std::uint64_t ms) { return {ms, true}; }

// How many bytes the reads of one answer bring at most, read by read; 0 is a read that
// brings nothing though bytes are there. Behind the last, reads bring what they can.
using Pieces = std::vector<std::uint32_t>;
inline Pieces after_empty_reads(std::size_t count) { return Pieces(count, 0); }
Pieces one_byte_reads(std::size_t count);

inline constexpr DWORD kPortError = 31;      // ERROR_GEN_FAILURE
inline constexpr DWORD kRemovedError = 433;  // ERROR_NO_SUCH_DEVICE

// A transfer that fails.
struct Failure {
  DWORD error = kPortError;
  std::uint32_t after_ms = 0;
  std::uint32_t bytes = 0;  // taken or delivered nevertheless
};

// Opening of a channel, as the device answers it.
struct Agreed {
  std::uint16_t write_size = 512;
  std::uint16_t read_size = 512;
  std::uint16_t credit = 1;
};

// One call of the engine to the port.
struct Transfer {
  std::uint64_t order = 0;     // grows with every call
  std::uint64_t began_ms = 0;  // since the scenario began
  std::uint64_t ended_ms = 0;
  std::uint32_t asked = 0;  // count of a write, capacity of a read
  std::uint32_t moved = 0;  // bytes taken or delivered
  bool success = false;     // as the port said it
  bool ended = false;       // else it is still inside
  DWORD thread = 0;
  Bytes bytes;  // all of a write; what a read delivered
};

class ScriptedPort {
 public:
  class Step;
  class Far;  // the far side

  explicit ScriptedPort(std::string name = "port");
  ~ScriptedPort();  // finish(), unless that was called
  ScriptedPort(const ScriptedPort&) = delete;
  ScriptedPort& operator=(const ScriptedPort&) = delete;

  // For XDLT_Open. keepPriority is 1, skipDummyRead 0 until the test changes them here.
  vlp::XdltPortHandle handle() const;
  vlp::XdltPortOps* ops() { return &ops_; }

  // --- The script ---

  // The engine's next write. `note` stands beside it in the conversation.
  Step expect(const Bytes& bytes, const std::string& note = "");
  // Bytes that nobody asked for.
  void say(const Bytes& bytes, When when = at_once(), const Pieces& pieces = {});

  // The usual exchanges, each an expectation and its good answer.
  void opens(When reply = at_once());  // entry string and Init
  void opens_channel(std::uint8_t socket, const Agreed& agreed = {}, When reply = at_once());
  void closes_channel(std::uint8_t socket, When reply = at_once());
  void exits(When reply = at_once());
  // The engine asks for credit and gets it; it gives one and that is taken.
  void grants(std::uint8_t socket, std::uint16_t credit, When reply = at_once());
  void takes_credit(std::uint8_t socket, When reply = at_once());

  // Writes beyond the script are no breach from here on.
  void ignores_the_rest();

  // --- How reads go; all may change while one is inside ---

  // What a read does while no byte is due. At the start: at once.
  void reads_return_at_once();        // no byte, success
  void reads_wait(std::uint32_t ms);  // that after so long, unless bytes come before
  void reads_block();                 // until bytes come or the port is removed
  // Whether a read without bytes stores 0 in `got`. At the start: it leaves it alone.
  void empty_reads_store_zero(bool yes);
  // A read brings at most so many bytes.
  void read_at_most(std::uint32_t count);
  // Reads may go on into the next answer. At the start: they end with the answer.
  void reads_span_answers(bool yes);
  // The nth read from now (1 is the next) fails; or that and all behind it.
  void fail_read(unsigned nth, const Failure& failure = {});
  void fail_reads_from(unsigned nth, const Failure& failure = {});

  // --- How writes go, besides the steps' own ways ---

  void writes_take(std::uint32_t ms);
  // Such a write is compared with the script but gets no answer.
  void fail_write(unsigned nth, const Failure& failure = {});
  void fail_writes_from(unsigned nth, const Failure& failure = {});
  // The nth write from now succeeds but takes `less` bytes fewer.
  void shorten_write(unsigned nth, std::uint32_t less = 1);

  // --- Removal: from then on every transfer fails, the ones inside too ---

  void remove(When when = at_once());

  // --- What was seen ---

  std::vector<Transfer> writes() const;
  std::vector<Transfer> reads() const;  // empty and failed ones too
  std::size_t write_count() const { return writes().size(); }
  std::size_t read_count() const { return reads().size(); }
  std::size_t empty_read_count() const;
  // Reads and writes that began in from_ms <= time < to_ms.
  std::size_t reads_between(std::uint64_t from_ms, std::uint64_t to_ms) const;
  std::size_t writes_between(std::uint64_t from_ms, std::uint64_t to_ms) const;
  std::size_t call_count() const { return write_count() + read_count(); }
  // All that was written, as one run of bytes.
  Bytes written() const;
  Bytes last_write() const;  // empty if there is none
  bool read_is_inside() const;
  // Bytes of answers and of say() that no read has fetched, due or not.
  std::size_t unread() const;
  std::size_t steps_left() const;
  std::vector<std::string> breaches() const;
  // Both sides in order: time, direction, bytes, meaning.
  std::string conversation() const;

  // Fails the test if there is any breach or a step that never came, and tells the
  // conversation. Once; a later call does nothing.
  void finish();
  // For tests of this port itself: what finish() would complain of; nothing is checked at the end.
  std::vector<std::string> forgive();

 private:
  vlp::XdltPortOps ops_;
  std::unique_ptr<Far> far_;
};

// One expected write; each call adds to it and gives it back.
class ScriptedPort::Step {
 public:
  Step(Far& far, std::size_t index) : far_(&far), index_(index) {}

  // Comes available `when` after the write; several answers are several transfers.
  Step& answer(const Bytes& bytes, When when = at_once(), const Pieces& pieces = {});
  Step& takes_ms(std::uint32_t ms);          // the write blocks for so long, then succeeds
  Step& fails(const Failure& failure = {});  // without answers
  Step& is_short_by(std::uint32_t less);     // succeeds with fewer bytes, without answers
  Step& removes(When when = at_once());      // the port is gone after it
  Step& times(unsigned count);               // so many alike, each with these answers
  Step& at_any_time();                       // needn't wait for its turn among the others

 private:
  Far* far_;
  std::size_t index_;
};

}  // namespace d4_test
