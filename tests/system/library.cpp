#include "tests/system/library.h"

namespace system_test {

const char* LibraryFile() { return VLP_LIBRARY_FILE; }

}  // namespace system_test
