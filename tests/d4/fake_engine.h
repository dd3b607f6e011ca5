#pragma once

// Stands in for the engine under the command layer: it answers as a test told it to and
// writes down who asked for what, and when. Times are virtual milliseconds.

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace fake_engine {

// One answer: the result, and how long the call takes.
struct Answer {
  std::int32_t result = 0;
  std::uint32_t takes_ms = 0;
};

// The answers to one kind of call, in order; behind the last of them `otherwise` serves.
struct Script {
  std::deque<Answer> first = {};
  Answer otherwise = {};
};

// A result of kAsked is the number of bytes that the caller gave or asked for.
inline constexpr std::int32_t kAsked = 0x7fffffff;

struct Scripts {
  std::int32_t initialize = 1;
  Script open = {};
  Script close = {};
  Script open_channel = {};
  Script close_channel = {};
  Script write = {{}, {kAsked}};
  Script size = {};                  // size queries
  Script fetch = {{}, {kAsked}};     // fetches; the bytes count up from 1
  std::uint16_t write_packet = 134;  // what a kind 3 request tells
  std::uint16_t read_packet = 518;
};

// Forgets everything and takes these scripts.
void reset(Scripts scripts = {});
// The scripts in force, to be changed between two calls.
Scripts& scripts();

// Every call so far, such as "0: Open port=7 keep=1 skip=0", "500: Write 02 1b 40",
// "504: Size 02", "504: Fetch 02 of 5". Counting users has no time: "Initialize log".
std::vector<std::string> calls();
// Those that begin with the text, times left out of the comparison but kept in the answer.
std::vector<std::string> calls_of(const std::string& begin);
void forget_calls();

// How many locks of the program each of these calls was made under.
std::vector<std::size_t> locks_under(const std::string& begin);

// What TimerResolution() gives.
void set_timer_resolution(std::uint32_t milliseconds);

}  // namespace fake_engine
