// Which control packet may be how long, and how much is fetched for which reply.

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "d4/wire.h"

namespace d4_test {
namespace {

struct Span {
  std::uint32_t least;
  std::uint32_t most;
};

constexpr std::uint32_t kAny = 0xFFFFFFFF;

// By command byte; what isn't here only needs its header.
const std::map<unsigned, Span> kLengths = {
    {0x00, {8, 8}}, {0x01, {17, 17}},  {0x02, {10, 10}},  {0x03, {11, 11}}, {0x04, {13, 13}},
    {0x08, {7, 7}}, {0x09, {7, kAny}}, {0x0A, {8, 8}},    {0x51, {27, 27}}, {0x7F, {10, 10}},
    {0x80, {9, 9}}, {0x81, {16, 16}},  {0x82, {10, 10}},  {0x83, {10, 10}}, {0x84, {12, 12}},
    {0x88, {8, 8}}, {0x89, {9, kAny}}, {0x8A, {9, kAny}}, {0xC5, {8, 8}},
};

Span span_of(unsigned command) {
  const auto known = kLengths.find(command);
  return known == kLengths.end() ? Span{6, kAny} : known->second;
}

TEST(WireLengths, EachCommandAllowsItsLengthsOnly) {
  std::set<std::uint32_t> lengths = {254, 255, 256, 266, 65535};
  for (std::uint32_t length = 0; length <= 70; ++length) lengths.insert(length);
  for (unsigned command = 0; command < 256; ++command) {
    const Span span = span_of(command);
    for (const std::uint32_t length : lengths) {
      EXPECT_EQ(length >= span.least && length <= span.most,
                vlp::IsLengthOf(static_cast<std::uint8_t>(command), length))
          << "command " << command << ", length " << length;
    }
  }
}

TEST(WireLengths, AReplyWithAFixedLengthIsFetchedWhole) {
  const std::map<unsigned, std::uint32_t> fetched = {{0x80, 9},  {0x81, 16}, {0x82, 10}, {0x83, 10},
                                                     {0x84, 12}, {0x88, 8},  {0xC5, 8}};
  for (unsigned reply = 0; reply < 256; ++reply) {
    const auto known = fetched.find(reply);
    EXPECT_EQ(known == fetched.end() ? 6 : known->second,
              vlp::BytesToFetch(static_cast<std::uint8_t>(reply)))
        << reply;
  }
}

}  // namespace
}  // namespace d4_test
