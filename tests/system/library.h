#pragma once

#include "include/vlpbidi.h"

namespace system_test {

// Where the library lies that these tests were built for.
const char* LibraryFile();

}  // namespace system_test
