// Packets that the engine builds and fields that it takes out, without a link.

#include <gtest/gtest.h>

#include "d4/wire.h"
#include "tests/d4/wire_build.h"

namespace d4_test {
namespace {

using vlp::ControlPacket;

Bytes bytes_of(const ControlPacket& packet) { return {packet.View().begin(), packet.View().end()}; }

ControlPacket received(const Bytes& bytes) { return ControlPacket(vlp::Bytes(bytes)); }

vlp::Bytes view_of(const Bytes& bytes) { return vlp::Bytes(bytes); }

TEST(WireBuilt, CommandsOfTheHostAreTheseBytes) {
  EXPECT_EQ(hex("00 00 00 08 01 00 00 10"), bytes_of(vlp::InitPacket()));
  EXPECT_EQ(hex("00 00 00 11 01 00 01 50 50 12 34 AB CD 00 00 00 00"),
            bytes_of(vlp::OpenChannelPacket(0x50, 0x1234, 0xABCD)));
  EXPECT_EQ(hex("00 00 00 0A 01 00 02 21 21 00"), bytes_of(vlp::CloseChannelPacket(0x21)));
  EXPECT_EQ(hex("00 00 00 0B 01 00 03 02 02 00 01"), bytes_of(vlp::CreditPacket(0x02)));
  EXPECT_EQ(hex("00 00 00 0D 01 00 04 FE FE 00 80 FF FF"),
            bytes_of(vlp::CreditRequestPacket(0xFE)));
  EXPECT_EQ(hex("00 00 00 07 01 00 08"), bytes_of(vlp::ExitPacket()));
  EXPECT_EQ(hex("00 00 00 08 01 00 0A 40"), bytes_of(vlp::GetServiceNamePacket(0x40)));
}

TEST(WireBuilt, AnswersToTheDeviceAreTheseBytes) {
  EXPECT_EQ(hex("00 00 00 0A 01 00 82 03 00 00"), bytes_of(vlp::CloseChannelReply(3, 0)));
  EXPECT_EQ(hex("00 00 00 0A 01 00 83 07 02 02"), bytes_of(vlp::CreditReply(7, 0x02)));
  EXPECT_EQ(hex("00 00 00 0C 01 00 84 00 50 50 FF FE"),
            bytes_of(vlp::CreditRequestReply(0, 0x50, 0xFFFE)));
  EXPECT_EQ(hex("00 00 00 08 01 00 88 00"), bytes_of(vlp::ExitReply()));
}

TEST(WireBuilt, AnErrorPacketAloneGivesNoCreditInItsHeader) {
  EXPECT_EQ(hex("00 00 00 0A 00 00 7F 00 00 80"), bytes_of(vlp::ErrorPacket(0x80)));
  EXPECT_EQ(hex("00 00 00 0A 00 00 7F 00 00 87"), bytes_of(vlp::ErrorPacket(0x87)));
}

TEST(WireBuilt, TheEntryStringIsFiveBytesAndAText) {
  const vlp::Bytes entry = vlp::EntryString();
  EXPECT_EQ(hex("00 00 00 1B 01 40 51 50 4C 20 31 32 38 34 2E 34 0A 40 51 50 4C 0A 40 51 50 4C 0A"),
            Bytes(entry.begin(), entry.end()));
  EXPECT_EQ(0x51, vlp::kEntryCommand);
}

TEST(WireBuilt, ANameFollowsItsCommandToTheLongestPacket) {
  for (std::size_t count = 0; count <= vlp::kMaxSocketName; ++count) {
    const Bytes name = filled(count, 0x41);
    const Bytes built = bytes_of(vlp::GetSocketIdPacket(view_of(name)));
    const Bytes head = {0, 0, 0, static_cast<std::uint8_t>(7 + count), 1, 0, 0x09};
    EXPECT_EQ(joined({head, name}), built) << count;
  }
  EXPECT_EQ(64u, vlp::GetSocketIdPacket(view_of(filled(57))).Size());
}

TEST(WireBuilt, ANameThatIsTooLongIsCutAtThePacketsEnd) {
  EXPECT_EQ(bytes_of(vlp::GetSocketIdPacket(view_of(filled(57)))),
            bytes_of(vlp::GetSocketIdPacket(view_of(filled(58)))));
}

TEST(WireHeader, FieldsAreBigEndianBothWays) {
  const Bytes wire = hex("21 22 12 34 56 78");
  const vlp::PacketHeader header = vlp::LoadHeader(wire.data());
  EXPECT_EQ(0x21, header.primary);
  EXPECT_EQ(0x22, header.secondary);
  EXPECT_EQ(0x1234, header.length);
  EXPECT_EQ(0x56, header.credit);
  EXPECT_EQ(0x78, header.control);
  Bytes stored(7, 0xA5);
  vlp::StoreHeader(stored.data(), header);
  EXPECT_EQ(joined({wire, {0xA5}}), stored);
}

TEST(WireHeader, ExtremeNumbersPass) {
  for (const auto& [length, text] : {std::pair(std::uint16_t{0xFFFF}, "02 02 FF FF FF FF"),
                                     std::pair(std::uint16_t{0x0100}, "02 02 01 00 FF FF"),
                                     std::pair(std::uint16_t{0x00FF}, "02 02 00 FF FF FF")}) {
    Bytes stored(6);
    vlp::StoreHeader(stored.data(), {2, 2, length, 0xFF, 0xFF});
    EXPECT_EQ(hex(text), stored);
    EXPECT_EQ(length, vlp::LoadHeader(stored.data()).length);
  }
}

TEST(WireTaken, AnOpenChannelReplyHoldsSizesAndCredit) {
  const vlp::OpenChannelAnswer answer =
      vlp::LoadOpenChannelAnswer(received(open_channel_reply(0x50, 0x1234, 0xABCD, 0xFFFE)));
  EXPECT_EQ(0x1234, answer.writePacketSize);
  EXPECT_EQ(0xABCD, answer.readPacketSize);
  EXPECT_EQ(0xFFFE, answer.credit);
}

TEST(WireTaken, ACreditRequestReplyHoldsTheGrant) {
  EXPECT_EQ(0x0102, vlp::LoadCreditGranted(received(credit_request_reply(0x50, 0x0102))));
  EXPECT_EQ(0xFFFF, vlp::LoadCreditGranted(received(credit_request_reply(0x50, 0xFFFF))));
}

TEST(WireTaken, AGetSocketIdReplyHoldsTheSocketBehindItsResult) {
  EXPECT_EQ(0xC8, vlp::LoadSocketId(received(get_socket_id_reply(0xC8))));
  EXPECT_EQ(0xC8, vlp::LoadSocketId(received(joined({get_socket_id_reply(0xC8), text("more")}))));
}

TEST(WireTaken, AServiceNameGoesToThePacketsEnd) {
  const auto name_in = [](const Bytes& bytes) {
    const ControlPacket packet = received(bytes);
    const vlp::Bytes name = vlp::LoadServiceName(packet);
    return Bytes(name.begin(), name.end());
  };
  EXPECT_EQ(text(""), name_in(get_service_name_reply("")));
  EXPECT_EQ(text("P"), name_in(get_service_name_reply("P", 0, 0x77)));
  const std::string longest(55, 'n');
  EXPECT_EQ(text(longest), name_in(get_service_name_reply(longest)));
}

TEST(WireTaken, CommandsOfTheDeviceHoldTwoSocketsAndANumber) {
  const ControlPacket command = received(hex("00 00 00 0B 01 00 03 11 22 33 44"));
  EXPECT_EQ(0x11, vlp::LoadCommandSockets(command).primary);
  EXPECT_EQ(0x22, vlp::LoadCommandSockets(command).secondary);
  EXPECT_EQ(0x3344, vlp::LoadCommandCredit(command));
}

TEST(WireTaken, AReceivedPacketKeepsItsBytesUpToTheLongest) {
  for (const std::size_t count : {7u, 8u, 63u, 64u}) {
    EXPECT_EQ(filled(count, 3), bytes_of(received(filled(count, 3)))) << count;
  }
  EXPECT_EQ(filled(64, 3), bytes_of(received(filled(65, 3))));
  EXPECT_EQ(filled(64, 3), bytes_of(received(filled(70, 3))));
}

TEST(WireTaken, WhatAPacketDoesNotHoldReadsAsZero) {
  const ControlPacket packet = received(exit_link());
  EXPECT_EQ(0x08, packet.Command());
  EXPECT_EQ(7u, packet.Size());
  EXPECT_EQ(0, packet.Result());
  EXPECT_EQ(0, packet.Big16At(62));
  EXPECT_EQ(0u, ControlPacket().Size());
}

TEST(WireTaken, CommandAndResultStandBehindTheHeader) {
  const ControlPacket packet = received(init_reply(11));
  EXPECT_EQ(0x80, packet.Command());
  EXPECT_EQ(11, packet.Result());
}

TEST(WireTaken, AReplyIsItsCommandWithTheHighestBit) {
  EXPECT_EQ(0x80, vlp::ReplyTo(vlp::kInit));
  EXPECT_EQ(0x8A, vlp::ReplyTo(vlp::kGetServiceName));
  EXPECT_EQ(0xC5, vlp::ReplyTo(vlp::kEnter));
  EXPECT_EQ(0xFF, vlp::ReplyTo(0xFF));
}

}  // namespace
}  // namespace d4_test
