#include "tests/system/talk.h"

#include "tests/system/digits.h"

namespace system_test {
namespace {

constexpr std::uint32_t kFenceId = 0xFE4CE;
constexpr std::uint32_t kRoom = 200000;

const std::string kRemote = "\x1B@\x1B@\x1B(R\x08\x00\x00REMOTE1"s;
const std::string kRemoteProbe = "ST\x01\x00\x01"s;
const std::string kRemoteLeave = "\x1B\x00\x00\x00"s;
const std::string kPageRequest =
    "\x1D"
    "10;1lS\x1D"
    "12mlS";

std::string Little32(std::size_t value) {
  std::string bytes;
  for (int n = 0; n < 4; ++n) bytes += static_cast<char>(value >> 8 * n & 0xFF);
  return bytes;
}

std::string EndRecord(char end_byte, const Texts& fields) {
  std::string record = Little32(1);
  for (const std::string& field : fields) record += Little32(field.size());
  record += end_byte;
  for (const std::string& field : fields) record += field;
  return record;
}

}  // namespace

Channel TextBdc(std::uint32_t mode) { return {ChnlKindBdc, mode, TextStatusRequest()}; }

Channel BinaryBdc(std::uint32_t mode) {
  return {ChnlKindBdc, mode,
          bytes_of(kRemote + "ST\x02\x00\x00\x11"s + kRemoteProbe + kRemoteLeave)};
}

Channel Qpl(std::uint32_t mode) {
  return {ChnlKindQpl, mode, bytes_of("\x1B\x01@QPL INFO STATUS\r\n@QPL ID\r\n\x1B\x01")};
}

Channel ZrdPage(std::uint32_t mode) {
  return {ChnlKindZrdPage, mode,
          bytes_of("\x1B\x01@QPL INFO STATUS\r\n@QPL EN LA=ZRD/PAGE\n" + kPageRequest)};
}

Channel ZrdPages(std::uint32_t mode) {
  return {ChnlKindZrdPages, mode,
          bytes_of("\x1D"
                   "0iS")};
}

Channel D4(std::uint32_t mode) { return {ChnlKindD4, mode, bytes_of("st\x01\x00\x01"s)}; }

Channel End4(std::uint32_t mode) { return {ChnlKindEnd4, mode, bytes_of("FX\x01\x00\x01"s)}; }

Channel Label(std::uint32_t mode) { return {ChnlKindLabel, mode, bytes_of("~HS\n")}; }

std::string StatusRequestOf(const Channel& channel) { return TextOf(channel.status_command); }

std::string InBdc(const std::string& command) {
  return kRemote + command + kRemoteProbe + kRemoteLeave;
}

std::string InQpl(const std::string& command) {
  return "\x1B\x01" + command + "@QPL ID\r\n\x1B\x01";
}

std::string InPage(const std::string& command) {
  return "\x1B\x01@QPL EN LA=ZRD/PAGE\n" + command + kPageRequest;
}

std::string Echo(const std::string& text) {
  return "ec" + Little32(text.size()).substr(0, 2) + text;
}

std::string Fill(std::uint32_t size) { return "fl\x04\x00"s + Little32(size); }

std::string Filling(std::size_t size) {
  std::string text;
  for (std::size_t n = 0; n < size; ++n) text += static_cast<char>('a' + n % 26);
  return text;
}

std::string BdcEnd() { return EndRecord('\f', {"", "", kRemoteProbe, "@BDC PS\r\nST:", ""}); }

std::string BinaryBdcEnd() {
  return EndRecord('\f', {"", "@BDC ST2\r\n", kRemoteProbe, "@BDC PS\r\nST:", ""});
}

std::string QplEnd() { return EndRecord('\f', {"\n", "", "@QPL ID\r\n", "@QPL ID\r\n", ""}); }

std::string PageEnd() {
  return EndRecord('\n', {"", "", kPageRequest, "ZRD/PAGE mlS ", "\x1B\x01"});
}

Row NameRow() { return {"SetPrinterName", "T\0a\0l\0k\0e\0r\0\0\0"s}; }

void TalkTest::Open(const std::vector<Channel>& channels, const std::string& listed,
                    const std::string& profile_lines, const PrinterOptions& behaviour) {
  device_id_ = "MFG:V;CMD:" + listed + ";MDL:T;";
  AddPrinter(kTalker, kTalkerPort, device_id_, channels, profile_lines);
  Behave(behaviour);
  Load();
  ASSERT_GE(provider().Connect(kTalker).code, 1);
}

void TalkTest::Behave(PrinterOptions behaviour) {
  const PrinterOptions usual;
  behaviour.port = kTalkerPort;
  behaviour.device_id = bytes_of(device_id_);
  behaviour.serial_number = "QN42000017";
  const auto shorten = [](std::uint32_t& ms, std::uint32_t unless, std::uint32_t to) {
    if (ms == unless) ms = to;
  };
  shorten(behaviour.first_byte_ms, usual.first_byte_ms, 30);
  shorten(behaviour.silence_ms, usual.silence_ms, 15);
  shorten(behaviour.give_up_ms, usual.give_up_ms, 100);
  far_side::plug(behaviour);
}

std::int32_t TalkTest::Ask(ChannelKind kind, std::uint32_t id) {
  return provider().Status(id, kTalker, kind);
}

std::int32_t TalkTest::Send(ChannelKind kind, const std::string& command, std::uint32_t id) {
  return provider().Command(id, kTalker, kind, bytes_of(command));
}

std::int32_t TalkTest::Through(ChannelKind kind, const std::string& command, std::uint32_t id) {
  return provider().Through(id, kTalker, kind, bytes_of(command));
}

std::optional<std::string> TalkTest::TakeIfAny(std::uint32_t id) {
  const std::int32_t fenced = provider().DeviceId(kFenceId, kTalker);
  EXPECT_EQ(fenced, 0);
  if (fenced != 0) return std::nullopt;
  const Result first = provider().Take(kRoom);
  if (first.request_id == kFenceId) return std::nullopt;
  EXPECT_EQ(first.request_id, id);
  EXPECT_EQ(provider().Take().request_id, kFenceId) << "more than one result";
  return TextOf(first.data);
}

std::optional<std::string> TalkTest::Reply(ChannelKind kind, const std::string& command) {
  EXPECT_EQ(Send(kind, command, 77), static_cast<std::int32_t>(command.size()));
  return TakeIfAny(77);
}

std::optional<std::string> TalkTest::Status(ChannelKind kind) {
  EXPECT_EQ(Ask(kind, 78), 0);
  return TakeIfAny(78);
}

Texts TalkTest::Wire() {
  const std::vector<far_side::WireMessage> all = far_side::wire_messages(kTalkerPort);
  Texts messages;
  for (; wire_seen_ < all.size(); ++wire_seen_) messages.push_back(TextOf(all[wire_seen_].bytes));
  return messages;
}

Rows TalkTest::LastRows() {
  Rows rows;
  const std::vector<far_side::SeenBatch> batches = far_side::batches();
  if (batches.empty()) return rows;
  const std::string family = "\\Printer.VELNO_SCHEMA:";
  for (const far_side::SeenRow& row : batches.back().rows) {
    const std::string schema(row.schema.begin(), row.schema.end());
    EXPECT_TRUE(schema.starts_with(family)) << schema;
    rows.emplace_back(schema.substr(family.size()), TextOf(row.input));
  }
  return rows;
}

Texts TalkTest::Lines() const {
  Texts texts;
  for (const log_lines::Line& line : log_lines::read(LogFile(kTalker))) {
    std::string text = WithoutNumbers(line.text) == kStampShape ? "-----" : line.shown();
    for (const std::string& bytes : line.bytes) text += " | " + bytes;
    texts.push_back(text);
  }
  return texts;
}

}  // namespace system_test
