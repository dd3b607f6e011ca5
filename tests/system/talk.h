#pragma once

// Printers that speak, and what is said to them and by them. The bytes of the languages are
// written out here, apart from the library's texts and the printers' own.

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/log_lines.h"
#include "tests/system/fixture.h"

namespace system_test {

using namespace std::string_literals;
using far_side::PrinterOptions;
using Texts = std::vector<std::string>;

inline constexpr const char* kTalker = "Talker";
inline constexpr const char* kTalkerPort = "USB001";
inline constexpr ChannelKind kOwnKind = 0x12345678;  // no language of the library's

inline std::string TextOf(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

// --- Status requests as profiles list them ----------------------------------------------------

Channel TextBdc(std::uint32_t mode = 7);
Channel BinaryBdc(std::uint32_t mode = 7);
Channel Qpl(std::uint32_t mode = 7);
Channel ZrdPage(std::uint32_t mode = 7);
Channel ZrdPages(std::uint32_t mode = 7);
Channel D4(std::uint32_t mode = 7);
Channel End4(std::uint32_t mode = 7);
Channel Label(std::uint32_t mode = 7);

std::string StatusRequestOf(const Channel& channel);

// --- Commands ---------------------------------------------------------------------------------

// In the envelopes of their languages.
std::string InBdc(const std::string& command);
std::string InQpl(const std::string& command);
std::string InPage(const std::string& command);

// Two-letter commands: one that gives these bytes back, one that gives a to z, one silent.
std::string Echo(const std::string& text);
std::string Fill(std::uint32_t size);
inline const std::string kSilent = "ld\0\0"s;
// What Fill and its like give.
std::string Filling(std::size_t size);

// --- What the talker says ---------------------------------------------------------------------

inline const std::string kTextItem =
    "@BDC ST\r\nST:0400;ER:00;PA:A4;MC:514E3432303030303137;SE:01;\f";
inline const std::string kBinaryItem =
    "@BDC ST2\r\n\x18\x00\x01\x04"
    "0400\x19\x04\x0C\x0A\x1B\x00\x40\x0AQN42000017"s;
inline const std::string kJobItem = "@QPL STATUS CODE=0400;MC:514E3432303030303137\n";
inline const std::string kBdcProbe = "@BDC PS\r\nST:0400;\f";
inline const std::string kQplProbe = "@QPL ID\r\nQN42000017\r\n\f";
inline const std::string kPageProbe = "ZRD/PAGE mlS 0400\n";

// --- How replies end, as the far side is told -------------------------------------------------

std::string BdcEnd();
std::string BinaryBdcEnd();
std::string QplEnd();
std::string PageEnd();

// The last part of a row's schema, and its bytes.
using Row = std::pair<std::string, std::string>;
using Rows = std::vector<Row>;
// The row that opens the talker's batches.
Row NameRow();

// A printer that speaks at USB001, named "Talker". What it waits for is short, as under
// Wine that is real time.
class TalkTest : public SystemTest {
 protected:
  // The printer with these channels, whose device ID lists these languages. The library is
  // loaded and has been asked for its channels.
  void Open(const std::vector<Channel>& channels, const std::string& listed = "QPL,BDC",
            const std::string& profile_lines = {}, const PrinterOptions& behaviour = {});
  // Another behaviour from here on; port, device ID and serial number stay.
  void Behave(PrinterOptions behaviour);

  std::int32_t Ask(ChannelKind kind, std::uint32_t id = 1);
  std::int32_t Send(ChannelKind kind, const std::string& command, std::uint32_t id = 1);
  std::int32_t Through(ChannelKind kind, const std::string& command, std::uint32_t id = 1);

  // The request must go well. What it queued, which is taken; none if nothing lies in the
  // queue behind it.
  std::optional<std::string> Reply(ChannelKind kind, const std::string& command);
  std::optional<std::string> Status(ChannelKind kind);
  // Takes the one result that a request may have queued. Never waits for one: a device ID
  // is asked for behind it.
  std::optional<std::string> TakeIfAny(std::uint32_t id);

  // The messages that reached the printer, since the last call.
  Texts Wire();
  far_side::Counts Counts() const { return far_side::counts(kTalker); }
  // The rows of the last batch.
  static Rows LastRows();
  // The log's lines; the bytes of a line behind " | ", "-----" for one that tells the time.
  Texts Lines() const;

 private:
  std::string device_id_;
  std::size_t wire_seen_ = 0;
};

}  // namespace system_test
