// The parts of a printer's life that have to bear failing calls.

#include "tests/system/fault_life.h"

namespace system_test {
namespace {

using far_side::bytes_of;
using namespace std::string_literals;

const std::string kBdcItem = "@BDC ST\r\nST:0400;ER:00;PA:A4;MC:514E3432303030303137;SE:01;\f";

far_side::Bytes Echo(const std::string& text) {
  return bytes_of("ec"s + static_cast<char>(text.size()) + '\0' + text);
}

void Nothing(FaultLife&) {}
void JustLoad(FaultLife& life) { life.Load(); }

// The printer's object is there, but nobody has asked the printer yet.
void LoadAndName(FaultLife& life) {
  life.Load();
  life.Name();
}

void LoadAndConnect(FaultLife& life) {
  life.Load();
  life.Connect();
}

// All that it knows is too old to be given again.
void Age() { Sleep(31'000); }

std::vector<Scenario> MakeScenarios() {
  std::vector<Scenario> all;
  all.push_back({"Attach", Nothing, [](FaultLife& life) { life.Load(); }, 8});
  all.push_back({"Detach",
                 [](FaultLife& life) {
                   LoadAndConnect(life);
                   life.DeviceId();
                   life.StartTaker();
                 },
                 [](FaultLife& life) {
                   life.Terminate();
                   life.Unload();
                 },
                 8, false, false, false});
  all.push_back({"FirstUse", JustLoad, [](FaultLife& life) { life.DeviceId(); }, 40, true, true});
  all.push_back({"FirstUseOfAnAlias",
                 [](FaultLife& life) {
                   life.Load();
                   life.UsePrinter(FaultLife::kAlias);
                 },
                 [](FaultLife& life) { life.DeviceId(); }, 40, true, true});
  all.push_back(
      {"ConnectionInfo", LoadAndName, [](FaultLife& life) { life.Connect(); }, 40, false, true});
  all.push_back({"ConnectionInfoAnew",
                 [](FaultLife& life) {
                   LoadAndConnect(life);
                   Age();
                 },
                 [](FaultLife& life) { life.Connect(); }, 25});
  all.push_back(
      {"DeviceId", LoadAndName, [](FaultLife& life) { life.DeviceId(); }, 40, false, true});
  all.push_back(
      {"DeviceIdOfTheCache", LoadAndConnect, [](FaultLife& life) { life.DeviceId(); }, 6});
  all.push_back({"ResultThatIsWaitedFor",
                 [](FaultLife& life) {
                   LoadAndConnect(life);
                   life.StartTaker();
                 },
                 [](FaultLife& life) {
                   Sleep(1200);
                   life.DeviceId();
                   Sleep(600);
                 },
                 8});
  all.push_back(
      {"Status", LoadAndConnect, [](FaultLife& life) { life.Status(ChnlKindBdc, kBdcItem); }, 25});
  all.push_back({"Command", LoadAndConnect,
                 [](FaultLife& life) { life.Command(ChnlKindBdc, Echo("hello"), "hello"); }, 25});
  all.push_back(
      {"CommandWithoutReply", LoadAndConnect,
       [](FaultLife& life) { life.Command(ChnlKindQpl, bytes_of("@QPL SET x=y\r\n"), ""); }, 25});
  all.push_back(
      {"FaxCommand", LoadAndConnect,
       [](FaultLife& life) { life.Command(ChnlKindEnd4, bytes_of("FX\x01\0\x02"s), "FX:OK\r\n"); },
       20});
  all.push_back({"ThroughCommand", LoadAndConnect,
                 [](FaultLife& life) { life.Through(bytes_of("ti\0\0"s)); }, 20});
  return all;
}

}  // namespace

const std::vector<Scenario>& Scenarios() {
  static const std::vector<Scenario> all = MakeScenarios();
  return all;
}

}  // namespace system_test
