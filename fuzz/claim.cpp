#include <cstdio>
#include <cstdlib>

#include "fuzz/targets.h"

namespace fuzz {

void claim(bool holds, const char* text) {
  if (holds) return;
  std::fprintf(stderr, "fuzz: %s\n", text);
  std::abort();
}

}  // namespace fuzz
