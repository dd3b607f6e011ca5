// The single steps of an exchange, and what the spooler's results mean here.

#include <objbase.h>
#include <winspool.h>

#include <cstring>

#include "bidi/bidi_errors.h"
#include "bidi/c_bidi_if.h"
#include "include/vlpbidi.h"
#include "support/last_error.h"
#include "support/text.h"

namespace vlp {
namespace {

// A block that the spooler allocated for an answer.
template <typename Type>
class TaskMemory {
 public:
  TaskMemory() = default;
  ~TaskMemory() {
    if (block_ != nullptr) CoTaskMemFree(block_);
  }
  TaskMemory(const TaskMemory&) = delete;
  TaskMemory& operator=(const TaskMemory&) = delete;

  Type* Get() const { return block_; }
  Type** Receive() { return &block_; }

 private:
  Type* block_ = nullptr;
};

struct Answer {
  TaskMemory<WCHAR> schema;
  TaskMemory<BYTE> data;
  DWORD type = BIDI_NULL;
  ULONG size = 0;
};

// Moves an answer into the entry's room; nothing partial reaches it.
std::int32_t TakeAnswer(const Answer& answer, const BidiRequestEntry& entry) {
  const std::uint32_t capacity = *entry.length;
  *entry.length = 0;
  if (answer.type == BIDI_NULL) return 0;
  if (answer.size > capacity) return VLPER_BUFFERSIZE;
  if (answer.size == 0) return 0;
  if (answer.data.Get() == nullptr) return VLPER_SEND;
  std::memcpy(entry.output, answer.data.Get(), answer.size);
  *entry.length = answer.size;
  return 0;
}

// What the spooler allocated is freed on the way out.
std::int32_t ReadAnswer(IBidiRequest* request, const BidiRequestEntry& entry) {
  Answer answer;
  if (FAILED(request->GetOutputData(0, answer.schema.Receive(), &answer.type, answer.data.Receive(),
                                    &answer.size))) {
    return VLPER_SEND;
  }
  return TakeAnswer(answer, entry);
}

std::uint32_t ErrorFlag(std::int32_t rc) { return rc < 0 ? kLogError : 0; }

}  // namespace

std::int32_t MapSendResult(HRESULT hr) {
  if (SUCCEEDED(hr)) return 0;
  switch (static_cast<std::uint32_t>(hr) & 0xFFFF) {
    case kBidiServerOffline:
    case kBidiDeviceOffline:
      return VLPER_NOTCONNECT;
    case ERROR_INVALID_HANDLE:
    case ERROR_NOT_SUPPORTED:
    case kBidiSchemaNotSupported:
      return VLPER_NOTSUPPORT;
    default:
      return VLPER_SEND;
  }
}

std::int32_t CBidiIF::CallBindDevice(const WCHAR* printerName) {
  std::int32_t rc = 0;
  if (FAILED(m_pBidiSpl->BindDevice(printerName, BIDI_ACCESS_ADMINISTRATOR))) {
    // The spooler reports a lack of rights by the thread's last error, not by the result.
    const bool denied = GetLastError() == ERROR_ACCESS_DENIED;
    if (!denied || FAILED(m_pBidiSpl->BindDevice(printerName, BIDI_ACCESS_USER))) {
      rc = VLPER_NOTSUPPORT;
    }
  }
  return LogReturn("CBidiIF::CallBindDevice Return", rc);
}

std::int32_t CBidiIF::CallUnbindDevice() {
  const std::int32_t rc = FAILED(m_pBidiSpl->UnbindDevice()) ? VLPER_NOTSUPPORT : 0;
  return LogReturn("CBidiIF::CallUnbindDevice Return", rc);
}

std::int32_t CBidiIF::SetRequest(IBidiRequest* request, const BidiRequestEntry* entry) {
  if (request == nullptr || entry == nullptr) return VLPER_PARAM;
  HRESULT hr = request->SetSchema(entry->schema);
  if (SUCCEEDED(hr)) {
    hr = entry->inputSize != 0 ? request->SetInputData(BIDI_BLOB, entry->input, entry->inputSize)
                               : request->SetInputData(BIDI_NULL, nullptr, 0);
  }
  const std::int32_t rc = FAILED(hr) ? VLPER_NOTSUPPORT : 0;
  DbgLogData(m_pLog, kLogBidi, ErrorFlag(rc) | kLogDump, entry->input, entry->inputSize,
             "CBidiIF::SetRequest Return", "rc", rc);
  return rc;
}

std::int32_t CBidiIF::GetRespons(IBidiRequest* request, const BidiRequestEntry* entry) {
  if (request == nullptr || entry == nullptr) return VLPER_PARAM;
  if (entry->output == nullptr || entry->length == nullptr) return 0;

  HRESULT hr = S_OK;
  request->GetResult(&hr);
  if (hr == static_cast<HRESULT>(kBidiSchemaNotSupported)) {
    return LogReturn("CBidiIF::GetRespons BidiSchema Not Supported ", VLPER_NOTSUPPORT);
  }
  DWORD count = 0;
  request->GetEnumCount(&count);
  if (count == 0) {
    *entry->length = 0;
    return LogReturn("CBidiIF::GetRespons No Respons Return ", 0);
  }

  const std::int32_t rc = ReadAnswer(request, *entry);
  if (rc != 0) return LogReturn("CBidiIF::GetRespons Return", rc);
  DbgLogData(m_pLog, kLogBidi, kLogDump, entry->output, *entry->length,
             "CBidiIF::GetRespons Return");
  return 0;
}

void CBidiIF::DeleteRequest(ComPointer<IBidiRequest> request) {
  DbgLogPrintf(m_pLog, kLogObjects, "CBidiIF::DeleteRequest: Enter pRequest=0x%X",
               static_cast<const void*>(request.Get()));
  if (!request) return;
  const HRESULT hr = request->SetInputData(BIDI_NULL, nullptr, 0);
  if (hr != S_OK) {
    DbgLogPut(m_pLog, kLogBidi, kLogError,
              "CBidiIF::DeleteRequest: IBidiRequest::SetInputData(BIDI_NULL,0,0)", "hr", hr);
  }
}

std::int32_t CBidiIF::LogReturn(const char* text, std::int32_t rc, const DbgTimes& times) {
  DbgLogPut(m_pLog, kLogBidi, ErrorFlag(rc), text, "rc", rc, times);
  return rc;
}

void CBidiIF::LogSchema(const BidiRequestEntry& entry, std::int32_t row) {
  if (!DbgLogIsOn(m_pLog, kLogBidi) || entry.schema == nullptr) return;
  const LastErrorKeeper caller;
  char schema[kTextLimit] = {};
  WideCharToMultiByte(CP_ACP, 0, entry.schema, -1, schema, sizeof(schema) - 1, nullptr, nullptr);
  schema[sizeof(schema) - 1] = '\0';
  DbgLogPut(m_pLog, kLogBidi, 0, "  BidiSchema", schema, row);
}

}  // namespace vlp
