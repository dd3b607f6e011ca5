// What a ScriptedPort saw, in words.

#include <algorithm>
#include <tuple>

#include "platform/kernel/scenario.h"
#include "tests/d4/scripted_far.h"
#include "tests/d4/wire_text.h"

namespace d4_test {
namespace {

struct Entry {
  std::uint64_t ms;
  std::uint64_t order;
  std::string text;
};

std::string stamp(std::uint64_t ms) {
  const std::string digits = std::to_string(ms);
  return std::string(digits.size() < 8 ? 8 - digits.size() : 0, ' ') + digits + " ms  ";
}

std::string packets(const Bytes& bytes, const std::string& outcome = "") {
  std::string words = hex_text(bytes) + outcome;
  for (const std::string& line : wire_lines(bytes)) words += "\n" + std::string(25, ' ') + line;
  return words;
}

std::string lasted(const Transfer& transfer) {
  const std::uint64_t ms = transfer.ended_ms - transfer.began_ms;
  return ms == 0 ? "" : ", took " + std::to_string(ms) + " ms";
}

std::string outcome(const Transfer& transfer) {
  if (!transfer.ended) return " (still inside)";
  if (!transfer.success) {
    return " (failed, " + std::to_string(transfer.moved) + " bytes" + lasted(transfer) + ")";
  }
  if (transfer.moved != transfer.asked) {
    return " (" + std::to_string(transfer.moved) + " of " + std::to_string(transfer.asked) +
           " taken" + lasted(transfer) + ")";
  }
  return lasted(transfer).empty() ? "" : " (" + lasted(transfer).substr(2) + ")";
}

std::string read_text(const Transfer& read) {
  std::string words = "read for " + std::to_string(read.asked) + ": ";
  if (!read.ended) return words + "still inside";
  if (!read.success) words += "failed, ";
  return words + std::to_string(read.moved) + lasted(read) +
         (read.moved == 0 ? "" : "  " + hex_text(read.bytes, 16));
}

bool is_idle(const Transfer& read) { return read.ended && read.success && read.moved == 0; }

// Empty reads alike, one behind the other with nothing between, are one line.
void add_reads(std::vector<Entry>& entries, const std::vector<Transfer>& reads) {
  for (std::size_t at = 0; at < reads.size();) {
    std::size_t behind = at + 1;
    while (is_idle(reads[at]) && behind < reads.size() && is_idle(reads[behind]) &&
           reads[behind].asked == reads[at].asked) {
      ++behind;
    }
    std::string words = read_text(reads[at]);
    if (behind - at > 1) {
      words += "  (" + std::to_string(behind - at) + " times until " +
               std::to_string(reads[behind - 1].ended_ms) + " ms)";
    }
    entries.push_back({reads[at].began_ms, reads[at].order, "            " + words});
    at = behind;
  }
}

}  // namespace

std::size_t ScriptedPort::Far::steps_left() const {
  std::size_t count = 0;
  for (const Expected& step : script) count += step.left;
  return count;
}

std::vector<std::string> ScriptedPort::Far::complaints() const {
  std::vector<std::string> lines = breaches;
  for (const Expected& step : script) {
    if (step.left == 0) continue;
    lines.push_back("never came: " + hex_text(step.bytes) + "  " + wire_text(step.bytes) +
                    (step.note.empty() ? "" : "  (" + step.note + ")") +
                    (step.left == 1 ? "" : "  " + std::to_string(step.left) + " times"));
  }
  return lines;
}

std::string ScriptedPort::Far::conversation() const {
  std::vector<Entry> entries;
  for (const Transfer& write : writes) {
    entries.push_back(
        {write.began_ms, write.order, "engine  ->  " + packets(write.bytes, outcome(write))});
  }
  for (const Said& said : said_) {
    entries.push_back({said.due_ms, said.order,
                       (said.asked ? "answer  <-  " : "unasked <-  ") + packets(said.bytes)});
  }
  add_reads(entries, reads);
  if (gone_ms_) entries.push_back({*gone_ms_, UINT64_MAX, "removed"});
  entries.push_back({platform::elapsed_ms(), UINT64_MAX, "now"});
  std::sort(entries.begin(), entries.end(), [](const Entry& one, const Entry& other) {
    return std::tie(one.ms, one.order) < std::tie(other.ms, other.order);
  });
  std::string all;
  for (const Entry& entry : entries) all += stamp(entry.ms) + entry.text + "\n";
  return all;
}

}  // namespace d4_test
