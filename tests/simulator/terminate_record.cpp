// The record that tells how a reply ends, and the end found by it.

#include "simulator/terminate_record.h"

#include <gtest/gtest.h>

#include <functional>
#include <string_view>

namespace {

using namespace std::string_view_literals;
using simulator::Bytes;
using simulator::bytes_of;
using simulator::read_terminate_record;
using simulator::ReplyEnd;
using simulator::TerminateRecord;
using simulator::View;

// A record of REMOTE1, byte by byte.
Bytes remote_record() {
  return bytes_of(
      std::string("\x01\0\0\0\0\0\0\0\x0A\0\0\0\x05\0\0\0\x0C\0\0\0\0\0\0\0\x0C"
                  "@BDC ST2\r\nST\x01\0\x01@BDC PS\r\nST:"sv));
}

TEST(TerminateRecord, IsReadFieldByField) {
  std::string error;
  const auto record = read_terminate_record(remote_record(), error);
  ASSERT_TRUE(record.has_value()) << error;
  EXPECT_EQ(0x0C, record->end_byte);
  EXPECT_TRUE(record->status_end.empty());
  EXPECT_EQ(bytes_of("@BDC ST2\r\n"), record->st2_head);
  EXPECT_EQ(bytes_of(std::string("ST\x01\0\x01"sv)), record->probe);
  EXPECT_EQ(bytes_of("@BDC PS\r\nST:"), record->probe_head);
  EXPECT_TRUE(record->trailer.empty());
}

TEST(TerminateRecord, OfEveryWrongLengthIsRefused) {
  const Bytes whole = remote_record();
  std::string error;
  for (size_t length = 0; length < whole.size(); ++length) {
    EXPECT_FALSE(read_terminate_record(View(whole).first(length), error)) << length;
  }
  Bytes more = whole;
  more.push_back(0);
  EXPECT_FALSE(read_terminate_record(more, error));
  EXPECT_EQ("1 bytes too many", error);
}

struct Change {
  const char* what;
  size_t offset;
  uint8_t value;
};

TEST(TerminateRecord, WithAFieldAtFaultIsRefused) {
  const Change changes[] = {{"format", 0, 2},         {"high byte of the format", 3, 1},
                            {"status end", 4, 2},     {"binary head", 8, 9},
                            {"no probe", 12, 0},      {"huge probe", 15, 0xFF},
                            {"no probe head", 16, 0}, {"trailer", 20, 1}};
  for (const Change& change : changes) {
    Bytes record = remote_record();
    record[change.offset] = change.value;
    std::string error;
    EXPECT_FALSE(read_terminate_record(record, error)) << change.what;
    EXPECT_NE("", error) << change.what;
  }
}

TEST(TerminateRecord, WithAFieldThatIsShortButFitsIsRefused) {
  Bytes record = remote_record();
  record[8] = 9;
  record.erase(record.begin() + 25);
  std::string error;
  EXPECT_FALSE(read_terminate_record(record, error));
  EXPECT_EQ("head of the binary status of 9 bytes", error);
}

TerminateRecord job() {
  return {.end_byte = 0x0C,
          .status_end = bytes_of("\n"),
          .probe = bytes_of("@QPL ID\r\n"),
          .probe_head = bytes_of("@QPL ID\r\n")};
}

TerminateRecord remote() {
  std::string error;
  return *read_terminate_record(remote_record(), error);
}

struct Reply {
  const char* what;
  std::function<TerminateRecord()> record;
  size_t probes;
  std::string bytes;  // the reply ends exactly behind them
};

const std::string binary_item{"@BDC ST2\r\n\x0E\x00@BDC PS\r\nST:\x0C\x0A"sv};

const Reply replies[] = {
    {"only the probe's answer", job, 1, "@QPL ID\r\nx\x0C"},
    {"end byte before the head", job, 1,
     "a\x0C"
     "b@QPL ID\r\nx\x0C"},
    {"two probes", job, 2, "@QPL ID\r\nx\x0C@QPL ID\r\ny\x0C"},
    {"half a head before the head", job, 1, "@QPL @QPL ID\r\nx\x0C"},
    {"text item, then the probe's answer", job, 1, "@QPL STATUS CODE=1\n@QPL ID\r\n\x0C"},
    {"binary item that looks like an end", remote, 1, binary_item + "@BDC PS\r\nST:\x0C"},
    {"binary item inside the probe's answer", remote, 1, "@BDC PS\r\nST:" + binary_item + "\x0C"},
    {"binary item of no bytes", remote, 1, std::string("@BDC ST2\r\n\0\0@BDC PS\r\nST:\x0C"sv)},
    {"status of the job language without a probe", job, 0, "@QPL STATUS CODE=1\x0C\n"},
    {"text status without a probe", remote, 0, "@BDC ST\r\nST:1\x0C"},
    {"binary status without a probe", remote, 0, binary_item},
};

TEST(ReplyEnd, IsFoundAtItsLastByteAndNotBefore) {
  for (const Reply& reply : replies) {
    const Bytes bytes = bytes_of(reply.bytes);
    ReplyEnd by_bytes(reply.record(), reply.probes);
    for (size_t length = 0; length < bytes.size(); ++length) {
      EXPECT_FALSE(by_bytes.reached(View(bytes).first(length))) << reply.what << ": " << length;
    }
    EXPECT_TRUE(by_bytes.reached(bytes)) << reply.what;
    ReplyEnd at_once(reply.record(), reply.probes);
    EXPECT_TRUE(at_once.reached(bytes)) << reply.what;
  }
}

}  // namespace
