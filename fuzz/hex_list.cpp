#include <algorithm>
#include <string>

#include "fuzz/targets.h"
#include "profile/profile_reader.h"

namespace fuzz {

void hex_list(Input input) {
  const std::string text(input.begin(), input.end());
  const vlp::ByteList bytes = vlp::DecodeHexList(text);
  const auto commas = static_cast<std::size_t>(std::count(text.begin(), text.end(), ','));
  claim(bytes.size() == commas + 1, "a list has one byte more than commas");
}

}  // namespace fuzz
