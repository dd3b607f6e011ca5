// Connection info beside the choice of channels: what is asked, what is kept, what fails.

#include "tests/system/fixture.h"

namespace system_test {
namespace {

using far_side::Refusal;
using far_side::Trouble;
using ::testing::Contains;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

constexpr std::uint32_t kAccessDenied = 0x80070005;
constexpr std::uint32_t kServerOffline = 0x800732CB;
constexpr std::uint32_t kDeviceOffline = 0x800732CC;
constexpr std::uint32_t kSchemaNotSupported = 0x800732CD;
constexpr std::uint32_t kFailure = 0x80004005;

Bytes WideBytes(const std::u16string& text) {
  Bytes bytes;
  for (const char16_t unit : text + u'\0') {
    bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  return bytes;
}

class ConnectionInfo : public SystemTest {
 protected:
  std::uint32_t Queries() { return far_side::counts(kLaser).device_id_queries; }

  void ExpectRefused(std::int32_t code) {
    const Connection answer = provider().Connect(kLaser);
    EXPECT_EQ(answer.code, code);
    EXPECT_EQ(answer.name, std::nullopt);
    EXPECT_THAT(answer.entries, IsEmpty());
  }
};

TEST_F(ConnectionInfo, AsksForTheDeviceIdInOneBatchThatNamesThePrinter) {
  AddLaser();
  Load();
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
  const auto batches = far_side::batches();
  ASSERT_EQ(batches.size(), 1U);
  EXPECT_EQ(batches[0].printer, u"Laser");
  EXPECT_EQ(batches[0].action, u"Get");
  EXPECT_TRUE(batches[0].container);
  const std::vector<far_side::SeenRow> rows = {
      {u"\\Printer.VELNO_SCHEMA:SetPrinterName", 7, WideBytes(u"Laser")},
      {u"\\Printer.VELNO_SCHEMA:GetDeviceID", 0, {}}};
  EXPECT_EQ(batches[0].rows, rows);
  EXPECT_EQ(far_side::counts(kLaser).bound, 1U);
  EXPECT_EQ(far_side::counts(kLaser).unbinds, 1U);
}

TEST_F(ConnectionInfo, IsAnsweredFromTheCacheTheSecondTime) {
  AddLaser();
  LogTo(kLogOperations);
  Load();
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
  EXPECT_THAT(LogLines(kLaser), Contains("CPrinterInf::GetConnectInf Return : rc = 1"));
  EXPECT_THAT(LogLines(kLaser), Not(Contains(StartsWith("CPrinterInf::GetConnectInf Exist"))));
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
  EXPECT_EQ(Queries(), 1U);
  EXPECT_THAT(LogLines(kLaser), Contains("CPrinterInf::GetConnectInf Enter").Times(2));
  EXPECT_THAT(LogLines(kLaser), Contains("CPrinterInf::GetConnectInf Exist DevID Return : rc = 1"));
}

TEST_F(ConnectionInfo, OfAUniversalDriverIsAskedEachTime) {
  AddPrinter(kLaser, "USB001", kLaserId, {{ChnlKindBdc}}, "LPT_UniversalDriver=1\n");
  Load();
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
  EXPECT_EQ(Queries(), 2U);
}

TEST_F(ConnectionInfo, WithAnAgeLimitOfNothingIsAskedEachTime) {
  AddPrinter(kLaser, "USB001", kLaserId, {{ChnlKindBdc}}, "LPT_DevIDNoChkTime=0\n");
  Load();
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
  EXPECT_EQ(Queries(), 2U);
}

TEST_F(ConnectionInfo, WithoutAChannelWritesTheNameAllTheSame) {
  AddPrinter(kLaser, "USB001", "CMD:QPL;", {{ChnlKindBdc}});
  LogTo(kLogOperations);
  Load();
  for (int call = 0; call < 2; ++call) {
    const Connection answer = provider().Connect(kLaser);
    EXPECT_EQ(answer.code, VLPER_NOENTRY);
    EXPECT_EQ(answer.name, kLaser);
    EXPECT_THAT(answer.entries, IsEmpty());
  }
  EXPECT_EQ(Queries(), 1U);
  EXPECT_THAT(LogLines(kLaser), Contains(::testing::HasSubstr("Exist DevID Return : rc = -19")));
}

TEST_F(ConnectionInfo, FailedCommunicationReadsAsNotSupported) {
  AddLaser();
  far_side::set_trouble({.send = {.result = kFailure}});
  LogTo(kLogOperations);
  Load();
  ExpectRefused(VLPER_NOTSUPPORT);
  EXPECT_THAT(LogLines(kLaser),
              Contains("CPrinterInf::GetConnectInf Change VLPER_SEND to VLPER_NOTSUPPORT"));
  EXPECT_THAT(LogLines(kLaser),
              Contains(::testing::HasSubstr("CPrinterInf::GetConnectInf Return : rc = -1")));
}

TEST_F(ConnectionInfo, AnOfflineServerOrDeviceIsNotConnected) {
  AddLaser();
  Load();
  for (const std::uint32_t result : {kServerOffline, kDeviceOffline}) {
    far_side::set_trouble({.send = {.result = result}});
    ExpectRefused(VLPER_NOTCONNECT);
  }
  far_side::set_trouble({});
  far_side::plug({.port = "USB001",
                  .device_id = bytes_of(kLaserId),
                  .reach = far_side::Reach::device_offline});
  ExpectRefused(VLPER_NOTCONNECT);
  far_side::unplug("USB001");
  ExpectRefused(VLPER_NOTCONNECT);
}

TEST_F(ConnectionInfo, ASpoolerThatDoesNotKnowTheSchemasIsNotSupported) {
  AddLaser();
  far_side::set_trouble({.send = {.result = kSchemaNotSupported}});
  Load();
  ExpectRefused(VLPER_NOTSUPPORT);
}

TEST_F(ConnectionInfo, AMutePrinterIsNotConnected) {
  AddLaser();
  far_side::plug({.port = "USB001", .device_id = bytes_of(kLaserId), .mute = true});
  Load();
  ExpectRefused(VLPER_NOTCONNECT);
  EXPECT_EQ(provider().DeviceId(1, kLaser), VLPER_NOTCONNECT);
  ExpectNothingQueued();
}

TEST_F(ConnectionInfo, WithoutTheRightsOfAnAdministratorTheUsersDo) {
  AddLaser();
  far_side::set_trouble({.bind_administrator = {.result = kAccessDenied}});
  Load();
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
  EXPECT_EQ(far_side::counts(kLaser).binds_administrator, 1U);
  EXPECT_EQ(far_side::counts(kLaser).binds_user, 1U);
  EXPECT_EQ(far_side::counts(kLaser).unbinds, 1U);
}

TEST_F(ConnectionInfo, ABindThatFailsOtherwiseIsNotRepeated) {
  AddLaser();
  far_side::set_trouble({.bind_administrator = {.result = kFailure, .last_error = 31}});
  Load();
  ExpectRefused(VLPER_NOTSUPPORT);
  EXPECT_EQ(far_side::counts(kLaser).binds_user, 0U);
  EXPECT_EQ(far_side::counts(kLaser).unbinds, 0U);
}

TEST_F(ConnectionInfo, EveryStepThatTheSpoolerRefusesGivesAListedCode) {
  AddLaser();
  Load();
  struct Step {
    const char* name;
    Refusal Trouble::*step;
    std::int32_t code;
  };
  const Step steps[] = {
      {"create request", &Trouble::create_request, VLPER_NOTSUPPORT},
      {"create container", &Trouble::create_container, VLPER_NOTSUPPORT},
      {"set schema", &Trouble::set_schema, VLPER_NOTSUPPORT},
      {"add request", &Trouble::add_request, VLPER_NOTSUPPORT},
      {"get request count", &Trouble::get_request_count, VLPER_NOTSUPPORT},
      {"get output data", &Trouble::get_output_data, VLPER_NOTSUPPORT},
  };
  for (const Step& step : steps) {
    Trouble trouble;
    (trouble.*step.step).result = kFailure;
    far_side::set_trouble(trouble);
    EXPECT_EQ(provider().Connect(kLaser).code, step.code) << step.name;
  }
  far_side::set_trouble({});
  EXPECT_EQ(far_side::counts(kLaser).bound, far_side::counts(kLaser).unbinds);
  EXPECT_EQ(provider().Connect(kLaser).code, 1) << "nothing of the failures stays";
}

TEST_F(ConnectionInfo, ASpoolerWithoutBidiServiceIsNotSupported) {
  AddLaser();
  far_side::set_trouble({.create_spl = {.result = kFailure}});
  Load();
  ExpectRefused(VLPER_NOTSUPPORT);
  far_side::set_trouble({});
  ExpectRefused(VLPER_NOTSUPPORT);
  EXPECT_THAT(far_side::batches(), IsEmpty());
}

TEST_F(ConnectionInfo, AFailedQueryLeavesNothingYoungBehind) {
  AddPrinter(kLaser, "USB001", kLaserId, {{ChnlKindBdc}}, "LPT_DevIDNoChkTime=0\n");
  Load();
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
  far_side::set_trouble({.send = {.result = kFailure}});
  ExpectRefused(VLPER_NOTSUPPORT);
  far_side::set_trouble({});
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
  EXPECT_EQ(Queries(), 3U);
}

TEST_F(ConnectionInfo, FollowsAPrinterThatChanges) {
  AddPrinter(kLaser, "USB001", "CMD:BDC;", {{ChnlKindD4}, {ChnlKindBdc}},
             "LPT_UniversalDriver=1\n");
  far_side::set_attributes(kLaser, 0x10);
  Load();
  EXPECT_EQ(provider().Connect(kLaser).entries, (std::vector<Entry>{{ChnlKindBdc, 7}}));
  far_side::set_device_id("USB001", bytes_of("CMD:GENVL;"));
  EXPECT_EQ(provider().Connect(kLaser).entries, (std::vector<Entry>{{ChnlKindD4, 0xE007}}));
  far_side::set_device_id("USB001", bytes_of("CMD:D4,BDC;"));
  EXPECT_EQ(provider().Connect(kLaser).entries,
            (std::vector<Entry>{{ChnlKindD4, 7}, {ChnlKindBdc, 7}}));
}

TEST_F(ConnectionInfo, TheProfileIsReadOnlyOnce) {
  AddPrinter(kLaser, "USB001", "CMD:BDC;", {{ChnlKindBdc}}, "LPT_UniversalDriver=1\n");
  Load();
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
  AddPrinter(kLaser, "USB001", "CMD:BDC;", {{ChnlKindBdc}, {ChnlKindZrdPage}});
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
}

}  // namespace
}  // namespace system_test
