#pragma once

// One printer's road to the print spooler: each call is one bound, sent and answered
// exchange. Nothing stays bound between calls.

#include <windows.h>

#include <bidispl.h>

#include <cstdint>
#include <vector>

#include "bidi/bidi_container.h"
#include "bidi/com_pointer.h"
#include "diag/dbg_log.h"
#include "support/critical_section.h"
#include "support/handles.h"

namespace vlp {

inline constexpr std::uint32_t BIDI_STATE_NONE = 0;     // no worker: calls answer -1
inline constexpr std::uint32_t BIDI_STATE_READY = 1;    // served
inline constexpr std::uint32_t BIDI_STATE_STOPPED = 2;  // for good: calls answer -6

// Results: 0; VLPER_NOTSUPPORT, the spooler or device can't serve this;
// VLPER_NOTCONNECT, server or device offline; VLPER_BUFFERSIZE, the answer is larger
// than its room; VLPER_TERMINATE, stopped; VLPER_PARAM, a null argument; VLPER_SEND,
// anything else.
class CBidiIF {
 public:
  // Starts the worker and waits, without limit, until it has the spooler's interface or
  // has ended. Never fails: without an interface the state stays BIDI_STATE_NONE. The
  // log isn't owned, may be null and is used only once the worker has answered.
  explicit CBidiIF(DbgLog* log);

  // Ends the worker if it still runs and waits for its end without limit.
  ~CBidiIF();

  CBidiIF(const CBidiIF&) = delete;
  CBidiIF& operator=(const CBidiIF&) = delete;

  // Sends the rows in order and fills output and length of those that want an answer.
  // The first row with a failure ends the reading; rows behind it keep their lengths,
  // so their contents mean nothing. One exchange at a time per printer; blocks for as
  // long as the spooler does. Throws only when memory runs out, before anything is bound.
  std::int32_t SendRecvBidiContainer(const WCHAR* printerName, BidiContainer* container);

  // The same for a single row.
  std::int32_t SendRecvBidi(const WCHAR* printerName, BidiRequestEntry* entry);

  // Waits for a call under way, ends the worker and waits for its end, both without
  // limit. Every later call answers VLPER_TERMINATE. May be called again.
  void StopBidiWorker();

  // The worker's routine: joins the multithreaded apartment, gets the spooler's
  // interface and waits to be told to end. Returns the thread's exit code.
  static DWORD BidiWorkerProc(CBidiIF* self) noexcept;

 private:
  static DWORD WINAPI WorkerThread(void* argument);

  bool StartThread();
  void StartWorker();
  void EndWorker();

  std::int32_t ContainerCall(const WCHAR* printerName, BidiContainer& container)
      VLP_REQUIRES(m_csCall);
  std::int32_t BoundContainerCall(BidiContainer& container) VLP_REQUIRES(m_csCall);
  std::int32_t BuildRequests(IBidiRequestContainer& requests, const BidiContainer& container);
  std::int32_t ReadAnswers(IBidiRequestContainer& requests, const BidiContainer& container);
  std::int32_t SingleCall(const WCHAR* printerName, BidiRequestEntry& entry) VLP_REQUIRES(m_csCall);
  std::int32_t BoundSingleCall(BidiRequestEntry& entry) VLP_REQUIRES(m_csCall);
  std::int32_t StateResult() const VLP_REQUIRES(m_csCall);

  std::int32_t CallBindDevice(const WCHAR* printerName);
  std::int32_t SetRequest(IBidiRequest* request, const BidiRequestEntry* entry);
  template <typename Send>
  std::int32_t CallSendRecv(Send send);
  std::int32_t GetRespons(IBidiRequest* request, const BidiRequestEntry* entry);
  void DeleteRequest(ComPointer<IBidiRequest> request);
  std::int32_t CallUnbindDevice();

  void AddToList(ComPointer<IBidiRequest> request) VLP_EXCLUDES(m_csRequests);
  IBidiRequest* RequestAt(std::uint32_t position) VLP_EXCLUDES(m_csRequests);
  void DeleteRequests() VLP_EXCLUDES(m_csRequests);

  std::int32_t LogReturn(const char* text, std::int32_t rc, const DbgTimes& times = {});
  void LogSchema(const BidiRequestEntry& entry, std::int32_t row);

  // Written by the worker before it sets m_hReady or ends; once the object is shared, read
  // under m_csCall.
  ComPointer<IBidiSpl> m_pBidiSpl;

  // Held for a whole exchange.
  CriticalSection m_csCall;
  std::uint32_t m_nState = BIDI_STATE_NONE;

  // Final once the worker has answered.
  DbgLog* m_pLog = nullptr;

  KernelHandle m_hReady;
  KernelHandle m_hQuit;
  KernelHandle m_hThread;
  HMODULE m_hModule = nullptr;  // this module, referenced by the worker

  // The requests of the exchange under way; taken inside m_csCall.
  CriticalSection m_csRequests;
  std::vector<ComPointer<IBidiRequest>> m_pRequests VLP_GUARDED_BY(m_csRequests);
  std::int32_t m_nRequests VLP_GUARDED_BY(m_csRequests) = 0;
};

}  // namespace vlp
