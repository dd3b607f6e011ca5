#pragma once

// Received bytes as texts, and the channels of a printer.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "diag/dbg_log.h"
#include "include/vlpbidi.h"
#include "language/c_separete_data.h"
#include "support/bytes.h"
#include "support/connect_info.h"

namespace language_test {

using namespace std::string_literals;

inline constexpr std::uint8_t kFill = 0xEE;
inline constexpr ChannelKind kUnknownKind = 0x12345678;

// Bytes written as "1B 40".
inline std::string Hex(const std::string& digits) {
  std::string bytes;
  for (std::size_t at = 0; at + 1 < digits.size(); at += 3) {
    bytes.push_back(static_cast<char>(std::stoi(digits.substr(at, 2), nullptr, 16)));
  }
  return bytes;
}

inline std::string TextOf(vlp::Bytes bytes) { return {bytes.begin(), bytes.end()}; }

// A block of exactly these bytes, so that AddressSanitizer sees each step beside it.
class Block {
 public:
  explicit Block(const std::string& text)
      : size_(text.size()), bytes_(std::make_unique<std::uint8_t[]>(text.size())) {
    std::copy(text.begin(), text.end(), bytes_.get());
  }

  std::uint8_t* data() { return bytes_.get(); }
  std::uint32_t size() const { return static_cast<std::uint32_t>(size_); }
  std::span<std::uint8_t> all() { return {bytes_.get(), size_}; }
  std::string text() const { return TextOf({bytes_.get(), size_}); }
  std::string first(std::size_t count) const { return text().substr(0, count); }

 private:
  std::size_t size_;
  std::unique_ptr<std::uint8_t[]> bytes_;
};

inline vlp::ChannelRecord Channel(ChannelKind kind, std::uint32_t mode = 7,
                                  const std::string& status_command = "") {
  return {kind, mode, {status_command.begin(), status_command.end()}};
}

// The head of a status request that the byte behind it gives its form.
inline std::string FormMarker() {
  return Hex("1B 40 1B 40 1B 28 52 08 00 00") + "REMOTE1ST" + Hex("02 00 00");
}

inline vlp::ChannelRecord BinaryBdc(std::uint32_t mode = 7) {
  return Channel(ChnlKindBdc, mode, FormMarker() + "\x11");
}

inline vlp::ConnectRecords Channels(std::initializer_list<vlp::ChannelRecord> records,
                                    std::uint32_t vendor_class = 0) {
  vlp::ConnectRecords channels;
  for (const vlp::ChannelRecord& record : records) {
    channels.records[channels.count++] = record;
  }
  channels.vendorClass = vendor_class;
  return channels;
}

// A binary status item: head, length, entries.
inline std::string Counted(const std::string& entries, std::size_t length) {
  return "@BDC ST2\r\n"s + static_cast<char>(length & 0xFF) + static_cast<char>(length >> 8) +
         entries;
}
inline std::string Counted(const std::string& entries) { return Counted(entries, entries.size()); }

struct Answer {
  std::int32_t code = 0;
  std::string bytes;         // as many as the length says; none on failure
  std::uint32_t length = 0;  // as it came back

  friend bool operator==(const Answer&, const Answer&) = default;
};
inline std::ostream& operator<<(std::ostream& out, const Answer& answer) {
  return out << answer.code << ", length " << answer.length << ", "
             << ::testing::PrintToString(answer.bytes);
}

inline Answer Reply(const std::string& bytes) {
  return {0, bytes, static_cast<std::uint32_t>(bytes.size())};
}

// One printer's separation, each call with a room of exactly the size given.
class Splitter {
 public:
  explicit Splitter(const vlp::ConnectRecords& channels, vlp::DbgLog* log = nullptr)
      : data_(&connect_info_, log) {
    connect_info_.Publish(std::make_shared<const vlp::ConnectRecords>(channels));
  }

  vlp::CSepareteData& get() { return data_; }

  Answer Separate(ChannelKind kind, const std::string& received, std::uint32_t room) {
    Block block(received);
    Block output(std::string(room, static_cast<char>(kFill)));
    std::uint32_t length = room;
    const std::int32_t code =
        data_.SepareteRecvData(kind, block.data(), block.size(), output.data(), &length);
    return Take(code, output, length);
  }
  // In a room that any reply to these bytes fits.
  Answer Separate(ChannelKind kind, const std::string& received) {
    return Separate(kind, received, static_cast<std::uint32_t>(received.size()) + 8);
  }

  Answer Cut(ChannelKind kind, const std::string& received, std::uint32_t room) {
    Block block(received);
    Block output(std::string(room, static_cast<char>(kFill)));
    std::uint32_t length = room;
    const std::int32_t code =
        data_.CutStatus(kind, block.data(), block.size(), output.data(), &length);
    EXPECT_EQ(received, block.text()) << "the received data is only read";
    return Take(code, output, length);
  }
  Answer Cut(ChannelKind kind, const std::string& received) {
    return Cut(kind, received, static_cast<std::uint32_t>(received.size()) + 8);
  }

 private:
  static Answer Take(std::int32_t code, const Block& output, std::uint32_t length) {
    if (code != 0) return {code, "", length};
    EXPECT_LE(length, output.size());
    const std::string rest = output.text().substr(std::min(length, output.size()));
    EXPECT_EQ(std::string(rest.size(), static_cast<char>(kFill)), rest)
        << "nothing is written behind the reply";
    return {code, output.first(length), length};
  }

  vlp::ConnectInfo connect_info_;
  vlp::CSepareteData data_;
};

}  // namespace language_test
