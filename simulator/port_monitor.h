#pragma once

// The far side of the schema road: what the spooler and the port's own monitor do with a
// batch. It calls nothing and waits for nothing; whoever carries a batch to it does both.
// It has no lock of its own: one caller at a time.

#include "simulator/exchange.h"
#include "simulator/printer.h"
#include "simulator/record.h"
#include "simulator/trouble.h"

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace simulator {

inline constexpr uint32_t ok = 0;
inline constexpr uint32_t schema_not_supported = 13005;
inline constexpr uint32_t blob_type = 7;

// How a call ends: an HRESULT, and the last error where the call leaves one.
struct Ending {
  uint32_t result = ok;
  std::optional<uint32_t> last_error;

  bool failed() const { return (result & 0x80000000U) != 0; }
};

// HRESULT of a Windows error number.
constexpr uint32_t from_windows_error(uint32_t error) {
  return error == 0 ? ok : 0x80070000U | (error & 0xFFFFU);
}

struct RowResult {
  uint32_t result = ok;
  uint32_t outputs = 0;
  uint32_t type = 0;
  Bytes data;
  bool null_data = false;
};

// A batch on its way, and the caller's events that its carrier sees to first.
struct Arrival {
  uint64_t ticket = 0;
  void* started = nullptr;
  void* gate = nullptr;
};

struct Answer {
  Ending ending;
  std::vector<RowResult> rows;  // as many as the batch has, also after a failure
};

enum class Access : uint32_t { administrator = 1, user = 2 };

class PortMonitor {
 public:
  // Forgets everything: printers, trouble, counts, batches, breaches. Not the living objects.
  void reset();

  void plug(PrinterOptions options);
  void unplug(const std::string& port);
  bool plugged(const std::string& port) const { return find(port) != nullptr; }

  void set_trouble(Trouble trouble);
  const Trouble& trouble() const { return trouble_; }
  // Counts the call and says how it ends if it is one that the trouble names.
  Ending check(Refusal Trouble::*step);

  // `known` is false for a name that the spooler doesn't have.
  Ending bind(const std::u16string& printer, bool known, uint32_t access);
  Ending unbind(const std::u16string& printer);

  // Takes a whole batch in; `port` is that of the bound printer. Each ticket has to be
  // brought to its answer.
  Arrival arrive(SeenBatch batch, const std::string& port);
  // Moves the bytes of the batch, once its gate is open. Gives the moment of the next call,
  // or nothing when the answer is ready. Batches for one port wait for each other.
  std::optional<uint64_t> proceed(uint64_t ticket, uint64_t now_ms);
  // The answer, once. Looks at the port as it is now.
  Answer answer(uint64_t ticket);

  // For the printer at the port, if there is one.
  bool push_status(const std::string& port, const StatusPush& push);
  // What was handed to printers at the port, in order.
  const std::vector<WireMessage>& wire(const std::string& port);

  void breach(std::string text) { breaches_.push_back(std::move(text)); }
  const std::vector<std::string>& breaches() const { return breaches_; }
  const std::vector<SeenBatch>& batches() const { return batches_; }
  Counts counts(const std::u16string& printer) const;
  LiveObjects& live() { return live_; }

 private:
  // A batch between its arrival and its answer.
  struct Pending {
    SeenBatch batch;
    std::string port;  // folded
    Ending refusal;
    bool named = false;
    std::optional<size_t> command_row;  // the row that goes to the printer
    std::optional<Exchange> exchange;
    std::optional<uint64_t> ready_ms;  // of a batch that needs no printer
  };

  const Printer* find(const std::string& port) const;
  Printer* reachable(const std::string& port);
  RowResult answer_row(const Pending& pending, size_t index, const Printer& printer) const;
  bool names_printer(const SeenRow& row, const std::u16string& bound);
  void check_row(const SeenRow& row, size_t index, bool named);
  void check_order(const SeenBatch& batch, const std::optional<size_t>& command_row);
  std::optional<ExchangePlan> plan_of(const Pending& pending);
  std::optional<uint64_t> wait_for_turn(uint64_t ticket, const Pending& pending, uint64_t now_ms);
  void collect_from(const std::string& port, Printer& printer);
  bool scripted(const SeenRow& row) const { return trouble_.rows.contains(row.schema); }

  std::map<std::string, Printer> printers_;  // by port, whose name counts without case
  std::map<uint64_t, Pending> pending_;      // by ticket
  std::map<std::string, uint64_t> holders_;  // by port: the ticket whose bytes are on the wire
  std::map<std::string, std::vector<WireMessage>> wire_;
  uint64_t last_ticket_ = 0;
  Trouble trouble_;
  std::vector<std::pair<Refusal Trouble::*, uint32_t>> met_;  // calls since the trouble was set
  std::map<std::u16string, Counts> counts_;                   // by printer name
  std::vector<SeenBatch> batches_;
  std::vector<std::string> breaches_;
  LiveObjects live_;
};

// For breaches and failure texts: printable ASCII as it is, the rest as escapes.
std::string readable(const std::u16string& text);

}  // namespace simulator
