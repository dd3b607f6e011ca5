#include "diag/log_format.h"

#include <array>

namespace vlp {
namespace {

template <typename Character>
class Output {
 public:
  Output(Character* out, std::size_t capacity) : out_(out), capacity_(capacity) {}

  void Put(Character character) {
    if (length_ + 1 < capacity_) out_[length_++] = character;
  }

  void Put(const Character* text) {
    for (; text != nullptr && *text != 0 && length_ + 1 < capacity_; ++text) Put(*text);
  }

  std::size_t Finish() {
    if (capacity_ != 0) out_[length_] = 0;
    return length_;
  }

 private:
  Character* out_;
  std::size_t capacity_;
  std::size_t length_ = 0;
};

struct Field {
  char fill = ' ';
  unsigned width = 0;
};

constexpr unsigned kWidthMax = 32;

template <typename Character>
Field ReadField(const Character*& at) {
  Field field;
  if (*at == '0') {
    field.fill = '0';
    ++at;
  }
  for (; *at >= '0' && *at <= '9'; ++at) {
    field.width = field.width * 10 + static_cast<unsigned>(*at - '0');
    if (field.width > kWidthMax) field.width = kWidthMax;
  }
  return field;
}

template <typename Character>
void PutNumber(Output<Character>& out, std::uint32_t number, unsigned base, bool upper,
               bool negative, Field field) {
  const char* const digits = upper ? "0123456789ABCDEF" : "0123456789abcdef";
  std::array<char, 16> text{};
  unsigned count = 0;
  do {
    text[count++] = digits[number % base];
    number /= base;
  } while (number != 0);

  const unsigned used = count + (negative ? 1u : 0u);
  const unsigned padding = field.width > used ? field.width - used : 0;
  const auto pad = [&] {
    for (unsigned i = 0; i < padding; ++i) out.Put(static_cast<Character>(field.fill));
  };
  if (field.fill == ' ') pad();
  if (negative) out.Put(static_cast<Character>('-'));
  if (field.fill == '0') pad();
  while (count != 0) out.Put(static_cast<Character>(text[--count]));
}

template <typename Character>
void PutArgument(Output<Character>& out, Character conversion, Field field,
                 const LogArgument& argument) {
  const std::uint32_t number = argument.Number();
  switch (conversion) {
    case 'd': {
      const bool negative = static_cast<std::int32_t>(number) < 0;
      PutNumber(out, negative ? 0u - number : number, 10, false, negative, field);
      return;
    }
    case 'u':
      PutNumber(out, number, 10, false, false, field);
      return;
    case 'x':
    case 'X':
      PutNumber(out, number, 16, conversion == 'X', false, field);
      return;
    case 's':
      out.Put(argument.Text<Character>());
      return;
    default:
      return;
  }
}

}  // namespace

template <typename Character>
std::size_t FormatLog(Character* out, std::size_t capacity, const Character* format,
                      std::span<const LogArgument> arguments) {
  Output<Character> output(out, capacity);
  std::size_t next = 0;
  for (const Character* at = format; *at != 0; ++at) {
    if (*at != '%') {
      output.Put(*at);
      continue;
    }
    ++at;
    if (*at == '%') {
      output.Put(*at);
      continue;
    }
    const Field field = ReadField(at);
    if (*at == 0) break;
    if (next < arguments.size()) PutArgument(output, *at, field, arguments[next++]);
  }
  return output.Finish();
}

template std::size_t FormatLog<char>(char*, std::size_t, const char*, std::span<const LogArgument>);
template std::size_t FormatLog<WCHAR>(WCHAR*, std::size_t, const WCHAR*,
                                      std::span<const LogArgument>);

}  // namespace vlp
