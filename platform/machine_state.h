#pragma once

// What the machine's calls share. Inside the layer only.

#include <windows.h>

#include "platform/code_page.h"
#include "platform/kernel/call.h"
#include "platform/machine.h"
#include "platform/registry_tree.h"

#include <memory>

namespace platform {

// A folder that goes when its owner goes.
class TemporaryFolder {
 public:
  TemporaryFolder() = default;
  explicit TemporaryFolder(std::string path) : path_(std::move(path)) {}
  TemporaryFolder(TemporaryFolder&& other) noexcept : path_(std::move(other.path_)) {
    other.path_.clear();
  }
  TemporaryFolder& operator=(TemporaryFolder&& other) noexcept {
    path_.swap(other.path_);
    return *this;
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder();

 private:
  std::string path_;
};

// Guarded by StateGuard once it is in force.
struct Machine {
  RegistryTree registry;
  std::string drive;  // host folder of C:
  TemporaryFolder temporary;
  std::vector<HardwareRecord> hardware;
  std::optional<std::string> error;
  DWORD spooler_latency = 0;
  uint64_t generation = 0;
};

// Loads the machine if no call has needed it yet. Outside the lock; may read files.
void ensure_machine();

// The machine in force. Under the lock, behind ensure_machine().
Machine& machine();

// The machine's ANSI code page. Outside the lock.
const CodePage& ansi();

}  // namespace platform
