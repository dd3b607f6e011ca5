#include "tests/bidi/spooler_spy.h"

#include <bidispl.h>

#include "platform/kernel/scenario.h"

namespace spooler_spy {
namespace {

Record* current = nullptr;

void note(const std::string& text) {
  if (current != nullptr) current->Note(text);
}

HRESULT result_of(const char* call) {
  return current != nullptr && current->refused == call ? E_FAIL : S_OK;
}

std::string narrow(LPCWSTR text) {
  std::string result;
  for (; text != nullptr && *text != 0; ++text) result.push_back(static_cast<char>(*text));
  return result;
}

std::string bytes_text(const BYTE* data, UINT size) {
  return data == nullptr ? "null" : std::string(data, data + size);
}

// An interface of COM has no destructor slot; objects die by their own Release only.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

template <class Interface>
class Object : public Interface {
 public:
  explicit Object(const std::string& kind)
      : name_(current != nullptr ? current->NewName(kind) : kind) {}
  virtual ~Object() { note(name_ + " is gone"); }
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
    note(name_ + " QueryInterface");
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

  const std::string& name() const { return name_; }

 protected:
  HRESULT answer(const char* call, const std::string& arguments) const {
    note(name_ + " " + call + "(" + arguments + ")");
    return result_of(call);
  }

 private:
  std::string name_;
  ULONG references_ = 1;
};

class Request : public Object<IBidiRequest> {
 public:
  Request() : Object("request") {}

  HRESULT WINAPI SetSchema(const LPCWSTR schema) override {
    return answer("SetSchema", narrow(schema));
  }
  HRESULT WINAPI SetInputData(const DWORD type, const BYTE* data, const UINT size) override {
    return answer("SetInputData", std::to_string(type) + ", " + bytes_text(data, size) + ", " +
                                      std::to_string(size));
  }
  HRESULT WINAPI GetResult(HRESULT* result) override {
    *result = S_OK;
    return answer("GetResult", "");
  }
  HRESULT WINAPI GetOutputData(const DWORD, LPWSTR*, DWORD*, BYTE**, ULONG*) override {
    return answer("GetOutputData", "");
  }
  HRESULT WINAPI GetEnumCount(DWORD* total) override {
    *total = 0;
    return answer("GetEnumCount", "");
  }
};

class Container : public Object<IBidiRequestContainer> {
 public:
  Container() : Object("container") {}
  ~Container() override {
    for (IBidiRequest* request : requests_) request->Release();
  }

  HRESULT WINAPI AddRequest(IBidiRequest* request) override {
    const HRESULT result = answer("AddRequest", static_cast<Request*>(request)->name());
    if (FAILED(result)) return result;
    request->AddRef();
    requests_.push_back(request);
    return result;
  }
  HRESULT WINAPI GetEnumObject(IEnumUnknown**) override { return answer("GetEnumObject", ""); }
  HRESULT WINAPI GetRequestCount(ULONG* count) override {
    *count = static_cast<ULONG>(requests_.size());
    return answer("GetRequestCount", "");
  }

 private:
  std::vector<IBidiRequest*> requests_;  // each with a reference
};

class Spl : public Object<IBidiSpl> {
 public:
  Spl() : Object("spooler") {}

  HRESULT WINAPI BindDevice(const LPCWSTR name, const DWORD access) override {
    return answer("BindDevice", narrow(name) + ", " + std::to_string(access));
  }
  HRESULT WINAPI UnbindDevice() override { return answer("UnbindDevice", ""); }
  HRESULT WINAPI SendRecv(const LPCWSTR action, IBidiRequest* request) override {
    return answer("SendRecv", narrow(action) + ", " + static_cast<Request*>(request)->name());
  }
  HRESULT WINAPI MultiSendRecv(const LPCWSTR action, IBidiRequestContainer* requests) override {
    return answer("MultiSendRecv",
                  narrow(action) + ", " + static_cast<Container*>(requests)->name());
  }
};

struct Class {
  const CLSID& id;
  const IID& interface_id;
  const char* name;
  void* (*create)();
};

// As the interface that is asked for: what the caller does with the address.
const Class kClasses[] = {
    {CLSID_BidiSpl, IID_IBidiSpl, "BidiSpl",
     []() -> void* { return static_cast<IBidiSpl*>(new Spl); }},
    {CLSID_BidiRequest, IID_IBidiRequest, "BidiRequest",
     []() -> void* { return static_cast<IBidiRequest*>(new Request); }},
    {CLSID_BidiRequestContainer, IID_IBidiRequestContainer, "BidiRequestContainer",
     []() -> void* { return static_cast<IBidiRequestContainer*>(new Container); }},
};

HRESULT create(REFCLSID clsid, const void* outer, DWORD context, REFIID iid, void** object) {
  *object = nullptr;
  for (const Class& each : kClasses) {
    if (each.id != clsid || each.interface_id != iid) continue;
    note(std::string("CoCreateInstance(") + each.name + ", " +
         (outer == nullptr ? "no outer" : "outer") + ", " + std::to_string(context) + ")");
    if (FAILED(result_of("CoCreateInstance"))) return E_FAIL;
    if (clsid == CLSID_BidiSpl && current != nullptr) {
      if (current->creation_ms != 0) Sleep(current->creation_ms);
      if (current->creates_nothing) return S_OK;
    }
    *object = each.create();
    return S_OK;
  }
  note("CoCreateInstance of another class");
  return REGDB_E_CLASSNOTREG;
}

std::string limit_text(DWORD milliseconds) {
  return milliseconds == INFINITE ? "no limit" : std::to_string(milliseconds);
}

std::string name_of(HANDLE handle) {
  return current != nullptr ? current->NameOf(handle) : std::string();
}

HANDLE named(HANDLE handle, const char* kind) {
  if (current != nullptr) current->NameHandle(handle, current->NewName(kind));
  return handle;
}

}  // namespace

Record::Record() { current = this; }
Record::~Record() { current = nullptr; }

std::vector<Call> Record::Calls() {
  const vlp::LockGuard guard(lock_);
  return calls_;
}

std::vector<std::string> Record::Texts(bool own) {
  std::vector<std::string> texts;
  for (const Call& call : Calls()) {
    if ((call.thread == GetCurrentThreadId()) == own) texts.push_back(call.text);
  }
  return texts;
}

std::vector<std::string> Record::OwnTexts() { return Texts(true); }
std::vector<std::string> Record::OtherTexts() { return Texts(false); }

void Record::Forget() {
  const vlp::LockGuard guard(lock_);
  calls_.clear();
}

void Record::Note(const std::string& text) {
  const DWORD thread = GetCurrentThreadId();
  const std::size_t locks = platform::locks_held_by(thread).size();
  const vlp::LockGuard guard(lock_);
  calls_.push_back({text, thread, locks});
}

std::string Record::NewName(const std::string& kind) {
  const vlp::LockGuard guard(lock_);
  return kind + " " + std::to_string(++names_[kind]);
}

void Record::NameHandle(HANDLE handle, const std::string& name) {
  const vlp::LockGuard guard(lock_);
  handles_[handle] = name;
}

std::string Record::NameOf(HANDLE handle) {
  const vlp::LockGuard guard(lock_);
  const auto found = handles_.find(handle);
  return found == handles_.end() ? "unknown handle" : found->second;
}

}  // namespace spooler_spy

// The linker gives these names to the calls that it is told to wrap.
extern "C" {

using spooler_spy::name_of;
using spooler_spy::named;
using spooler_spy::note;

HRESULT WINAPI __real_CoInitializeEx(LPVOID, DWORD);
HRESULT WINAPI __wrap_CoInitializeEx(LPVOID reserved, DWORD flags) {
  note(std::string("CoInitializeEx(") + (reserved == nullptr ? "null" : "reserved") + ", " +
       std::to_string(flags) + ")");
  return __real_CoInitializeEx(reserved, flags);
}

void WINAPI __real_CoUninitialize();
void WINAPI __wrap_CoUninitialize() {
  note("CoUninitialize()");
  __real_CoUninitialize();
}

HRESULT WINAPI __wrap_CoCreateInstance(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid,
                                       LPVOID* object) {
  return spooler_spy::create(clsid, outer, context, iid, object);
}

HANDLE WINAPI __real_CreateEventA(LPSECURITY_ATTRIBUTES, BOOL, BOOL, LPCSTR);
HANDLE WINAPI __wrap_CreateEventA(LPSECURITY_ATTRIBUTES attributes, BOOL manual, BOOL set,
                                  LPCSTR name) {
  note(std::string("CreateEventA(") + (attributes == nullptr ? "plain" : "attributes") +
       (manual == FALSE ? ", auto-reset" : ", manual-reset") +
       (set == FALSE ? ", clear" : ", set") + (name == nullptr ? ", unnamed)" : ", named)"));
  return named(__real_CreateEventA(attributes, manual, set, name), "event");
}

HANDLE WINAPI __real_CreateThread(LPSECURITY_ATTRIBUTES, SIZE_T, LPTHREAD_START_ROUTINE, LPVOID,
                                  DWORD, LPDWORD);
HANDLE WINAPI __wrap_CreateThread(LPSECURITY_ATTRIBUTES attributes, SIZE_T stack,
                                  LPTHREAD_START_ROUTINE routine, LPVOID argument, DWORD flags,
                                  LPDWORD id) {
  note(std::string("CreateThread(") + (attributes == nullptr ? "plain" : "attributes") +
       ", stack " + std::to_string(stack) + ", flags " + std::to_string(flags) + ")");
  return named(__real_CreateThread(attributes, stack, routine, argument, flags, id), "thread");
}

BOOL WINAPI __real_SetEvent(HANDLE);
BOOL WINAPI __wrap_SetEvent(HANDLE event) {
  note("SetEvent(" + name_of(event) + ")");
  return __real_SetEvent(event);
}

DWORD WINAPI __real_WaitForSingleObject(HANDLE, DWORD);
DWORD WINAPI __wrap_WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
  note("WaitForSingleObject(" + name_of(handle) + ", " + spooler_spy::limit_text(milliseconds) +
       ")");
  return __real_WaitForSingleObject(handle, milliseconds);
}

DWORD WINAPI __real_WaitForMultipleObjects(DWORD, CONST HANDLE*, BOOL, DWORD);
DWORD WINAPI __wrap_WaitForMultipleObjects(DWORD count, CONST HANDLE* handles, BOOL all,
                                           DWORD milliseconds) {
  std::string text = "WaitForMultipleObjects(";
  for (DWORD i = 0; i < count; ++i) text += name_of(handles[i]) + ", ";
  text += (all == FALSE ? "any, " : "all, ") + spooler_spy::limit_text(milliseconds) + ")";
  note(text);
  return __real_WaitForMultipleObjects(count, handles, all, milliseconds);
}

BOOL WINAPI __real_CloseHandle(HANDLE);
BOOL WINAPI __wrap_CloseHandle(HANDLE handle) {
  note("CloseHandle(" + name_of(handle) + ")");
  return __real_CloseHandle(handle);
}

}  // extern "C"
