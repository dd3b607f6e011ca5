#include "tests/d4/wire_text.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <string_view>

namespace d4_test {
namespace {

constexpr std::size_t kHeader = 6;

enum class Field { result, socket_pair, socket, number, byte, zeros, name };

struct Part {
  Field field;
  const char* label;  // of number and byte
  std::size_t count;  // of zeros
};

struct Form {
  const char* name;
  std::size_t length;  // of the whole packet; at least that, if a name comes last
  std::vector<Part> parts;
};

const std::map<std::uint8_t, Form>& forms() {
  static const std::map<std::uint8_t, Form> table = {
      {0x00, {"Init", 8, {{Field::byte, "revision", 1}}}},
      {0x01,
       {"OpenChannel",
        17,
        {{Field::socket_pair, "", 2},
         {Field::number, "to device", 2},
         {Field::number, "to host", 2},
         {Field::zeros, "", 4}}}},
      {0x02, {"CloseChannel", 10, {{Field::socket_pair, "", 2}, {Field::zeros, "", 1}}}},
      {0x03, {"Credit", 11, {{Field::socket_pair, "", 2}, {Field::number, "credit", 2}}}},
      {0x04,
       {"CreditRequest",
        13,
        {{Field::socket_pair, "", 2}, {Field::number, "asked", 2}, {Field::number, "limit", 2}}}},
      {0x08, {"Exit", 7, {}}},
      {0x09, {"GetSocketID", 7, {{Field::name, "", 0}}}},
      {0x0A, {"GetServiceName", 8, {{Field::socket, "", 1}}}},
      {0x7F, {"Error", 10, {{Field::zeros, "", 2}, {Field::byte, "code", 1}}}},
      {0x80, {"Init reply", 9, {{Field::result, "", 1}, {Field::byte, "revision", 1}}}},
      {0x81,
       {"OpenChannel reply",
        16,
        {{Field::result, "", 1},
         {Field::socket_pair, "", 2},
         {Field::number, "to device", 2},
         {Field::number, "to host", 2},
         {Field::number, "credit", 2}}}},
      {0x82, {"CloseChannel reply", 10, {{Field::result, "", 1}, {Field::socket_pair, "", 2}}}},
      {0x83, {"Credit reply", 10, {{Field::result, "", 1}, {Field::socket_pair, "", 2}}}},
      {0x84,
       {"CreditRequest reply",
        12,
        {{Field::result, "", 1}, {Field::socket_pair, "", 2}, {Field::number, "granted", 2}}}},
      {0x88, {"Exit reply", 8, {{Field::result, "", 1}}}},
      {0x89, {"GetSocketID reply", 9, {{Field::result, "", 1}, {Field::socket, "", 1}}}},
      {0x8A,
       {"GetServiceName reply",
        9,
        {{Field::result, "", 1}, {Field::byte, "byte 8", 1}, {Field::name, "", 0}}}},
      {0xC5, {"entry reply", 8, {{Field::result, "", 1}}}},
  };
  return table;
}

std::string byte_text(std::uint8_t byte) {
  char buffer[8];
  std::snprintf(buffer, sizeof buffer, "0x%02X", static_cast<unsigned>(byte));
  return buffer;
}

std::size_t number_at(const Bytes& bytes, std::size_t at) {
  return static_cast<std::size_t>(bytes[at] << 8 | bytes[at + 1]);
}

std::string printable(Bytes::const_iterator from, Bytes::const_iterator to) {
  std::string shown = "\"";
  for (; from != to; ++from) {
    shown += *from >= 0x20 && *from < 0x7F ? static_cast<char>(*from) : '.';
  }
  return shown + "\"";
}

// Words in brackets behind the rest.
class Faults {
 public:
  void add(const std::string& fault) { text_ += " [" + fault + "]"; }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

std::string pair_text(const Bytes& packet, std::size_t at, Faults& faults) {
  if (packet[at] != packet[at + 1]) faults.add("sockets differ");
  return "socket " + byte_text(packet[at]) +
         (packet[at] == packet[at + 1] ? "" : "/" + byte_text(packet[at + 1]));
}

std::string part_text(const Part& part, const Bytes& packet, std::size_t at, Faults& faults) {
  switch (part.field) {
    case Field::result:
      return "result " + std::to_string(packet[at]);
    case Field::socket_pair:
      return pair_text(packet, at, faults);
    case Field::socket:
      return "socket " + byte_text(packet[at]);
    case Field::number:
      return std::string(part.label) + " " + std::to_string(number_at(packet, at));
    case Field::byte:
      return std::string(part.label) + " " + byte_text(packet[at]);
    case Field::name:
      return printable(packet.begin() + static_cast<std::ptrdiff_t>(at), packet.end());
    case Field::zeros:
      break;
  }
  const auto from = packet.begin() + static_cast<std::ptrdiff_t>(at);
  if (std::any_of(from, from + static_cast<std::ptrdiff_t>(part.count),
                  [](std::uint8_t byte) { return byte != 0; })) {
    faults.add("not zero at " + std::to_string(at));
  }
  return "";
}

std::string control_text(const Bytes& packet, Faults& faults) {
  const auto found = forms().find(packet[kHeader]);
  if (found == forms().end()) return "unknown command " + byte_text(packet[kHeader]);
  const Form& form = found->second;
  const bool open_end = !form.parts.empty() && form.parts.back().field == Field::name;
  if (open_end ? packet.size() < form.length : packet.size() != form.length) {
    faults.add(std::to_string(form.length) + " bytes expected");
  }
  std::string words;
  std::size_t at = kHeader + 1;
  for (const Part& part : form.parts) {
    if (at + part.count > packet.size()) break;
    const std::string word = part_text(part, packet, at, faults);
    if (!word.empty()) words += (words.empty() ? ": " : ", ") + word;
    at += part.count;
  }
  const std::uint8_t usual_credit = packet[kHeader] == 0x7F ? 0 : 1;
  if (packet[4] != usual_credit) faults.add("header credit " + std::to_string(packet[4]));
  if (packet[5] != 0) faults.add("control " + byte_text(packet[5]));
  return form.name + words;
}

std::string data_text(const Bytes& packet) {
  std::string words = "data: socket " + byte_text(packet[0]) + ", " +
                      std::to_string(packet.size() - kHeader) + " bytes";
  if (packet[4] != 0) words += ", credit " + std::to_string(packet[4]);
  if ((packet[5] & 1) != 0) words += ", end of message";
  if ((packet[5] & 0xFE) != 0) words += ", control " + byte_text(packet[5]);
  return words;
}

bool is_entry_string(const Bytes& bytes) {
  static constexpr std::string_view kText = "@QPL 1284.4\n@QPL\n@QPL\n";
  static constexpr std::uint8_t kHead[] = {0, 0, 0, 27, 1};
  return bytes.size() == sizeof kHead + kText.size() &&
         std::equal(std::begin(kHead), std::end(kHead), bytes.begin()) &&
         std::equal(kText.begin(), kText.end(), bytes.begin() + sizeof kHead);
}

}  // namespace

std::string hex_text(const Bytes& bytes, std::size_t most) {
  std::string digits;
  for (std::size_t at = 0; at < std::min(bytes.size(), most); ++at) {
    digits += (at == 0 ? "" : " ") + byte_text(bytes[at]).substr(2);
  }
  if (bytes.size() > most) digits += " ... " + std::to_string(bytes.size() - most) + " more";
  return digits;
}

std::string wire_text(const Bytes& packet) {
  if (is_entry_string(packet)) return "entry string";
  if (packet.size() < kHeader) {
    return packet.empty() ? "nothing" : "no header: " + std::to_string(packet.size()) + " bytes";
  }
  Faults faults;
  if (packet[0] != packet[1]) {
    faults.add("header sockets " + byte_text(packet[0]) + " and " + byte_text(packet[1]));
  }
  if (number_at(packet, 2) != packet.size()) {
    faults.add("length says " + std::to_string(number_at(packet, 2)) + ", " +
               std::to_string(packet.size()) + " bytes are there");
  }
  std::string words;
  if (packet[0] != 0) {
    words = data_text(packet);
  } else if (packet.size() == kHeader) {
    words = "control packet without command";
  } else {
    words = control_text(packet, faults);
  }
  return words + faults.text();
}

std::vector<std::string> wire_lines(const Bytes& stream) {
  std::vector<std::string> lines;
  Bytes left = stream;
  while (!left.empty()) {
    std::size_t length = left.size();
    if (left.size() >= kHeader) {
      const std::size_t told = number_at(left, 2);
      if (told >= kHeader && told < left.size()) length = told;
    }
    const auto end = left.begin() + static_cast<std::ptrdiff_t>(length);
    lines.push_back(wire_text(Bytes(left.begin(), end)));
    left.erase(left.begin(), end);
  }
  return lines;
}

}  // namespace d4_test
