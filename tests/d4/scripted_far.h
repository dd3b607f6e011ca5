#pragma once

// The far side of a ScriptedPort: script, bytes under way, record. Only for its own files.

#include <windows.h>

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "support/critical_section.h"
#include "support/handles.h"
#include "tests/d4/scripted_port.h"

namespace d4_test {

class ScriptedPort::Far {
 public:
  struct Answer {
    Bytes bytes;
    When when;
    Pieces pieces;
  };

  struct Expected {
    Bytes bytes;
    std::string note;
    std::vector<Answer> answers = {};
    std::uint32_t takes_ms = 0;
    std::optional<Failure> failure = {};
    std::uint32_t less = 0;
    std::optional<When> removal = {};
    unsigned left = 1;
    bool any_time = false;
  };

  // The nth transfer from now, or that and all later ones.
  struct Armed {
    unsigned left;
    bool from_then_on;
    Failure failure;
  };

  enum class Idle { at_once, wait, block };

  explicit Far(std::string port_name);

  std::uint32_t write(const std::uint8_t* from, std::uint32_t count, std::uint32_t* written);
  std::uint32_t read(std::uint8_t* buffer, std::uint32_t capacity, std::uint32_t* got);

  // Changes what the port does, and lets the transfers inside look again.
  template <typename Change>
  void change(Change work) {
    const vlp::LockGuard guard(lock_);
    work(*this);
    tell();
  }
  template <typename Look>
  auto look(Look work) const {
    const vlp::LockGuard guard(lock_);
    return work(*this);
  }

  // All below within change() or look().
  void say(const Bytes& bytes, When when, const Pieces& pieces);
  void remove(When when);
  std::vector<std::string> complaints() const;
  std::string conversation() const;
  std::size_t steps_left() const;

  std::string name;
  std::deque<Expected> script;
  bool ignores_the_rest = false;
  Idle idle = Idle::at_once;
  std::uint32_t idle_ms = 0;
  bool stores_zero = false;
  bool spans_answers = false;
  std::uint32_t most_per_read = UINT32_MAX;
  std::uint32_t writes_take_ms = 0;
  std::vector<Armed> read_failures;
  std::vector<Armed> write_failures;
  std::vector<Armed> short_writes;  // failure.bytes: how many fewer
  std::vector<Transfer> writes;
  std::vector<Transfer> reads;
  std::vector<std::string> breaches;
  bool finished = false;

  struct Coming {
    std::uint64_t due_ms;
    Bytes bytes;
    std::size_t offset;
    std::deque<std::uint32_t> pieces;
  };
  std::deque<Coming> coming;

 private:
  // What one write is going to meet.
  struct Fate {
    std::optional<std::size_t> step;
    std::optional<Failure> failure;
    std::uint32_t less = 0;
    std::uint32_t takes_ms = 0;
  };

  struct Said {
    std::uint64_t order;
    std::uint64_t due_ms;
    Bytes bytes;
    bool asked;
  };

  std::size_t begin(std::vector<Transfer>& list, std::uint32_t asked) VLP_REQUIRES(lock_);
  std::uint32_t end(Transfer& transfer, bool success, DWORD error) VLP_REQUIRES(lock_);
  Fate meet(const Bytes& bytes) VLP_REQUIRES(lock_);
  std::optional<std::size_t> match(const Bytes& bytes) VLP_REQUIRES(lock_);
  void consequences(const Fate& fate) VLP_REQUIRES(lock_);
  void queue(const Answer& answer, bool asked);
  // Until the moment or the removal, which gives false.
  bool pass(std::uint64_t until_ms) VLP_REQUIRES(lock_);
  void wait_for_news(std::optional<std::uint64_t> until_ms) VLP_REQUIRES(lock_);
  // What is due, up to the limit.
  void deliver(Transfer& transfer, std::uint8_t* buffer, std::uint32_t limit) VLP_REQUIRES(lock_);
  std::uint32_t limit_of_front() VLP_REQUIRES(lock_);
  bool is_due() const;
  std::uint32_t end_empty(Transfer& transfer, std::uint32_t* got) VLP_REQUIRES(lock_);
  std::uint32_t fail_this_read(std::size_t index, const Failure& failure, std::uint8_t* buffer,
                               std::uint32_t* got) VLP_REQUIRES(lock_);
  void guard_against_spin() VLP_REQUIRES(lock_);
  bool is_gone() const;
  void breach(const std::string& text);
  void tell();

  mutable vlp::CriticalSection lock_;
  vlp::KernelHandle news_;  // something changed
  std::optional<std::uint64_t> gone_ms_;
  unsigned inside_ = 0;
  std::uint64_t order_ = 0;
  std::vector<Said> said_;
  std::uint64_t spin_ms_ = 0;
  unsigned spin_reads_ = 0;
  bool spin_told_ = false;
};

}  // namespace d4_test
