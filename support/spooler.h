#pragma once

// Reading records of variable size from the spooler.

#include <windows.h>

#include <winspool.h>

#include <memory>
#include <string>

#include "support/handles.h"

namespace vlp {

// Empty if the spooler doesn't know the name. A null name would open the spooler
// itself, so it gives none either.
inline PrinterHandle OpenPrinterByName(const char* name) {
  PrinterHandle printer;
  if (name == nullptr) return printer;
  std::string writable(name);
  const BOOL opened = OpenPrinterA(writable.data(), printer.Receive(), nullptr);
  if (opened == FALSE || printer.Get() == INVALID_HANDLE_VALUE) printer.Forget();
  return printer;
}

// `query(buffer, size, needed)` is asked first without a buffer for the size, then with
// one. Null if it gives no size or fails. What the record points to lies in the same
// block, which is as large as the spooler said.
template <typename Record, typename Query>
std::unique_ptr<Record[]> ReadSpoolerRecord(Query query) {
  DWORD needed = 0;
  query(nullptr, 0, &needed);
  if (needed == 0) return nullptr;
  const DWORD size = needed;
  auto block = std::make_unique<Record[]>(size / sizeof(Record) + 1);
  if (query(reinterpret_cast<BYTE*>(block.get()), size, &needed) == FALSE) return nullptr;
  return block;
}

}  // namespace vlp
