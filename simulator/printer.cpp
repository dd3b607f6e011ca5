#include "simulator/printer.h"

namespace simulator {

Bytes bytes_of(const std::string& text) { return Bytes(text.begin(), text.end()); }

}  // namespace simulator
