// Numbers and records that belong to the interface of the spooler.

#include "bidi/bidi_container.h"
#include "bidi/bidi_errors.h"
#include "bidi/c_bidi_if.h"
#include "include/vlpbidi.h"

#include <gtest/gtest.h>

#include <winspool.h>

#include <cstring>

namespace vlp {
namespace {

TEST(BidiContainer, TakesRowsInOrderUpToItsCapacity) {
  BidiContainer container(2);
  EXPECT_EQ(2u, container.capacity);
  EXPECT_EQ(0u, container.count);
  ASSERT_EQ(2u, container.rows.size());

  BidiRequestEntry first;
  first.inputSize = 1;
  BidiRequestEntry second;
  second.inputSize = 2;
  EXPECT_TRUE(container.Add(first));
  EXPECT_TRUE(container.Add(second));
  EXPECT_EQ(2u, container.count);
  EXPECT_FALSE(container.Add(first));
  EXPECT_EQ(2u, container.count);
  EXPECT_EQ(1u, container.rows[0].inputSize);
  EXPECT_EQ(2u, container.rows[1].inputSize);
}

TEST(BidiContainer, RowsBeginEmpty) {
  const BidiContainer container(1);
  EXPECT_EQ(nullptr, container.rows[0].schema);
  EXPECT_EQ(nullptr, container.rows[0].input);
  EXPECT_EQ(0u, container.rows[0].inputSize);
  EXPECT_EQ(nullptr, container.rows[0].output);
  EXPECT_EQ(nullptr, container.rows[0].length);
}

TEST(BidiContainer, OfNoRowsTakesNone) {
  BidiContainer container(0);
  EXPECT_FALSE(container.Add({}));
  EXPECT_EQ(0u, container.count);
}

TEST(BidiNumbers, OfStatesAccessAndTypes) {
  EXPECT_EQ(0u, BIDI_STATE_NONE);
  EXPECT_EQ(1u, BIDI_STATE_READY);
  EXPECT_EQ(2u, BIDI_STATE_STOPPED);
  EXPECT_EQ(1u, DWORD{BIDI_ACCESS_ADMINISTRATOR});
  EXPECT_EQ(2u, DWORD{BIDI_ACCESS_USER});
  EXPECT_EQ(0, static_cast<int>(BIDI_NULL));
  EXPECT_EQ(7, static_cast<int>(BIDI_BLOB));
}

struct SendResult {
  std::uint32_t hr;
  std::int32_t code;
};

TEST(BidiSendResult, IsToldByTheLowSixteenBitsOfAFailure) {
  constexpr SendResult kResults[] = {
      {0, 0},
      {1, 0},      // success of another kind
      {13005, 0},  // a plain number is no failure
      {0x7FFFFFFF, 0},
      {0x800732CB, VLPER_NOTCONNECT},  // 13003, server offline
      {0x800732CC, VLPER_NOTCONNECT},  // 13004, device offline
      {0x80070006, VLPER_NOTSUPPORT},  // invalid handle
      {0x80070032, VLPER_NOTSUPPORT},  // not supported
      {0x800732CD, VLPER_NOTSUPPORT},  // 13005, schema not supported
      {0x800732CA, VLPER_SEND},        // 13002 and 13006, the neighbours
      {0x800732CE, VLPER_SEND},
      {0x80070005, VLPER_SEND},
      {0x80004005, VLPER_SEND},
      {0x80000000, VLPER_SEND},
      {0xFFFFFFFF, VLPER_SEND},
      // The facility doesn't count.
      {0x80040006, VLPER_NOTSUPPORT},
      {0x800432CB, VLPER_NOTCONNECT},
      {0xC00A32CD, VLPER_NOTSUPPORT},
  };
  for (const SendResult& each : kResults) {
    EXPECT_EQ(each.code, MapSendResult(static_cast<HRESULT>(each.hr))) << std::hex << each.hr;
  }
}

struct Identifier {
  const GUID* guid;
  std::uint32_t first;
  std::uint16_t second;
  std::uint16_t third;
  std::uint8_t rest[8];
};

TEST(BidiIdentifiers, AreThoseOfTheSpooler) {
  const Identifier identifiers[] = {
      {&CLSID_BidiSpl,
       0x2A614240,
       0xA4C5,
       0x4C33,
       {0xBD, 0x87, 0x1B, 0xC7, 0x09, 0x33, 0x16, 0x39}},
      {&IID_IBidiSpl, 0xD580DC0E, 0xDE39, 0x4649, {0xBA, 0xA8, 0xBF, 0x0B, 0x85, 0xA0, 0x3A, 0x97}},
      {&CLSID_BidiRequest,
       0xB9162A23,
       0x45F9,
       0x47CC,
       {0x80, 0xF5, 0xFE, 0x0F, 0xE9, 0xB9, 0xE1, 0xA2}},
      {&IID_IBidiRequest,
       0x8F348BD7,
       0x4B47,
       0x4755,
       {0x8A, 0x9D, 0x0F, 0x42, 0x2D, 0xF3, 0xDC, 0x89}},
      {&CLSID_BidiRequestContainer,
       0xFC5B8A24,
       0xDB05,
       0x4A01,
       {0x83, 0x88, 0x22, 0xED, 0xF6, 0xC2, 0xBB, 0xBA}},
      {&IID_IBidiRequestContainer,
       0xD752F6C0,
       0x94A8,
       0x4275,
       {0xA7, 0x7D, 0x8F, 0x1D, 0x1A, 0x11, 0x21, 0xAE}},
  };
  for (const Identifier& each : identifiers) {
    EXPECT_EQ(each.first, each.guid->Data1) << std::hex << each.first;
    EXPECT_EQ(each.second, each.guid->Data2) << std::hex << each.first;
    EXPECT_EQ(each.third, each.guid->Data3) << std::hex << each.first;
    EXPECT_EQ(0, std::memcmp(each.rest, each.guid->Data4, sizeof(each.rest)))
        << std::hex << each.first;
  }
}

}  // namespace
}  // namespace vlp
