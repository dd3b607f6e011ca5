// The device ID: its bytes through the length protocol and the queue, its cache, its failures.

#include "tests/system/fixture.h"

namespace system_test {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class DeviceId : public SystemTest {
 protected:
  Bytes Fetch(std::uint32_t id = 1) {
    const std::int32_t code = provider().DeviceId(id, kLaser);
    EXPECT_EQ(code, 0);
    if (code != 0) return {};
    const Result result = provider().Take();
    EXPECT_EQ(result.request_id, id);
    return result.data;
  }

  std::uint32_t Queries() { return far_side::counts(kLaser).device_id_queries; }
};

TEST_F(DeviceId, ArrivesByteByByteWhateverItsLength) {
  AddPrinter(kLaser, "USB001", kLaserId, {{ChnlKindBdc}}, "LPT_DevIDNoChkTime=0\n");
  Load();
  for (const std::size_t size : {1U, 2U, 255U, 256U, 257U, 1023U, 1024U}) {
    Bytes bytes(size);
    for (std::size_t at = 0; at < size; ++at) bytes[at] = static_cast<std::uint8_t>(at * 7 + 1);
    far_side::set_device_id("USB001", bytes);
    EXPECT_EQ(Fetch(), bytes) << size << " bytes";
  }
}

TEST_F(DeviceId, MayHoldNulsAnywhere) {
  AddPrinter(kLaser, "USB001", kLaserId, {{ChnlKindBdc}}, "LPT_DevIDNoChkTime=0\n");
  Load();
  const std::string inside("\0CMD:BDC\0;\0", 11);
  const std::string only(3, '\0');
  const std::string before("CMD:\0,BDC;", 10);
  for (const std::string& text : {inside, only, before}) {
    far_side::set_device_id("USB001", bytes_of(text));
    EXPECT_EQ(Fetch(), bytes_of(text));
  }
  far_side::set_device_id("USB001", bytes_of(before));
  EXPECT_EQ(provider().Connect(kLaser).code, 1) << "the list goes on behind a NUL";
}

TEST_F(DeviceId, OfNoLengthIsNoConnection) {
  AddLaser();
  far_side::set_device_id("USB001", {});
  Load();
  EXPECT_EQ(provider().DeviceId(1, kLaser), VLPER_NOTCONNECT);
  EXPECT_EQ(provider().Connect(kLaser).code, VLPER_NOTCONNECT);
  EXPECT_EQ(Queries(), 2U);
  ExpectNothingQueued();
}

TEST_F(DeviceId, OfMoreThanItsRoomIsRefusedWhole) {
  AddLaser();
  far_side::set_device_id("USB001", Bytes(1025, 'x'));
  Load();
  EXPECT_EQ(provider().DeviceId(1, kLaser), VLPER_BUFFERSIZE);
  EXPECT_EQ(Queries(), 1U) << "a size that nobody knows can't be asked for again";
  const Connection answer = provider().Connect(kLaser);
  EXPECT_EQ(answer.code, VLPER_BUFFERSIZE);
  EXPECT_EQ(answer.name, std::nullopt);
  far_side::set_device_id("USB001", Bytes(100000, 'x'));
  EXPECT_EQ(provider().DeviceId(1, kLaser), VLPER_BUFFERSIZE);
  ExpectNothingQueued();
}

TEST_F(DeviceId, WithoutACommandListIsADeviceIdAllTheSame) {
  AddLaser();
  far_side::set_device_id("USB001", bytes_of("MFG:V;MDL:L;"));
  Load();
  EXPECT_EQ(Fetch(), bytes_of("MFG:V;MDL:L;"));
  EXPECT_EQ(provider().Connect(kLaser).code, VLPER_NOENTRY);
}

TEST_F(DeviceId, IsReadOnceAndDeliveredTwice) {
  AddLaser();
  Load();
  ASSERT_EQ(provider().DeviceId(11, kLaser), 0);
  ASSERT_EQ(provider().DeviceId(12, kLaser), 0);
  EXPECT_EQ(Queries(), 1U);
  for (const std::uint32_t id : {11U, 12U}) {
    const Result result = provider().Take();
    EXPECT_EQ(result.request_id, id);
    EXPECT_EQ(result.data, bytes_of(kLaserId));
  }
}

TEST_F(DeviceId, SharesItsReadingWithConnectionInfo) {
  AddLaser();
  Load();
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
  EXPECT_EQ(Fetch(), bytes_of(kLaserId));
  EXPECT_EQ(provider().Connect(kLaser).code, 1);
  EXPECT_EQ(Queries(), 1U);
}

TEST_F(DeviceId, OfAUniversalDriverIsReadByBothCallsOfTheProtocol) {
  AddPrinter(kLaser, "USB001", kLaserId, {{ChnlKindBdc}}, "LPT_UniversalDriver=1\n");
  Load();
  EXPECT_EQ(Fetch(), bytes_of(kLaserId));
  EXPECT_EQ(Queries(), 2U);
  EXPECT_EQ(Fetch(), bytes_of(kLaserId));
  EXPECT_EQ(Queries(), 4U);
}

TEST_F(DeviceId, FailedCommunicationStaysWhatItIs) {
  AddLaser();
  far_side::set_trouble({.send = {.result = 0x80004005}});
  LogTo(kLogOperations);
  Load();
  EXPECT_EQ(provider().DeviceId(1, kLaser), VLPER_SEND);
  EXPECT_EQ(Queries(), 1U);
  EXPECT_THAT(LogLines(kLaser), Contains(HasSubstr("CPrinterInf::GetDeviceID Return : rc = -9")));
  EXPECT_THAT(LogLines(kLaser), Not(Contains(HasSubstr("Change VLPER_SEND"))));
  far_side::set_trouble({});
  ExpectNothingQueued();
}

TEST_F(DeviceId, AFailureBetweenTheTwoCallsIsTheResult) {
  AddPrinter(kLaser, "USB001", kLaserId, {{ChnlKindBdc}}, "LPT_UniversalDriver=1\n");
  far_side::set_trouble({.send = {.result = 0x80004005, .at = 2}});
  Load();
  EXPECT_EQ(provider().DeviceId(1, kLaser), VLPER_SEND);
  EXPECT_EQ(Queries(), 2U);
  far_side::set_trouble({});
  ExpectNothingQueued();
}

TEST_F(DeviceId, ASpoolersFailureLeavesNoOldAnswer) {
  AddPrinter(kLaser, "USB001", kLaserId, {{ChnlKindBdc}}, "LPT_DevIDNoChkTime=0\n");
  Load();
  EXPECT_EQ(Fetch(), bytes_of(kLaserId));
  far_side::unplug("USB001");
  EXPECT_EQ(provider().DeviceId(2, kLaser), VLPER_NOTCONNECT);
  ExpectNothingQueued();
}

TEST_F(DeviceId, OddAnswersOfTheSpoolerAreTakenWithCare) {
  AddPrinter(kLaser, "USB001", kLaserId, {{ChnlKindBdc}}, "LPT_DevIDNoChkTime=0\n");
  Load();
  struct Odd {
    const char* name;
    far_side::RowAnswer answer;
    std::int32_t code;
  };
  const Odd odd[] = {
      {"no output", {.data = std::nullopt}, VLPER_NOTCONNECT},
      {"the null type", {.data = bytes_of("abc"), .type = 0}, VLPER_NOTCONNECT},
      {"a null pointer with a size", {.data = bytes_of("abc"), .null_data = true}, VLPER_SEND},
      {"a null pointer with too large a size",
       {.data = Bytes(2000), .null_data = true},
       VLPER_BUFFERSIZE},
      {"the number for an unknown schema",
       {.result = 13005, .data = bytes_of("abc")},
       VLPER_NOTSUPPORT},
      {"another number", {.result = 13006, .data = bytes_of("abc")}, 0},
      {"another type", {.data = bytes_of("abc"), .type = 4}, 0},
      {"two outputs", {.data = bytes_of("abc"), .outputs = 2}, 0},
  };
  for (const Odd& each : odd) {
    far_side::Trouble trouble;
    trouble.rows[u"\\Printer.VELNO_SCHEMA:GetDeviceID"] = each.answer;
    far_side::set_trouble(trouble);
    EXPECT_EQ(provider().DeviceId(1, kLaser), each.code) << each.name;
    if (each.code != 0) continue;
    EXPECT_EQ(provider().Take().data, bytes_of("abc")) << each.name;
  }
  far_side::set_trouble({});
  ExpectNothingQueued();
}

TEST_F(DeviceId, IsLoggedWithItsBytes) {
  AddLaser();
  LogTo(kLogOperations);
  Load();
  EXPECT_EQ(Fetch(), bytes_of(kLaserId));
  const std::string data = " Data(20): " + std::string(kLaserId);
  const auto lines = LogLines(kLaser);
  EXPECT_THAT(lines, Contains("CPrinterInf::GetDeviceID Enter").Times(2));
  EXPECT_THAT(lines, Contains(HasSubstr("CPrinterInf::GetDeviceID Return : rc = -5")));
  EXPECT_THAT(lines, Contains("CPrinterInf::GetDeviceID Exist DevID Return"));
  EXPECT_THAT(lines, Contains(data));
}

TEST_F(DeviceId, IsLoggedCutUnlessTheLogIsToCutNothing) {
  AddLaser();
  far_side::set_device_id("USB001", Bytes(300, 'x'));
  for (const std::size_t shown : {256U, 300U}) {
    LogTo(shown == 256 ? kLogOperations : kLogOperations | kLogUncut);
    Load();
    EXPECT_EQ(Fetch().size(), 300U);
    EXPECT_THAT(LogLines(kLaser), Contains(" Data(300): " + std::string(shown, 'x')));
    DropProvider();
  }
}

}  // namespace
}  // namespace system_test
