// Registry text: what it means and how it refuses nonsense.

#include "platform/reg_file.h"

#include "platform/registry_tree.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <random>

namespace {

using platform::read_reg_file;
using platform::RegEntry;
using platform::RegFileError;

const std::string header = "Windows Registry Editor Version 5.00\r\n\r\n";

std::vector<RegEntry> entries_of(const std::string& bytes) {
  const auto result = read_reg_file(bytes);
  if (const auto* error = std::get_if<RegFileError>(&result)) {
    ADD_FAILURE() << "line " << error->line << ": " << error->text;
    return {};
  }
  return std::get<std::vector<RegEntry>>(result);
}

// The line at fault, or 0.
size_t bad_line(const std::string& bytes) {
  const auto result = read_reg_file(bytes);
  const auto* error = std::get_if<RegFileError>(&result);
  if (error == nullptr) {
    return 0;
  }
  EXPECT_FALSE(error->text.empty());
  return error->line;
}

// The one value behind a key.
RegEntry value_of(const std::string& line) {
  const auto entries = entries_of(header + "[HKEY_LOCAL_MACHINE\\Software\\X]\r\n" + line);
  EXPECT_EQ(2U, entries.size());
  return entries.empty() ? RegEntry{} : entries.back();
}

size_t bad_value(const std::string& line) {
  return bad_line(header + "[HKEY_LOCAL_MACHINE\\Software\\X]\r\n" + line);
}

using Bytes = std::vector<uint8_t>;

TEST(RegFile, KeysValuesAndCommentsAreTold) {
  const auto entries = entries_of(header +
                                  "; a comment\r\n[HKEY_CURRENT_USER\\Software\\A b]\r\n\r\n"
                                  "\"n\"=\"t\" ; behind\r\n@=\"u\"\r\n");
  ASSERT_EQ(3U, entries.size());
  EXPECT_EQ(RegEntry::Kind::key, entries[0].kind);
  EXPECT_EQ(u"HKEY_CURRENT_USER\\Software\\A b", entries[0].key);
  EXPECT_EQ(u"n", entries[1].name);
  EXPECT_EQ(DWORD{REG_SZ}, entries[1].type);
  EXPECT_EQ((Bytes{'t', 0, 0, 0}), entries[1].data);
  EXPECT_EQ(u"", entries[2].name);
  EXPECT_EQ(entries[0].key, entries[2].key);
}

TEST(RegFile, QuotesAndBackslashesAreUndone) {
  const RegEntry entry = value_of("\"a\\\\b\\\"c\"=\"C:\\\\log\\\\\"");
  EXPECT_EQ(u"a\\b\"c", entry.name);
  EXPECT_EQ(platform::registry_text(std::u16string(u"C:\\log\\\0", 8)), entry.data);
}

TEST(RegFile, NumbersAndBytesAreRead) {
  EXPECT_EQ((Bytes{0x78, 0x56, 0x34, 0x12}), value_of("\"n\"=dword:12345678").data);
  EXPECT_EQ((Bytes{0xAF, 0, 0, 0}), value_of("\"n\"=dword:aF").data);
  const RegEntry bytes = value_of("\"n\"=hex:01,2,fF");
  EXPECT_EQ(DWORD{REG_BINARY}, bytes.type);
  EXPECT_EQ((Bytes{1, 2, 255}), bytes.data);
  EXPECT_EQ(Bytes{}, value_of("\"n\"=hex:").data);
  EXPECT_EQ(DWORD{REG_MULTI_SZ}, value_of("\"n\"=hex(7):61,00,00,00,00,00").type);
  EXPECT_EQ(DWORD{REG_QWORD}, value_of("\"n\"=hex(b):01,00,00,00,00,00,00,00").type);
}

TEST(RegFile, BytesGoOnOverSeveralLines) {
  EXPECT_EQ((Bytes{1, 2, 3, 4}), value_of("\"n\"=hex:01,02,\\\r\n  03,\\\r\n  04\r\n").data);
}

TEST(RegFile, DeletionsAreTold) {
  const auto entries = entries_of(header +
                                  "[-HKEY_LOCAL_MACHINE\\Software\\X]\r\n"
                                  "[HKEY_LOCAL_MACHINE\\Software\\Y]\r\n\"n\"=-\r\n");
  ASSERT_EQ(3U, entries.size());
  EXPECT_EQ(RegEntry::Kind::deleted_key, entries[0].kind);
  EXPECT_EQ(RegEntry::Kind::deleted_value, entries[2].kind);
}

TEST(RegFile, Utf16WithItsMarkMeansTheSameAsUtf8) {
  const std::string text = header + "[HKEY_LOCAL_MACHINE\\Software\\X]\r\n\"n\"=\"t\"\r\n";
  std::string wide = "\xFF\xFE";
  for (const char byte : text) {
    wide += byte;
    wide += '\0';
  }
  EXPECT_EQ(2U, entries_of(wide).size());
  EXPECT_EQ(2U, entries_of("\xEF\xBB\xBF" + text).size());
  EXPECT_EQ(1U, bad_line(wide + "x"));
}

TEST(RegFile, TextOutsideAsciiIsUtf8) {
  EXPECT_EQ(platform::registry_text(std::u16string(u"\u30D7\0", 2)),
            value_of("\"n\"=\"\xE3\x83\x97\"").data);
}

TEST(RegFile, AFileOfAnotherKindIsRefusedAtItsFirstLine) {
  EXPECT_EQ(1U, bad_line("REGEDIT4\r\n"));
  EXPECT_EQ(1U, bad_line(""));
  EXPECT_EQ(1U, bad_line("\x7F"
                         "ELF"));
}

TEST(RegFile, MalformedLineIsNamed) {
  EXPECT_EQ(4U, bad_value("nonsense"));
  for (const char* line : {"\"n\"",
                           "\"n\"=",
                           "\"n\"=\"t",
                           "\"n\"=\"t\" x",
                           "\"n\"=\"a\\nb\"",
                           "\"n=1",
                           "\"n\"=dword:",
                           "\"n\"=dword:123456789",
                           "\"n\"=dword:12x",
                           "\"n\"=hex",
                           "\"n\"=hex:0g",
                           "\"n\"=hex:012",
                           "\"n\"=hex:01 02",
                           "\"n\"=hex(:01",
                           "\"n\"=hex():01",
                           "\"n\"=hex(x):01",
                           "\"n\"=hex(123456789):01",
                           "\"n\"=hex:01,\\ x",
                           "\"n\"=str:x",
                           "@",
                           "[HKEY_LOCAL_MACHINE"}) {
    EXPECT_EQ(4U, bad_value(line)) << line;
  }
}

TEST(RegFile, ContinuationAtTheEndOfTheFileIsRefused) {
  EXPECT_EQ(4U, bad_value("\"n\"=hex:01,\\"));
  EXPECT_EQ(5U, bad_value("\"n\"=hex:01,\\\r\n  0g"));
}

TEST(RegFile, UnknownRootAndValueWithoutAKeyAreRefused) {
  EXPECT_EQ(3U, bad_line(header + "[HKEY_NOWHERE\\X]\r\n"));
  EXPECT_EQ(3U, bad_line(header + "\"n\"=\"t\"\r\n"));
  EXPECT_EQ(4U, bad_line(header + "[-HKEY_LOCAL_MACHINE\\X]\r\n\"n\"=\"t\"\r\n"));
}

TEST(RegFile, NulCharacterBrokenUtf8AndTooLongLinesAreRefused) {
  EXPECT_EQ(4U, bad_value(std::string("\"n\"=\"\0\"", 7)));
  EXPECT_EQ(4U, bad_value("\"n\"=\"\xFF\""));
  EXPECT_EQ(4U, bad_value("\"n\"=\"" + std::string(70000, 'x') + "\""));
  EXPECT_EQ(3U, bad_line(header + "[HKEY_LOCAL_MACHINE\\" + std::string(256, 'k') + "]"));
  EXPECT_EQ(0U, bad_line(header + "[HKEY_LOCAL_MACHINE\\" + std::string(255, 'k') + "]"));
  std::string deep = header + "[HKEY_LOCAL_MACHINE";
  for (int i = 0; i < 200; ++i) {
    deep += "\\k";
  }
  EXPECT_EQ(3U, bad_line(deep + "]"));
}

TEST(RegFile, NoBytesAreTooStrangeToRead) {
  std::minstd_rand random(7);
  const std::string sound =
      header +
      "[HKEY_LOCAL_MACHINE\\Software\\X]\r\n\"n\"=hex(7):61,00,\\\r\n  00,00\r\n"
      "@=\"t\"\r\n\"d\"=dword:1\r\n[-HKEY_CURRENT_USER\\Y]\r\n";
  size_t refused = 0;
  for (int round = 0; round < 4000; ++round) {
    std::string text = sound;
    for (int change = 0; change < 3; ++change) {
      text[random() % text.size()] = static_cast<char>(random() % 256);
    }
    text.resize(random() % (text.size() + 1));
    // An exact-size copy, so that a read beyond it is seen.
    const std::vector<char> exact(text.begin(), text.end());
    const auto result = read_reg_file(std::string_view(exact.data(), exact.size()));
    refused += std::holds_alternative<RegFileError>(result) ? 1U : 0U;
  }
  EXPECT_LT(1000U, refused);
  EXPECT_GT(4000U, refused);
}

}  // namespace
