#pragma once

// One life of the library, of which one part goes by while a call fails: what is prepared
// goes well, then the fault is armed for what is tested, and behind it all must be as ever.

#include <windows.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "include/vlpbidi.h"
#include "tests/support/far_side.h"
#include "tests/support/virtual_time.h"

namespace system_test {

inline constexpr const char* kAllocation = "operator new";
// More than a result stays unseen because its signal was lost, or the event missing.
inline constexpr DWORD kTakerLooksMs = 1200;

// Which call fails; none if it has no name.
struct Fault {
  std::string call = {};
  unsigned nth = 0;
  bool from_then_on = false;
  DWORD error = 0;

  std::string Text() const;
};

class FaultLife;
using Part = std::function<void(FaultLife&)>;

struct Scenario {
  std::string name;
  Part prepare;
  Part act;
  unsigned least_calls;  // that can fail in it, without allocations and with the log off
  // The printer is made in it, and its model's profile read.
  bool first_use = false;
  bool reads_profile = false;
  bool allocates = true;
};

// Calls by name, and how often, as the part under test made them.
struct Made {
  std::map<std::string, unsigned> calls;
  // Which opening of a printer is that for its profile; 0: none.
  unsigned profile_opening = 0;
};

class FaultLife {
 public:
  // `log` is the mask of the log, 0 for none.
  FaultLife(const Scenario& scenario, const Fault& fault, const Made& undisturbed,
            std::uint32_t log);

  // Lives it. True if the fault was met.
  bool Live();
  const Made& made() const { return made_; }

  // --- For the parts ---------------------------------------------------------------------

  // Loads the library; it may have no table then, or not be there at all.
  void Load();
  // Gives it back; it must leave memory.
  void Unload();

  // The operations. Each must give `good`, or if there was a fault a listed code, and leave
  // no lock held. What it should have queued is asked for in the end.
  std::int32_t Connect();
  std::int32_t Name();  // a status request before the channels are known
  std::int32_t DeviceId();
  std::int32_t Status(ChannelKind kind, const std::string& item);
  std::int32_t Command(ChannelKind kind, const far_side::Bytes& command, const std::string& reply);
  std::int32_t Through(const far_side::Bytes& command);
  void Terminate();

  // A thread that sits in GetResult until it is told to end.
  void StartTaker();

  // From now on the parts use this printer; the first is kPrinter.
  void UsePrinter(const std::string& name) { printer_ = name; }

  static constexpr const char* kDeviceId = "MFG:V;CMD:QPL,BDC,END4;MDL:L;";
  static constexpr const char* kPrinter = "Printer";
  static constexpr const char* kSecond = "Second";
  static constexpr const char* kAlias = "\\\\CSR|server\\alias";

 private:
  // What an operation that was asked has to show for itself.
  struct Asked {
    std::uint32_t id;
    std::int32_t code;
    far_side::Bytes data;
    bool may_be_empty;  // a lost reply looks like none
  };
  enum class Aftermath { works, profile_is_hurt, worker_is_missing };

  void Describe() const;
  void BringBack() const;
  void Arm();
  void Disarm();
  Aftermath Expected() const;
  void ExpectRecovery();
  void ExpectService();
  void ExpectUnloaded() const;
  void EndQueue();
  void ExpectResults();
  void Take();
  template <typename Call>
  std::int32_t Tested(std::int32_t good, Call call);
  void ExpectEntries(std::int32_t count, const std::uint64_t* entries) const;
  std::int32_t Ask(std::int32_t code, far_side::Bytes data, bool may_be_empty = false);
  void ExpectNoLock() const;
  void ExpectNothingLeft() const;

  const Scenario& scenario_;
  const Fault& fault_;
  const Made& undisturbed_;
  std::uint32_t log_;
  Made made_;

  HMODULE library_ = nullptr;
  const ProviderTable* table_ = nullptr;
  std::string printer_ = kPrinter;
  unsigned met_ = 0;
  bool armed_ = false;
  bool terminated_ = false;
  std::uint32_t last_id_ = 0;
  std::vector<Asked> asked_;
  std::multimap<std::uint32_t, far_side::Bytes> taken_;  // the taker's while it runs
  std::unique_ptr<test::TestThread> taker_;
};

// All of them, in the order of a printer's life.
const std::vector<Scenario>& Scenarios();

}  // namespace system_test
