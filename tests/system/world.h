#pragma once

#include <string>

namespace system_test {

// Makes a world that child processes have as well, and gives its folder for logs.
std::string ShareWorld();
void EndSharedWorld();

}  // namespace system_test
