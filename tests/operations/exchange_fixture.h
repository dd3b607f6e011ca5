#pragma once

// A printer whose answers a test writes row by row: what goes to it, what comes back, and
// what the log says of it.

#include "tests/operations/operations_fixture.h"

#include <cctype>
#include <cstdio>
#include <memory>

namespace operations_test {

using namespace std::string_literals;

inline constexpr std::uint32_t kPrinterLines = 0x1;  // what the log's mask is unless a test says
inline constexpr std::uint32_t kSendFails = 0x80004005;

// Bytes written as "1B 40".
inline std::string Hex(const std::string& digits) {
  std::string bytes;
  for (std::size_t at = 0; at + 1 < digits.size(); at += 3) {
    bytes.push_back(static_cast<char>(std::stoi(digits.substr(at, 2), nullptr, 16)));
  }
  return bytes;
}

inline std::string TextOf(const far_side::Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

// A channel as a profile lists it, with its status request.
struct Lane {
  std::uint32_t kind = 0;
  std::uint32_t mode = 0x0007;
  std::string status_command = "status?";
};
using Lanes = std::vector<Lane>;

inline std::string ProfileOfLanes(const Lanes& lanes) {
  Channels channels;
  for (const Lane& lane : lanes) channels.emplace_back(lane.kind, lane.mode);
  std::string lines = ProfileOf(channels);
  for (std::size_t n = 0; n < lanes.size(); ++n) {
    lines += "LPT_ChnlStsCmd0" + std::to_string(n) + "=";
    for (std::size_t at = 0; at < lanes[n].status_command.size(); ++at) {
      char digits[8];
      std::snprintf(digits, sizeof(digits), "%s%02X", at == 0 ? "" : ",",
                    static_cast<unsigned char>(lanes[n].status_command[at]));
      lines += digits;
    }
    lines += "\n";
  }
  return lines;
}

// --- What goes and comes on a channel ---------------------------------------------------------

// The request that makes a printer answer in binary form.
inline std::string BinaryRequest() {
  return Hex("1B 40 1B 40 1B 28 52 08 00 00") + "REMOTE1ST"s + Hex("02 00 00 11");
}
inline Lane BinaryBdc() { return {ChnlKindBdc, 0x0007, BinaryRequest()}; }

inline std::string TextItem(const std::string& text) { return "@BDC ST\r\nST:" + text + "\f"; }
inline std::string JobItem(const std::string& text) { return "@QPL STATUS CODE=" + text + "\n"; }
inline std::string BinaryItem(std::size_t told, const std::string& bytes) {
  return "@BDC ST2\r\n"s + static_cast<char>(told & 0xFF) + static_cast<char>(told >> 8) + bytes;
}

// The answers to the requests that the envelopes end with.
inline std::string BdcProbe() { return "@BDC PS\r\nST:00\f"; }
inline std::string QplProbe() { return "@QPL ID\r\nX\f"; }
inline std::string PageProbe() { return "ZRD/PAGE mlS 0\n"; }

// A command in the envelope of its channel.
inline std::string InBdc(const std::string& command) {
  return Hex("1B 40 1B 40 1B 28 52 08 00 00") + "REMOTE1" + command + "ST" +
         Hex("01 00 01 1B 00 00 00");
}
inline std::string InQpl(const std::string& command) {
  return Hex("1B 01") + command + "@QPL ID\r\n" + Hex("1B 01");
}
inline std::string InPage(const std::string& command) {
  return Hex("1B 01") + "@QPL EN LA=ZRD/PAGE\n" + command + Hex("1D") + "10;1lS" + Hex("1D") +
         "12mlS";
}

// How replies end, as the far side is told.
inline std::string BdcEnd() {
  return Hex("01 00 00 00 00 00 00 00 00 00 00 00 05 00 00 00 0C 00 00 00 00 00 00 00 0C") + "ST" +
         Hex("01 00 01") + "@BDC PS\r\nST:";
}
inline std::string BinaryBdcEnd() {
  return Hex("01 00 00 00 00 00 00 00 0A 00 00 00 05 00 00 00 0C 00 00 00 00 00 00 00 0C") +
         "@BDC ST2\r\nST" + Hex("01 00 01") + "@BDC PS\r\nST:";
}
inline std::string QplEnd() {
  return Hex("01 00 00 00 01 00 00 00 00 00 00 00 09 00 00 00 09 00 00 00 00 00 00 00 0C 0A") +
         "@QPL ID\r\n@QPL ID\r\n";
}
inline std::string PageEnd() {
  return Hex("01 00 00 00 00 00 00 00 00 00 00 00 0D 00 00 00 0D 00 00 00 02 00 00 00 0A 1D") +
         "10;1lS" + Hex("1D") + "12mlSZRD/PAGE mlS " + Hex("1B 01");
}

// --- The far side's view ----------------------------------------------------------------------

// The schema's last part, and the bytes that came with it.
using Row = std::pair<std::string, std::string>;
using Rows = std::vector<Row>;

inline const Row kNamed = {"SetPrinterName", "P\0r\0i\0n\0t\0e\0r\0\0\0"s};

inline std::u16string Schema(const std::string& name) {
  const std::string whole = "\\Printer.VELNO_SCHEMA:" + name;
  return {whole.begin(), whole.end()};
}

// What a row of the far side looks like with these bytes.
inline far_side::SeenRow SeenOf(const Row& row) {
  return {Schema(row.first), row.second.empty() ? 0u : 7u, far_side::bytes_of(row.second)};
}

inline std::vector<far_side::SeenRow> SeenOf(const Rows& rows) {
  std::vector<far_side::SeenRow> seen;
  for (const Row& row : rows) seen.push_back(SeenOf(row));
  return seen;
}

inline std::vector<Row> RowsOf(const far_side::SeenBatch& batch) {
  const std::size_t begin = Schema("").size();
  Rows rows;
  for (const far_side::SeenRow& row : batch.rows) {
    const std::u16string name = row.schema.size() < begin ? row.schema : row.schema.substr(begin);
    rows.emplace_back(std::string(name.begin(), name.end()), TextOf(row.input));
  }
  return rows;
}

class ExchangeTest : public OperationsTest {
 protected:
  // A printer that has been asked for its channels. `listed` is what its device ID says that
  // it understands.
  void Open(const Lanes& lanes, const std::string& settings = "",
            const std::string& listed = "QPL,BDC", const std::string& port = "USB001") {
    Describe(settings + "\n" + ProfileOfLanes(lanes), "MFG:X;CMD:" + listed + ";", port);
    for (const char* name :
         {"GetStatus", "SendCommand", "SendFaxCommand", "SendThroughREMOTE", "SetTerminateInf"}) {
      trouble_.rows[Schema(name)] = {};
    }
    far_side::set_trouble(trouble_);
    Make("Printer", kPrinterLines);
    Connect();
  }

  void Connect() {
    EXPECT_LE(1, GetConnectInf());
    Forget();
  }

  // From here on batches and lines count.
  void Forget() {
    batches_before_ = far_side::batches().size();
    lines_before_ = log_lines::read(LogPath()).size();
  }

  // What the far side answers to this schema's rows from now on.
  void Answer(const std::string& schema, const std::string& data) {
    Answer(schema, far_side::RowAnswer{.data = far_side::bytes_of(data)});
  }
  void Answer(const std::string& schema, const far_side::RowAnswer& answer) {
    trouble_.rows[Schema(schema)] = answer;
    far_side::set_trouble(trouble_);
  }
  void FailSends(std::uint32_t result) {
    trouble_.send.result = result;
    far_side::set_trouble(trouble_);
  }

  // Both fill `length_`, and `got_` with the bytes that a success stored. What lies behind
  // them must be as it was, and all of it after a failure.
  std::int32_t Ask(ChannelKind kind, std::uint32_t capacity = 4096) {
    return Called(capacity, [&](std::uint8_t* buffer) {
      return printer_->GetStatus(kind, buffer, &length_);
    });
  }
  std::int32_t Send(ChannelKind kind, const std::string& command, std::uint32_t capacity = 4096) {
    // A block of its own, so that AddressSanitizer sees each step beside it.
    const far_side::Bytes bytes = far_side::bytes_of(command);
    return Called(capacity, [&](std::uint8_t* buffer) {
      return printer_->SendCommand(kind, bytes.data(), static_cast<std::uint32_t>(bytes.size()),
                                   buffer, &length_);
    });
  }
  std::int32_t SendThrough(ChannelKind kind, const std::string& command) {
    const far_side::Bytes bytes = far_side::bytes_of(command);
    return printer_->SendThroughCommand(kind, bytes.data(),
                                        static_cast<std::uint32_t>(bytes.size()));
  }

  std::size_t Batches() const { return far_side::batches().size() - batches_before_; }

  // The last batch is the `number`th one, and these are its rows, each as it must be.
  void ExpectBatch(std::size_t number, const Rows& rows) const {
    const std::vector<far_side::SeenBatch> batches = far_side::batches();
    ASSERT_EQ(batches_before_ + number, batches.size());
    const far_side::SeenBatch& last = batches.back();
    EXPECT_EQ(rows, RowsOf(last));
    EXPECT_EQ(SeenOf(rows), last.rows);
    EXPECT_EQ(u"Printer", last.printer);
    EXPECT_EQ(u"Get", last.action);
    EXPECT_TRUE(last.container);
  }

  // The lines since Forget(): " | " before the bytes of a line, and "-----" for the line that
  // tells the time.
  std::vector<std::string> Log() const {
    std::vector<std::string> lines;
    const std::vector<log_lines::Line> all = log_lines::read(LogPath());
    for (std::size_t n = lines_before_; n < all.size(); ++n) {
      std::string text = IsStamp(all[n].text) ? "-----" : all[n].shown();
      for (const std::string& bytes : all[n].bytes) text += " | " + bytes;
      lines.push_back(text);
    }
    return lines;
  }

  far_side::Trouble trouble_;  // as it was set last
  std::uint32_t length_ = 0;
  std::string got_;

 private:
  static constexpr std::uint8_t kFill = 0xA5;

  static bool IsStamp(const std::string& text) {
    std::string form = text;
    for (char& c : form) {
      if (std::isdigit(static_cast<unsigned char>(c)) != 0) c = '9';
    }
    return form == "----- 9999/99/99 99:99:99.999 -----";
  }

  template <typename Call>
  std::int32_t Called(std::uint32_t capacity, Call call) {
    const std::unique_ptr<std::uint8_t[]> buffer(new std::uint8_t[capacity]);
    std::fill_n(buffer.get(), capacity, kFill);
    length_ = capacity;
    const std::int32_t rc = call(capacity == 0 ? nullptr : buffer.get());
    const std::uint32_t stored = rc == 0 ? std::min(length_, capacity) : 0;
    got_.assign(buffer.get(), buffer.get() + stored);
    EXPECT_TRUE(std::all_of(buffer.get() + stored, buffer.get() + capacity,
                            [](std::uint8_t left) { return left == kFill; }));
    EXPECT_TRUE(rc != 0 || length_ <= capacity) << length_;
    return rc;
  }

  std::size_t batches_before_ = 0;
  std::size_t lines_before_ = 0;
};

}  // namespace operations_test
