#pragma once

namespace diag_test {

// Makes a world that processes started from now on share with this one: its drive C:.
void make_shared_world();

}  // namespace diag_test
