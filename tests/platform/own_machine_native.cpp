#include "tests/platform/own_machine.h"

#include "platform/machine.h"

namespace own_machine {

void make() { platform::reset_machine(); }

bool is_layer() { return true; }

bool use_code_page(UINT number) {
  platform::set_ansi_code_page(number);
  return true;
}

}  // namespace own_machine
