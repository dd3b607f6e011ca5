#include <string_view>
#include <variant>

#include "fuzz/targets.h"
#include "platform/reg_file.h"

namespace fuzz {

void registry(Input input) {
  const auto read =
      platform::read_reg_file({reinterpret_cast<const char*>(input.data()), input.size()});
  if (const auto* const error = std::get_if<platform::RegFileError>(&read)) {
    claim(!error->text.empty(), "an error without a text");
  }
}

}  // namespace fuzz
