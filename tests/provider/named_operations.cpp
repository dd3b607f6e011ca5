// The operations that name a printer, with what they leave in queue and registry.

#include "tests/provider/provider_fixture.h"

namespace vlp {
namespace {

using provider_test::Context;
using provider_test::kDeviceId;
using provider_test::ProviderTest;
using provider_test::Result;

class Connection : public ProviderTest {};

TEST_F(Connection, GivesEntriesAndTheNameBehindThePrefix) {
  EXPECT_EQ(2, GetConnectInf("UFName:Printer"));
  EXPECT_STREQ("Printer", name_.data());
  EXPECT_EQ('#', name_[8]);
  EXPECT_EQ(0x0000000310010002u, entries_[0]);
  EXPECT_EQ(0x0000000710010003u, entries_[1]);
  EXPECT_EQ(0u, entries_[2]);
  EXPECT_EQ(1u, Context()->registry->Count());
}

TEST_F(Connection, TakesANameOfOneCharacter) {
  far_side::add_printer({.name = "X", .driver = "Model"});
  EXPECT_EQ(2, GetConnectInf("UFName:X"));
  EXPECT_STREQ("X", name_.data());
}

TEST_F(Connection, TakesThePrefixOffOnce) {
  far_side::add_printer({.name = "UFName:Printer", .driver = "Model"});
  EXPECT_EQ(2, GetConnectInf("UFName:UFName:Printer"));
  EXPECT_STREQ("UFName:Printer", name_.data());
}

TEST_F(Connection, MayPutTheNameWhereTheLongerOneStood) {
  char name[260] = "UFName:Printer";
  EXPECT_EQ(2, Table().GetConnectInf(name, name, entries_.data()));
  EXPECT_STREQ("Printer", name);
}

TEST_F(Connection, WithoutChannelsWritesTheNameAllTheSame) {
  far_side::add_printer({.name = "Printer"});
  EXPECT_EQ(VLPER_NOENTRY, GetConnectInf("UFName:Printer"));
  EXPECT_STREQ("Printer", name_.data());
}

TEST_F(Connection, ThatFailsLeavesTheNameAlone) {
  far_side::set_trouble({.send = {.result = 0x80004005}});
  EXPECT_EQ(VLPER_NOTSUPPORT, GetConnectInf("UFName:Printer"));
  EXPECT_TRUE(NameIsUntouched());
  far_side::set_trouble({.send = {.result = 0x800732CC}});
  EXPECT_EQ(VLPER_NOTCONNECT, GetConnectInf("UFName:Printer"));
  EXPECT_TRUE(NameIsUntouched());
  EXPECT_EQ(VLPER_NOTSUPPORT, GetConnectInf("UFName:Nobody"));
  EXPECT_TRUE(NameIsUntouched());
}

TEST_F(Connection, ReadsTheLimitOfTheNameFromTheTable) {
  EXPECT_EQ(2, GetConnectInf("UFName:Printer"));
  Context()->table.maxNameSize = 8;
  EXPECT_EQ(2, GetConnectInf("UFName:Printer"));
  EXPECT_STREQ("Printer", name_.data());
  Context()->table.maxNameSize = 7;
  EXPECT_EQ(VLPER_NOTSUPPORT, GetConnectInf("UFName:Printer"));
  EXPECT_TRUE(NameIsUntouched());
  EXPECT_EQ(0x0000000310010002u, entries_[0]);
}

TEST_F(Connection, WithoutChannelsKeepsToTheLimitOfTheNameToo) {
  far_side::add_printer({.name = "Printer"});
  Table();
  Context()->table.maxNameSize = 7;
  EXPECT_EQ(VLPER_NOTSUPPORT, GetConnectInf("UFName:Printer"));
  EXPECT_TRUE(NameIsUntouched());
}

class NamedOperation : public ProviderTest {
 protected:
  // The codes of all five operations that name a printer.
  std::vector<std::int32_t> CallAll(const std::string& name) {
    const std::uint8_t command[] = {'x'};
    const ProviderTable& table = Table();
    return {GetConnectInf("UFName:" + name), table.GetDeviceID(1, name.c_str()),
            table.SendCommand(1, name.c_str(), ChnlKindBdc, command, 1),
            table.GetStatus(1, name.c_str(), ChnlKindBdc),
            table.SendThroughCommand(1, name.c_str(), ChnlKindBdc, command, 1)};
  }
};

TEST_F(NamedOperation, RefusesEachPortThatIsNotLocal) {
  const std::vector<std::int32_t> refused(5, VLPER_NOTSUPPORT);
  for (const char* port : {"NULL", "FILE:", "COM1:", "IP_10.0.0.1", ""}) {
    far_side::set_port("Printer", port);
    EXPECT_EQ(refused, CallAll("Printer")) << port;
  }
  far_side::remove_printer("Printer");
  EXPECT_EQ(refused, CallAll("Printer"));
  EXPECT_EQ(far_side::Counts{}, far_side::counts("Printer"));
  EXPECT_EQ(0u, Queued());
  EXPECT_EQ(1u, Context()->registry->Count());
}

TEST_F(NamedOperation, ChecksThePortOnEachCall) {
  EXPECT_EQ(2, GetConnectInf("UFName:Printer"));
  EXPECT_EQ(0, Table().GetDeviceID(1, "Printer"));
  far_side::set_port("Printer", "NULL");
  EXPECT_EQ(std::vector<std::int32_t>(5, VLPER_NOTSUPPORT), CallAll("Printer"));
  far_side::set_port("Printer", "USB001");
  EXPECT_EQ(2, GetConnectInf("UFName:Printer"));
  EXPECT_EQ(0, Table().GetDeviceID(2, "Printer"));
  EXPECT_EQ(1u, Queries());
}

TEST_F(NamedOperation, TakesAPrefixedNameForAnotherPrinter) {
  EXPECT_EQ(VLPER_NOTSUPPORT, Table().GetDeviceID(1, "UFName:Printer"));
  EXPECT_EQ(VLPER_NOTSUPPORT, Table().GetStatus(1, "UFName:Printer", ChnlKindBdc));
  EXPECT_EQ(1u, Context()->registry->Count());
  EXPECT_EQ("UFName:Printer", Context()->registry->FindOrCreate("UFName:Printer")->Name());
}

TEST_F(NamedOperation, ServesAPrinterWhoseWorkerDidntStartWithARefusalOnly) {
  far_side::set_trouble({.create_spl = {.result = 0x80004005}});
  EXPECT_EQ(VLPER_NOTSUPPORT, Table().GetDeviceID(1, "Printer"));
  EXPECT_EQ(1u, Context()->registry->Count());
}

class DeviceIdOperation : public ProviderTest {};

TEST_F(DeviceIdOperation, QueuesTheDeviceIdUnderItsNumber) {
  for (const std::uint32_t id : {1u, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(0, Table().GetDeviceID(id, "Printer"));
    const Result result = Take();
    EXPECT_EQ(18, result.rc);
    EXPECT_EQ(id, result.id);
    EXPECT_EQ(kDeviceId, result.data);
  }
}

TEST_F(DeviceIdOperation, AskedTwiceTouchesThePrinterOnceAndQueuesTwice) {
  EXPECT_EQ(0, Table().GetDeviceID(1, "Printer"));
  EXPECT_EQ(0, Table().GetDeviceID(2, "Printer"));
  EXPECT_EQ(1u, Queries());
  EXPECT_EQ(2u, Queued());
  EXPECT_EQ(1u, Take().id);
  EXPECT_EQ(2u, Take().id);
}

TEST_F(DeviceIdOperation, ThatFailsQueuesNothing) {
  far_side::set_trouble({.send = {.result = 0x80004005}});
  EXPECT_EQ(VLPER_SEND, Table().GetDeviceID(1, "Printer"));
  far_side::set_trouble({});
  far_side::set_device_id("USB001", {});
  EXPECT_EQ(VLPER_NOTCONNECT, Table().GetDeviceID(1, "Printer"));
  EXPECT_EQ(0u, Queued());
}

TEST_F(DeviceIdOperation, OfADeviceIdThatIsTooLongQueuesNothing) {
  far_side::set_device_id("USB001", far_side::Bytes(1025, 'x'));
  EXPECT_EQ(VLPER_BUFFERSIZE, Table().GetDeviceID(1, "Printer"));
  EXPECT_EQ(1u, Queries());
  EXPECT_EQ(0u, Queued());
}

TEST_F(DeviceIdOperation, OfAUniversalDriverAsksTwice) {
  far_side::add_model("Model", "LPT_UniversalDriver=1");
  EXPECT_EQ(0, Table().GetDeviceID(1, "Printer"));
  EXPECT_EQ(2u, Queries());
  EXPECT_EQ(kDeviceId, Take().data);
}

class StopOperation : public ProviderTest {};

TEST_F(StopOperation, StopsQueueAndWorkersAndMayBeRepeated) {
  EXPECT_EQ(0, Table().GetDeviceID(1, "Printer"));
  EXPECT_EQ(0, Table().Terminate());
  EXPECT_EQ(0u, far_side::live_objects().spls);
  EXPECT_EQ(VLPER_TERMINATE, Take().rc);
  EXPECT_EQ(1u, Queued());
  EXPECT_EQ(0, Table().Terminate());
  EXPECT_EQ(VLPER_TERMINATE, Take().rc);
}

TEST_F(StopOperation, WithoutAPrinterSucceeds) {
  EXPECT_EQ(0, Table().Terminate());
  EXPECT_EQ(VLPER_TERMINATE, Take().rc);
}

TEST_F(StopOperation, LeavesWhatIsInTheCaches) {
  EXPECT_EQ(2, GetConnectInf("UFName:Printer"));
  EXPECT_EQ(0, Table().Terminate());
  EXPECT_EQ(2, GetConnectInf("UFName:Printer"));
  EXPECT_EQ(0, Table().GetDeviceID(1, "Printer"));
  EXPECT_EQ(1u, Queued());
  EXPECT_EQ(VLPER_TERMINATE, Take().rc);
}

TEST_F(StopOperation, EndsTheQueriesOfKnownPrintersOnly) {
  far_side::add_model("Model", "LPT_UniversalDriver=1");
  EXPECT_EQ(0, Table().GetDeviceID(1, "Printer"));
  EXPECT_EQ(0, Table().Terminate());
  EXPECT_EQ(VLPER_TERMINATE, Table().GetDeviceID(2, "Printer"));
  far_side::add_printer({.name = "Later"});
  EXPECT_EQ(0, Table().GetDeviceID(3, "Later"));
  EXPECT_EQ(2u, Queued());
  EXPECT_EQ(VLPER_TERMINATE, Take().rc);
}

}  // namespace
}  // namespace vlp
