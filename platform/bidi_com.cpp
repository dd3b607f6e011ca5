// COM as far as the bidi classes need it: apartments, creation, task memory.

#include "platform/bidi_monitor.h"
#include "platform/bidi_objects.h"
#include "platform/kernel/call.h"
#include "platform/usb_state.h"

#include <cstdlib>
#include <new>

namespace platform {
namespace {

enum class Apartment { none, single, multi };

// Threads in the multithreaded apartment, under the layer's lock. While it isn't 0, a
// thread without an apartment of its own counts as one of them.
uint32_t multi_threads = 0;

// Task memory handed out and not freed, under the layer's lock.
uint32_t task_memory_blocks = 0;

// A thread's own apartment. A thread that ends without leaving it leaves it all the same.
class OwnApartment {
 public:
  ~OwnApartment() {
    if (apartment_ != Apartment::none) {
      entries_ = 1;
      leave();
    }
  }

  Apartment apartment() const { return apartment_; }

  HRESULT enter(Apartment wanted) {
    if (apartment_ != Apartment::none && apartment_ != wanted) {
      return RPC_E_CHANGED_MODE;
    }
    if (++entries_ > 1) {
      return S_FALSE;
    }
    apartment_ = wanted;
    if (wanted == Apartment::multi) {
      const StateGuard guard;
      ++multi_threads;
    }
    return S_OK;
  }

  void leave() {
    if (entries_ == 0 || --entries_ > 0) {
      return;
    }
    if (apartment_ == Apartment::multi) {
      const StateGuard guard;
      --multi_threads;
    }
    apartment_ = Apartment::none;
  }

 private:
  Apartment apartment_ = Apartment::none;
  uint32_t entries_ = 0;
};

thread_local OwnApartment own_apartment;

bool in_apartment() {
  if (own_apartment.apartment() != Apartment::none) {
    return true;
  }
  const StateGuard guard;
  return multi_threads > 0;
}

// A fault may be given as an HRESULT or as a Windows error.
HRESULT failure_of(DWORD fault) {
  return (fault & 0x80000000U) != 0 ? static_cast<HRESULT>(fault) : HRESULT_FROM_WIN32(fault);
}

// Never destroyed: a thread may still be in a call while the process ends. Its allocations
// and those of its users are made inside calls, so none of them is a fault point.
simulator::PortMonitor& port_monitor() {
  static auto* monitor = new simulator::PortMonitor;
  return *monitor;
}

}  // namespace

void with_port_monitor(FunctionRef<void(simulator::PortMonitor&)> work) {
  const StateGuard guard;
  work(port_monitor());
}

HRESULT run_bidi_call(const char* name, FunctionRef<HRESULT()> body, OnFault on_fault) {
  const Call call(name);
  const auto fault = call.fault();
  HRESULT result = S_OK;
  try {
    if (!fault || on_fault == OnFault::fail_afterwards) result = body();
  } catch (const std::bad_alloc&) {
    result = E_OUTOFMEMORY;
  }
  if (!fault) return result;
  const HRESULT failure = failure_of(*fault);
  SetLastError(static_cast<DWORD>(HRESULT_CODE(failure)));
  return failure;
}

void control_port_monitor(FunctionRef<void(simulator::PortMonitor&)> work) {
  const Call call("control of the simulated printers", Fails::never);
  with_port_monitor([&](simulator::PortMonitor& monitor) {
    for (std::string& text : take_usb_breaches()) {
      monitor.breach(std::move(text));
    }
    work(monitor);
  });
}

uint32_t live_task_blocks() {
  const Call call("count of task memory", Fails::never);
  const StateGuard guard;
  return task_memory_blocks;
}

}  // namespace platform

extern "C" const IID IID_IUnknown{0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

HRESULT WINAPI CoInitializeEx(LPVOID reserved, DWORD flags) {
  const platform::Call call("CoInitializeEx");
  if (const auto fault = call.fault()) {
    return platform::failure_of(*fault);
  }
  if (reserved != nullptr) {
    return E_INVALIDARG;
  }
  const bool single = (flags & COINIT_APARTMENTTHREADED) != 0;
  return platform::own_apartment.enter(single ? platform::Apartment::single
                                              : platform::Apartment::multi);
}

void WINAPI CoUninitialize() {
  const platform::Call call("CoUninitialize", platform::Fails::never);
  platform::own_apartment.leave();
}

HRESULT WINAPI CoCreateInstance(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid,
                                LPVOID* object) {
  const platform::Call call("CoCreateInstance");
  if (object == nullptr) {
    return E_POINTER;
  }
  *object = nullptr;
  if (const auto fault = call.fault()) {
    return platform::failure_of(*fault);
  }
  if (!platform::in_apartment()) {
    return CO_E_NOTINITIALIZED;
  }
  if ((context & CLSCTX_INPROC_SERVER) == 0) {
    return REGDB_E_CLASSNOTREG;
  }
  return platform::create_bidi_object(clsid, outer, iid, object);
}

LPVOID WINAPI CoTaskMemAlloc(SIZE_T size) {
  const platform::Call call("CoTaskMemAlloc");
  if (call.fault()) {
    return nullptr;
  }
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block != nullptr) {
    const platform::StateGuard guard;
    ++platform::task_memory_blocks;
  }
  return block;
}

void WINAPI CoTaskMemFree(LPVOID block) {
  const platform::Call call("CoTaskMemFree", platform::Fails::never);
  if (block == nullptr) {
    return;
  }
  std::free(block);
  const platform::StateGuard guard;
  --platform::task_memory_blocks;
}
