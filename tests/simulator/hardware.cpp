#include "simulator/hardware.h"

#include <gtest/gtest.h>

namespace {

using simulator::Bytes;
using simulator::bytes_of;
using simulator::describe_printer;
using simulator::HardwareKeys;
using simulator::PrinterOptions;
using simulator::PushPlace;
using simulator::Reach;
using simulator::read_hardware;
using simulator::StatusForm;

std::optional<PrinterOptions> describe(const std::string& text, std::string& error) {
  const auto keys = read_hardware(text, error);
  return keys ? describe_printer(*keys, error) : std::nullopt;
}

std::string error_of(const std::string& text) {
  std::string error;
  EXPECT_FALSE(describe(text, error).has_value()) << text;
  return error;
}

TEST(Hardware, WholeDescriptionIsRead) {
  std::string error;
  const auto printer = describe(
      "; a printer\r\n\r\n[Printer]\r\nPort = USB001\r\nDeviceID=MFG:X;CMD:BDC;\r\n"
      "SerialNumber=A1\r\nLanguages=bdc, qpl ,,d4\r\nLatencyMs=250\r\nMute=1\r\n"
      "Offline=Server\r\nStatusForm=Binary\r\nStatusText=0300\r\nPush=behind,before,INSIDE\r\n"
      "PieceBytes=64\r\nPieceMs=5\r\nSilenceMs=1\r\nFirstByteMs=0\r\nGiveUpMs=3\r\n",
      error);
  ASSERT_TRUE(printer.has_value()) << error;
  EXPECT_EQ("USB001", printer->port);
  EXPECT_EQ(bytes_of("MFG:X;CMD:BDC;"), printer->device_id);
  EXPECT_EQ("A1", printer->serial_number);
  EXPECT_EQ((std::vector<std::string>{"bdc", "qpl", "d4"}), printer->languages);
  EXPECT_EQ(250U, printer->latency_ms);
  EXPECT_TRUE(printer->mute);
  EXPECT_EQ(Reach::server_offline, printer->reach);
  EXPECT_EQ(StatusForm::binary, printer->status_form);
  EXPECT_EQ("0300", printer->status_text);
  ASSERT_EQ(3U, printer->pushes.size());
  EXPECT_EQ(PushPlace::behind, printer->pushes[0].place);
  EXPECT_EQ(PushPlace::before, printer->pushes[1].place);
  EXPECT_EQ(PushPlace::inside, printer->pushes[2].place);
  EXPECT_EQ(64U, printer->piece_bytes);
  EXPECT_EQ(5U, printer->piece_ms);
  EXPECT_EQ(1U, printer->silence_ms);
  EXPECT_EQ(0U, printer->first_byte_ms);
  EXPECT_EQ(3U, printer->give_up_ms);
}

TEST(Hardware, OnlyThePortIsNeeded) {
  std::string error;
  const auto printer = describe("[Printer]\nPort=USB001", error);
  ASSERT_TRUE(printer.has_value()) << error;
  EXPECT_TRUE(printer->device_id.empty());
  EXPECT_EQ(0U, printer->latency_ms);
  EXPECT_FALSE(printer->mute);
  EXPECT_EQ(Reach::online, printer->reach);
  EXPECT_EQ(StatusForm::text, printer->status_form);
  EXPECT_EQ(PrinterOptions{}.status_text, printer->status_text);
  EXPECT_TRUE(printer->pushes.empty());
  EXPECT_EQ(0U, printer->piece_bytes);
  EXPECT_EQ(PrinterOptions{}.silence_ms, printer->silence_ms);
  EXPECT_EQ(PrinterOptions{}.first_byte_ms, printer->first_byte_ms);
  EXPECT_EQ(PrinterOptions{}.give_up_ms, printer->give_up_ms);
}

TEST(Hardware, SectionAndKeysCountWithoutCaseAndOtherSectionsArePassedOver) {
  std::string error;
  const auto printer =
      describe("[Other]\nPort=LPT1:\n[ PRINTER ]\nport=USB002\n[More]\nPort=COM1:\n", error);
  ASSERT_TRUE(printer.has_value()) << error;
  EXPECT_EQ("USB002", printer->port);
}

TEST(Hardware, LaterValueOfAKeyWins) {
  std::string error;
  EXPECT_EQ("B", describe("[Printer]\nPort=A\nPort=B\n", error)->port);
}

TEST(Hardware, DeviceIdTakesEscapedBytes) {
  std::string error;
  const auto printer = describe("[Printer]\nPort=P\nDeviceID=a\\x00\\xfF\\\\b\n", error);
  ASSERT_TRUE(printer.has_value()) << error;
  EXPECT_EQ((Bytes{'a', 0x00, 0xFF, '\\', 'b'}), printer->device_id);
}

struct Mistake {
  const char* text;
  const char* error;
};

class HardwareMistake : public testing::TestWithParam<Mistake> {};

TEST_P(HardwareMistake, IsNamed) { EXPECT_EQ(GetParam().error, error_of(GetParam().text)); }

INSTANTIATE_TEST_SUITE_P(
    EachOfThem, HardwareMistake,
    testing::Values(
        Mistake{"", "Port is missing"}, Mistake{"[Printer]\nPort=\n", "Port is missing"},
        Mistake{"Port=USB001\n", "Port is missing"},
        Mistake{"[Printer]\nPort=P\nnonsense\n", "line 3 is neither a section nor \"key = value\""},
        Mistake{"=value\n", "line 1 is neither a section nor \"key = value\""},
        Mistake{"[Printer]\nPort=P\nLatencyMs=1x\n", "LatencyMs isn't a number up to 86400000"},
        Mistake{"[Printer]\nPort=P\nLatencyMs=-1\n", "LatencyMs isn't a number up to 86400000"},
        Mistake{"[Printer]\nPort=P\nLatencyMs=86400001\n",
                "LatencyMs isn't a number up to 86400000"},
        Mistake{"[Printer]\nPort=P\nLatencyMs=4294967296\n",
                "LatencyMs isn't a number up to 86400000"},
        Mistake{"[Printer]\nPort=P\nMute=2\n", "Mute isn't a number up to 1"},
        Mistake{"[Printer]\nPort=P\nOffline=yes\n", "Offline isn't one of no, server, device"},
        Mistake{"[Printer]\nPort=P\nSerialNumber=12345678901\n",
                "SerialNumber has more than ten characters"},
        Mistake{"[Printer]\nPort=P\nStatusForm=job\n", "StatusForm isn't one of text, binary"},
        Mistake{"[Printer]\nPort=P\nPush=before,after\n",
                "Push isn't a list of before, inside, behind"},
        Mistake{"[Printer]\nPort=P\nPieceBytes=16777217\n",
                "PieceBytes isn't a number up to 16777216"},
        Mistake{"[Printer]\nPort=P\nGiveUpMs=soon\n", "GiveUpMs isn't a number up to 86400000"},
        Mistake{"[Printer]\nPort=P\nDeviceID=a\\q\n",
                "DeviceID has a backslash that begins neither \\xHH nor \\\\"},
        Mistake{"[Printer]\nPort=P\nDeviceID=a\\x0\n",
                "DeviceID has a backslash that begins neither \\xHH nor \\\\"},
        Mistake{"[Printer]\nPort=P\nDeviceID=\\xG0\n",
                "DeviceID has a backslash that begins neither \\xHH nor \\\\"},
        Mistake{"[Printer]\nPort=P\nDeviceID=a\\\n",
                "DeviceID has a backslash that begins neither \\xHH nor \\\\"}));

TEST(Hardware, WhatIsNotTextIsRefused) {
  const std::string error = "not a hardware description: too long, or not text";
  EXPECT_EQ(error, error_of(std::string("[Printer]\nPort=P\0\n", 18)));
  EXPECT_EQ(error, error_of(std::string(65537, ' ')));
}

}  // namespace
