// Whole exchanges, and the requests that they are made of.

#include "bidi/c_bidi_if.h"

#include <objbase.h>

#include "bidi/bidi_errors.h"
#include "include/vlpbidi.h"

namespace vlp {
namespace {

constexpr const WCHAR* kAction = TEXT("Get");

template <typename Interface>
ComPointer<Interface> Create(REFCLSID class_id, REFIID interface_id) {
  ComPointer<Interface> object;
  if (FAILED(CoCreateInstance(class_id, nullptr, CLSCTX_ALL, interface_id, object.Receive()))) {
    object.Forget();
  }
  return object;
}

ComPointer<IBidiRequest> CreateRequest() {
  return Create<IBidiRequest>(CLSID_BidiRequest, IID_IBidiRequest);
}

}  // namespace

std::int32_t CBidiIF::StateResult() const {
  if (m_nState == BIDI_STATE_READY) return 0;
  return m_nState == BIDI_STATE_STOPPED ? VLPER_TERMINATE : VLPER_NOTSUPPORT;
}

// The Enter and schema lines stand in the log by now, should the spooler hang.
template <typename Send>
std::int32_t CBidiIF::CallSendRecv(Send send) {
  const std::uint32_t start = GetTickCount();
  const std::int32_t rc = MapSendResult(send());
  const std::uint32_t end = GetTickCount();
  DbgTimes times;
  times.startTime = &start;
  times.endTime = &end;
  return LogReturn("CBidiIF::CallSendRecv Return", rc, times);
}

std::int32_t CBidiIF::SendRecvBidi(const WCHAR* printerName, BidiRequestEntry* entry) {
  constexpr const char* kReturn = "CBidiIF::SendRecvBidi Return";
  DbgLogPut(m_pLog, kLogBidi, 0, "CBidiIF::SendRecvBidi Enter");
  if (printerName == nullptr || entry == nullptr) return LogReturn(kReturn, VLPER_PARAM);
  std::int32_t rc = 0;
  {
    const LockGuard call(m_csCall);
    rc = SingleCall(printerName, *entry);
  }
  return LogReturn(kReturn, rc);
}

std::int32_t CBidiIF::SingleCall(const WCHAR* printerName, BidiRequestEntry& entry) {
  std::int32_t rc = StateResult();
  if (rc != 0) return rc;
  LogSchema(entry, 0);
  rc = CallBindDevice(printerName);
  if (rc != 0) return rc;
  rc = BoundSingleCall(entry);
  CallUnbindDevice();
  return rc;
}

std::int32_t CBidiIF::BoundSingleCall(BidiRequestEntry& entry) {
  ComPointer<IBidiRequest> request = CreateRequest();
  if (!request) return VLPER_NOTSUPPORT;
  std::int32_t rc = SetRequest(request.Get(), &entry);
  if (rc == 0) {
    rc = CallSendRecv([&] { return m_pBidiSpl->SendRecv(kAction, request.Get()); });
  }
  if (rc == 0) rc = GetRespons(request.Get(), &entry);
  DeleteRequest(std::move(request));
  return rc;
}

std::int32_t CBidiIF::SendRecvBidiContainer(const WCHAR* printerName, BidiContainer* container) {
  constexpr const char* kReturn = "CBidiIF::SendRecvBidiContainer Return";
  DbgLogPut(m_pLog, kLogBidi, 0, "CBidiIF::SendRecvBidiContainer Enter");
  if (printerName == nullptr || container == nullptr) return LogReturn(kReturn, VLPER_PARAM);
  std::int32_t rc = 0;
  {
    const LockGuard call(m_csCall);
    rc = ContainerCall(printerName, *container);
  }
  return LogReturn(kReturn, rc);
}

std::int32_t CBidiIF::ContainerCall(const WCHAR* printerName, BidiContainer& container) {
  std::int32_t rc = StateResult();
  if (rc != 0) return rc;
  {
    // All memory is taken before the bind, so that nothing can throw while bound.
    const LockGuard list(m_csRequests);
    m_pRequests.reserve(container.count);
  }
  for (std::uint32_t row = 0; row < container.count; ++row) {
    LogSchema(container.rows[row], static_cast<std::int32_t>(row));
  }
  rc = CallBindDevice(printerName);
  if (rc != 0) return rc;
  rc = BoundContainerCall(container);
  CallUnbindDevice();
  return rc;
}

std::int32_t CBidiIF::BoundContainerCall(BidiContainer& container) {
  ComPointer<IBidiRequestContainer> requests =
      Create<IBidiRequestContainer>(CLSID_BidiRequestContainer, IID_IBidiRequestContainer);
  if (!requests) return VLPER_NOTSUPPORT;
  std::int32_t rc = BuildRequests(*requests.Get(), container);
  if (rc == 0) {
    rc = CallSendRecv([&] { return m_pBidiSpl->MultiSendRecv(kAction, requests.Get()); });
  }
  if (rc == 0) rc = ReadAnswers(*requests.Get(), container);
  requests.Reset();
  DeleteRequests();
  return rc;
}

std::int32_t CBidiIF::BuildRequests(IBidiRequestContainer& requests,
                                    const BidiContainer& container) {
  for (std::uint32_t row = 0; row < container.count; ++row) {
    ComPointer<IBidiRequest> request = CreateRequest();
    if (!request) return VLPER_NOTSUPPORT;
    if (SetRequest(request.Get(), &container.rows[row]) != 0 ||
        FAILED(requests.AddRequest(request.Get()))) {
      DeleteRequest(std::move(request));
      return VLPER_NOTSUPPORT;
    }
    AddToList(std::move(request));
  }
  return 0;
}

std::int32_t CBidiIF::ReadAnswers(IBidiRequestContainer& requests, const BidiContainer& container) {
  ULONG made = 0;
  if (FAILED(requests.GetRequestCount(&made)) || made != container.count) return VLPER_SEND;
  for (std::uint32_t row = 0; row < container.count; ++row) {
    IBidiRequest* const request = RequestAt(row);
    if (request == nullptr) return VLPER_SEND;
    const std::int32_t rc = GetRespons(request, &container.rows[row]);
    if (rc != 0) return rc;
  }
  return 0;
}

void CBidiIF::AddToList(ComPointer<IBidiRequest> request) {
  const LockGuard list(m_csRequests);
  m_pRequests.push_back(std::move(request));
  ++m_nRequests;
}

IBidiRequest* CBidiIF::RequestAt(std::uint32_t position) {
  const LockGuard list(m_csRequests);
  return position < m_pRequests.size() ? m_pRequests[position].Get() : nullptr;
}

// Each release may call into the spooler, so it happens outside of the list's lock.
void CBidiIF::DeleteRequests() {
  std::int32_t count = 0;
  {
    const LockGuard list(m_csRequests);
    count = m_nRequests;
  }
  for (std::size_t position = 0; position < static_cast<std::size_t>(count); ++position) {
    ComPointer<IBidiRequest> request;
    {
      const LockGuard list(m_csRequests);
      request = std::move(m_pRequests[position]);
    }
    if (!request) break;
    DeleteRequest(std::move(request));
  }
  const LockGuard list(m_csRequests);
  m_pRequests.clear();
  m_nRequests = 0;
}

}  // namespace vlp
