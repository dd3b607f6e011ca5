#pragma once

// A spooler that answers nothing and writes down every call. It stands in the place of the
// system's calls which this program's entry in CMakeLists.txt wraps; COM objects are all its
// own. Only where a record lives is anything written down.

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "support/critical_section.h"

namespace spooler_spy {

struct Call {
  std::string text;  // "request 1 SetInputData(7, in, 2)"
  DWORD thread = 0;
  std::size_t locks = 0;  // that the calling thread held
};

// What is called while it lives. One at a time, made within the scenario that it is to see.
class Record {
 public:
  Record();
  ~Record();
  Record(const Record&) = delete;
  Record& operator=(const Record&) = delete;

  std::vector<Call> Calls();
  // The texts of this thread's calls; those of all the others.
  std::vector<std::string> OwnTexts();
  std::vector<std::string> OtherTexts();
  void Forget();

  void Note(const std::string& text);
  // Handles and objects go by the order in which they came: "event 1", "request 2".
  std::string NewName(const std::string& kind);
  void NameHandle(HANDLE handle, const std::string& name);
  std::string NameOf(HANDLE handle);

  // To be set before the calls that they concern.
  std::string refused;            // "SetSchema": each call of this name fails
  std::uint32_t creation_ms = 0;  // how long the spooler's object takes to come
  bool creates_nothing = false;   // success without an object

 private:
  std::vector<std::string> Texts(bool own);

  vlp::CriticalSection lock_;
  std::vector<Call> calls_ VLP_GUARDED_BY(lock_);
  std::map<std::string, int> names_ VLP_GUARDED_BY(lock_);
  std::map<HANDLE, std::string> handles_ VLP_GUARDED_BY(lock_);
};

}  // namespace spooler_spy
