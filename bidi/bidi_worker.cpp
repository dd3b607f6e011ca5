// The worker: a thread of its own keeps the COM apartment and the spooler's object
// alive, so that callers need not join an apartment themselves.

#include <objbase.h>

#include "bidi/c_bidi_if.h"
#include "support/module_reference.h"
#include "support/waits.h"

namespace vlp {
namespace {

DWORD Low16(HRESULT hr) { return static_cast<DWORD>(hr) & 0xFFFF; }

}  // namespace

CBidiIF::CBidiIF(DbgLog* log) {
  StartWorker();
  m_pLog = log;
}

CBidiIF::~CBidiIF() { EndWorker(); }

void CBidiIF::StartWorker() {
  m_hReady = CreateAutoResetEvent();
  m_hQuit = CreateAutoResetEvent();
  if (m_hReady && m_hQuit && StartThread()) {
    const HANDLE either[] = {m_hReady.Get(), m_hThread.Get()};
    while (WaitForMultipleObjects(2, either, FALSE, INFINITE) == WAIT_FAILED) Sleep(1);
    if (m_pBidiSpl) {
      m_nState = BIDI_STATE_READY;
      return;
    }
  }
  EndWorker();
}

bool CBidiIF::StartThread() {
  m_hModule = AddModuleReference();
  if (m_hModule == nullptr) return false;
  m_hThread.Reset(CreateThread(nullptr, 0, &CBidiIF::WorkerThread, this, 0, nullptr));
  if (!m_hThread) FreeLibrary(m_hModule);
  return static_cast<bool>(m_hThread);
}

// Nothing that needs a destructor may live here: the last call doesn't return.
DWORD WINAPI CBidiIF::WorkerThread(void* argument) {
  CBidiIF* const self = static_cast<CBidiIF*>(argument);
  const HMODULE module = self->m_hModule;
  FreeLibraryAndExitThread(module, BidiWorkerProc(self));
}

DWORD CBidiIF::BidiWorkerProc(CBidiIF* self) noexcept {
  if (self == nullptr) return ERROR_INVALID_PARAMETER;
  const HRESULT joined = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  if (FAILED(joined) && joined != RPC_E_CHANGED_MODE) return Low16(joined);

  const HRESULT created = CoCreateInstance(CLSID_BidiSpl, nullptr, CLSCTX_ALL, IID_IBidiSpl,
                                           self->m_pBidiSpl.Receive());
  if (FAILED(created)) {
    CoUninitialize();
    self->m_pBidiSpl.Forget();
    return Low16(created);
  }
  // A creator that can't be told waits for the thread's end instead.
  if (SetEvent(self->m_hReady.Get()) != FALSE) WaitToTheEnd(self->m_hQuit.Get());
  if (self->m_pBidiSpl) {
    self->m_pBidiSpl.Reset();
    CoUninitialize();
  }
  return 0;
}

void CBidiIF::EndWorker() {
  if (m_hThread) {
    Signal(m_hQuit.Get());
    WaitToTheEnd(m_hThread.Get());
    m_hThread.Reset();
  }
  m_hReady.Reset();
  m_hQuit.Reset();
}

void CBidiIF::StopBidiWorker() {
  const LockGuard call(m_csCall);
  EndWorker();
  m_nState = BIDI_STATE_STOPPED;
}

}  // namespace vlp
