#include "platform/bidi_objects.h"

#include <winspool.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <new>
#include <vector>

namespace platform {
namespace {

using simulator::Bytes;
using simulator::Ending;
using simulator::LiveObjects;
using simulator::PortMonitor;
using simulator::Refusal;
using simulator::RowResult;
using simulator::SeenBatch;
using simulator::Trouble;

constexpr GUID spl_class{
    0x2A614240, 0xA4C5, 0x4C33, {0xBD, 0x87, 0x1B, 0xC7, 0x09, 0x33, 0x16, 0x39}};
constexpr GUID request_class{
    0xB9162A23, 0x45F9, 0x47CC, {0x80, 0xF5, 0xFE, 0x0F, 0xE9, 0xB9, 0xE1, 0xA2}};
constexpr GUID container_class{
    0xFC5B8A24, 0xDB05, 0x4A01, {0x83, 0x88, 0x22, 0xED, 0xF6, 0xC2, 0xBB, 0xBA}};
constexpr GUID spl_interface{
    0xD580DC0E, 0xDE39, 0x4649, {0xBA, 0xA8, 0xBF, 0x0B, 0x85, 0xA0, 0x3A, 0x97}};
constexpr GUID request_interface{
    0x8F348BD7, 0x4B47, 0x4755, {0x8A, 0x9D, 0x0F, 0x42, 0x2D, 0xF3, 0xDC, 0x89}};
constexpr GUID container_interface{
    0xD752F6C0, 0x94A8, 0x4275, {0xA7, 0x7D, 0x8F, 0x1D, 0x1A, 0x11, 0x21, 0xAE}};

std::u16string units_of(LPCWSTR text) {
  std::u16string units;
  for (; *text != 0; ++text) {
    units.push_back(static_cast<char16_t>(*text));
  }
  return units;
}

HRESULT as_hresult(uint32_t result) { return static_cast<HRESULT>(result); }

// The trouble that is set for this call, or success.
Ending ask(Refusal Trouble::*step) {
  Ending ending;
  with_port_monitor([&](PortMonitor& monitor) { ending = monitor.check(step); });
  return ending;
}

// Ends a call as the far side wants it. The last error comes last, so that nothing on the
// way out can change it.
HRESULT end_with(const Ending& ending) {
  if (ending.last_error) {
    SetLastError(*ending.last_error);
  }
  return as_hresult(ending.result);
}

void report_breach(const char* text) {
  with_port_monitor([&](PortMonitor& monitor) { monitor.breach(text); });
}

// An interface of COM has no destructor slot; objects die by their own Release only.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// Identity, reference count and the count of living objects.
template <class Interface, const GUID& iid, uint32_t LiveObjects::*live>
class Object : public Interface {
 public:
  Object() {
    with_port_monitor([](PortMonitor& monitor) { ++(monitor.live().*live); });
  }
  virtual ~Object() {
    with_port_monitor([](PortMonitor& monitor) { --(monitor.live().*live); });
  }
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID wanted, void** object) override {
    if (object == nullptr) {
      return E_POINTER;
    }
    *object = nullptr;
    if (wanted != IID_IUnknown && wanted != iid) {
      return E_NOINTERFACE;
    }
    AddRef();
    *object = static_cast<Interface*>(this);
    return S_OK;
  }

  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }

  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) {
      delete this;
    }
    return left;
  }

 private:
  std::atomic<ULONG> references_{1};
};

class Request : public Object<IBidiRequest, request_interface, &LiveObjects::requests> {
 public:
  HRESULT WINAPI SetSchema(const LPCWSTR schema) override {
    return run_bidi_call("IBidiRequest::SetSchema", [&]() -> HRESULT {
      const Ending ending = ask(&Trouble::set_schema);
      if (ending.failed()) {
        return end_with(ending);
      }
      if (schema == nullptr) {
        return E_POINTER;
      }
      seen_.schema = units_of(schema);
      return S_OK;
    });
  }

  HRESULT WINAPI SetInputData(const DWORD type, const BYTE* data, const UINT size) override {
    return run_bidi_call("IBidiRequest::SetInputData", [&]() -> HRESULT {
      const Ending ending = ask(&Trouble::set_input_data);
      if (ending.failed()) {
        return end_with(ending);
      }
      if (data == nullptr && size != 0) {
        return E_POINTER;
      }
      seen_.input_type = type;
      seen_.input = size == 0 ? Bytes{} : Bytes(data, data + size);
      return S_OK;
    });
  }

  HRESULT WINAPI GetResult(HRESULT* result) override {
    return run_bidi_call("IBidiRequest::GetResult", [&]() -> HRESULT {
      if (result == nullptr) {
        return E_POINTER;
      }
      *result = as_hresult(answer_.result);
      return end_with(ask(&Trouble::get_result));
    });
  }

  HRESULT WINAPI GetOutputData(const DWORD index, LPWSTR* schema, DWORD* type, BYTE** data,
                               ULONG* size) override {
    return run_bidi_call("IBidiRequest::GetOutputData", [&]() -> HRESULT {
      if (schema == nullptr || type == nullptr || data == nullptr || size == nullptr) {
        return E_POINTER;
      }
      *schema = nullptr;
      *data = nullptr;
      *type = BIDI_NULL;
      *size = 0;
      const Ending ending = ask(&Trouble::get_output_data);
      if (ending.failed()) {
        return end_with(ending);
      }
      return index < answer_.outputs ? hand_out(schema, type, data, size) : E_INVALIDARG;
    });
  }

  HRESULT WINAPI GetEnumCount(DWORD* total) override {
    return run_bidi_call("IBidiRequest::GetEnumCount", [&]() -> HRESULT {
      if (total == nullptr) {
        return E_POINTER;
      }
      *total = answer_.outputs;
      return end_with(ask(&Trouble::get_enum_count));
    });
  }

  const simulator::SeenRow& seen() const { return seen_; }
  void take_answer(RowResult answer) { answer_ = std::move(answer); }

 private:
  // The caller owns both blocks from here on.
  HRESULT hand_out(LPWSTR* schema, DWORD* type, BYTE** data, ULONG* size) const {
    const size_t schema_bytes = (seen_.schema.size() + 1) * sizeof(WCHAR);
    void* schema_copy = CoTaskMemAlloc(schema_bytes);
    if (schema_copy == nullptr) {
      return E_OUTOFMEMORY;
    }
    std::memcpy(schema_copy, seen_.schema.c_str(), schema_bytes);
    if (!answer_.null_data) {
      void* data_copy = CoTaskMemAlloc(std::max<size_t>(answer_.data.size(), 1));
      if (data_copy == nullptr) {
        CoTaskMemFree(schema_copy);
        return E_OUTOFMEMORY;
      }
      std::copy(answer_.data.begin(), answer_.data.end(), static_cast<BYTE*>(data_copy));
      *data = static_cast<BYTE*>(data_copy);
    }
    *schema = static_cast<LPWSTR>(schema_copy);
    *type = answer_.type;
    *size = static_cast<ULONG>(answer_.data.size());
    return S_OK;
  }

  simulator::SeenRow seen_;
  RowResult answer_;
};

class Container
    : public Object<IBidiRequestContainer, container_interface, &LiveObjects::containers> {
 public:
  ~Container() override {
    for (Request* request : requests_) {
      request->Release();
    }
  }

  HRESULT WINAPI AddRequest(IBidiRequest* request) override {
    return run_bidi_call("IBidiRequestContainer::AddRequest", [&]() -> HRESULT {
      const Ending ending = ask(&Trouble::add_request);
      if (ending.failed()) {
        return end_with(ending);
      }
      if (request == nullptr) {
        return E_POINTER;
      }
      // There is no other implementation in the process, so the cast is sound.
      requests_.push_back(static_cast<Request*>(request));
      request->AddRef();
      return S_OK;
    });
  }

  HRESULT WINAPI GetEnumObject(IEnumUnknown** enumeration) override {
    return run_bidi_call("IBidiRequestContainer::GetEnumObject", [&]() -> HRESULT {
      if (enumeration == nullptr) {
        return E_POINTER;
      }
      *enumeration = nullptr;
      return E_NOTIMPL;
    });
  }

  HRESULT WINAPI GetRequestCount(ULONG* count) override {
    return run_bidi_call("IBidiRequestContainer::GetRequestCount", [&]() -> HRESULT {
      if (count == nullptr) {
        return E_POINTER;
      }
      *count = static_cast<ULONG>(requests_.size());
      with_port_monitor(
          [&](PortMonitor& monitor) { *count = monitor.trouble().request_count.value_or(*count); });
      return end_with(ask(&Trouble::get_request_count));
    });
  }

  const std::vector<Request*>& requests() const { return requests_; }

 private:
  std::vector<Request*> requests_;  // each with a reference
};

class Spl : public Object<IBidiSpl, spl_interface, &LiveObjects::spls> {
 public:
  ~Spl() override {
    if (bound_) {
      report_breach("the bidi object was released while a printer was bound");
    }
  }

  HRESULT WINAPI BindDevice(const LPCWSTR name, const DWORD access) override {
    return run_bidi_call("IBidiSpl::BindDevice", [&]() -> HRESULT {
      if (name == nullptr) {
        return E_POINTER;
      }
      if (bound_) {
        report_breach("a bind while a printer was bound");
      }
      std::u16string printer = units_of(name);
      const std::optional<std::string> port = find_bidi_port(printer);
      Ending ending;
      with_port_monitor(
          [&](PortMonitor& monitor) { ending = monitor.bind(printer, port.has_value(), access); });
      bound_ = !ending.failed();
      printer_ = std::move(printer);
      port_ = port.value_or(std::string());
      return end_with(ending);
    });
  }

  HRESULT WINAPI UnbindDevice() override {
    const auto unbind = [&]() -> HRESULT {
      if (!bound_) {
        report_breach("an unbind with no printer bound");
        return E_HANDLE;
      }
      bound_ = false;
      Ending ending;
      with_port_monitor([&](PortMonitor& monitor) { ending = monitor.unbind(printer_); });
      return end_with(ending);
    };
    return run_bidi_call("IBidiSpl::UnbindDevice", unbind, OnFault::fail_afterwards);
  }

  HRESULT WINAPI SendRecv(const LPCWSTR action, IBidiRequest* request) override {
    return run_bidi_call("IBidiSpl::SendRecv", [&]() -> HRESULT {
      if (action == nullptr || request == nullptr) {
        return E_POINTER;
      }
      return send(action, false, {static_cast<Request*>(request)});
    });
  }

  HRESULT WINAPI MultiSendRecv(const LPCWSTR action, IBidiRequestContainer* requests) override {
    return run_bidi_call("IBidiSpl::MultiSendRecv", [&]() -> HRESULT {
      if (action == nullptr || requests == nullptr) {
        return E_POINTER;
      }
      return send(action, true, static_cast<Container*>(requests)->requests());
    });
  }

 private:
  HRESULT send(LPCWSTR action, bool container, const std::vector<Request*>& requests) {
    if (!bound_) {
      report_breach("a send with no printer bound");
      return E_HANDLE;
    }
    SeenBatch batch{printer_, units_of(action), container};
    for (const Request* request : requests) {
      batch.rows.push_back(request->seen());
    }
    simulator::Arrival arrival;
    with_port_monitor([&](PortMonitor& monitor) { arrival = monitor.arrive(batch, port_); });
    await(arrival);
    simulator::Answer answer;
    with_port_monitor([&](PortMonitor& monitor) { answer = monitor.answer(arrival.ticket); });
    for (size_t i = 0; i < requests.size(); ++i) {
      requests[i]->take_answer(std::move(answer.rows[i]));
    }
    return end_with(answer.ending);
  }

  static void await(const simulator::Arrival& arrival) {
    if (arrival.started != nullptr) {
      SetEvent(arrival.started);
    }
    if (arrival.gate != nullptr) {
      WaitForSingleObject(arrival.gate, INFINITE);
    }
    while (const auto due = look(arrival.ticket)) {
      Sleep(static_cast<DWORD>(*due));
    }
  }

  // Milliseconds until the far side wants the next look; nothing when the answer is ready.
  static std::optional<uint64_t> look(uint64_t ticket) {
    const uint64_t now = GetTickCount64();
    std::optional<uint64_t> due;
    with_port_monitor([&](PortMonitor& monitor) { due = monitor.proceed(ticket, now); });
    return due ? std::optional(*due - now) : std::nullopt;
  }

  bool bound_ = false;
  std::u16string printer_;
  std::string port_;
};

template <class Class>
HRESULT create(Refusal Trouble::*step, REFIID iid, void** object) {
  const Ending ending = ask(step);
  if (ending.failed()) {
    return end_with(ending);
  }
  auto* created = new (std::nothrow) Class;
  if (created == nullptr) {
    return E_OUTOFMEMORY;
  }
  const HRESULT result = created->QueryInterface(iid, object);
  created->Release();
  return result;
}

}  // namespace

HRESULT create_bidi_object(REFCLSID clsid, IUnknown* outer, REFIID iid, void** object) {
  if (object == nullptr) {
    return E_POINTER;
  }
  *object = nullptr;
  const bool known = clsid == spl_class || clsid == request_class || clsid == container_class;
  if (!known) {
    return REGDB_E_CLASSNOTREG;
  }
  if (outer != nullptr) {
    return CLASS_E_NOAGGREGATION;
  }
  if (clsid == spl_class) {
    return create<Spl>(&Trouble::create_spl, iid, object);
  }
  if (clsid == request_class) {
    return create<Request>(&Trouble::create_request, iid, object);
  }
  return create<Container>(&Trouble::create_container, iid, object);
}

}  // namespace platform
