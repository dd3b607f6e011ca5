#include "tests/platform/own_machine.h"

namespace own_machine {

void make() {}

bool is_layer() { return false; }

bool use_code_page(UINT number) { return GetACP() == number; }

}  // namespace own_machine
