#pragma once

// What the tests of the bidi calls share: owners for COM objects and threads.

#include "tests/support/far_side.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <bidispl.h>
#include <objbase.h>
#include <winspool.h>

#include <functional>
#include <string>

namespace bidi_test {

// One reference to a COM object.
template <class Interface>
class Ref {
 public:
  Ref() = default;
  Ref(Ref&& other) noexcept : object_(other.object_) { other.object_ = nullptr; }
  Ref& operator=(Ref&& other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  Ref(const Ref&) = delete;
  Ref& operator=(const Ref&) = delete;
  ~Ref() { reset(); }

  void reset() {
    if (object_ != nullptr) {
      object_->Release();
      object_ = nullptr;
    }
  }

  Interface* get() const { return object_; }
  Interface* operator->() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }
  void** out() { return reinterpret_cast<void**>(&object_); }

 private:
  Interface* object_ = nullptr;
};

template <class Interface>
HRESULT create(REFCLSID clsid, REFIID iid, Ref<Interface>& object) {
  return CoCreateInstance(clsid, nullptr, CLSCTX_ALL, iid, object.out());
}

inline Ref<IBidiSpl> make_spl() {
  Ref<IBidiSpl> object;
  EXPECT_EQ(S_OK, create(CLSID_BidiSpl, IID_IBidiSpl, object));
  return object;
}

inline Ref<IBidiRequest> make_request(LPCWSTR schema, const std::string& input = {}) {
  Ref<IBidiRequest> object;
  EXPECT_EQ(S_OK, create(CLSID_BidiRequest, IID_IBidiRequest, object));
  EXPECT_EQ(S_OK, object->SetSchema(schema));
  const auto* bytes = reinterpret_cast<const BYTE*>(input.data());
  EXPECT_EQ(S_OK, input.empty()
                      ? object->SetInputData(BIDI_NULL, nullptr, 0)
                      : object->SetInputData(BIDI_BLOB, bytes, static_cast<UINT>(input.size())));
  return object;
}

inline Ref<IBidiRequestContainer> make_container() {
  Ref<IBidiRequestContainer> object;
  EXPECT_EQ(S_OK, create(CLSID_BidiRequestContainer, IID_IBidiRequestContainer, object));
  return object;
}

// The bytes of a wide text with its terminator.
inline std::string wide_bytes(const std::basic_string<WCHAR>& text) {
  return std::string(reinterpret_cast<const char*>(text.c_str()),
                     (text.size() + 1) * sizeof(WCHAR));
}

struct Output {
  HRESULT result = E_FAIL;
  DWORD type = 99;
  std::string data = "untouched";
  bool null_data = false;
  ULONG size = 99;
  std::basic_string<WCHAR> schema = {};
};

inline Output output_of(IBidiRequest* request, DWORD index = 0) {
  Output output;
  LPWSTR schema = nullptr;
  BYTE* data = nullptr;
  output.result = request->GetOutputData(index, &schema, &output.type, &data, &output.size);
  output.null_data = data == nullptr;
  if (data != nullptr) {
    output.data.assign(reinterpret_cast<const char*>(data), output.size);
  }
  if (schema != nullptr) {
    output.schema = schema;
  }
  CoTaskMemFree(schema);
  CoTaskMemFree(data);
  return output;
}

inline HRESULT row_result(IBidiRequest* request) {
  HRESULT result = E_FAIL;
  EXPECT_EQ(S_OK, request->GetResult(&result));
  return result;
}

inline DWORD output_count(IBidiRequest* request) {
  DWORD count = 99;
  EXPECT_EQ(S_OK, request->GetEnumCount(&count));
  return count;
}

// A thread that runs a body; joined by its destructor.
class TestThread {
 public:
  explicit TestThread(std::function<void()> body) : body_(std::move(body)) {
    handle_ = CreateThread(nullptr, 0, &run, this, 0, nullptr);
    EXPECT_NE(nullptr, handle_);
  }
  ~TestThread() { join(); }
  TestThread(const TestThread&) = delete;
  TestThread& operator=(const TestThread&) = delete;

  void join() {
    if (handle_ != nullptr) {
      EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(handle_, INFINITE));
      CloseHandle(handle_);
      handle_ = nullptr;
    }
  }

 private:
  static DWORD WINAPI run(LPVOID self) {
    static_cast<TestThread*>(self)->body_();
    return 0;
  }

  std::function<void()> body_;
  HANDLE handle_ = nullptr;
};

class Event {
 public:
  explicit Event(BOOL manual) : handle_(CreateEventA(nullptr, manual, FALSE, nullptr)) {}
  ~Event() { CloseHandle(handle_); }
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  HANDLE get() const { return handle_; }
  void set() { SetEvent(handle_); }
  void await() { EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(handle_, INFINITE)); }

 private:
  HANDLE handle_;
};

// A machine with one printer, and a thread apart that keeps the multithreaded apartment.
class BidiTest : public testing::Test {
 protected:
  static constexpr const char* printer = "Bidi Calls";
  const std::basic_string<WCHAR> wide_printer = TEXT("Bidi Calls");
  static constexpr LPCWSTR name_schema = TEXT("\\Printer.VELNO_SCHEMA:SetPrinterName");
  static constexpr LPCWSTR id_schema = TEXT("\\Printer.VELNO_SCHEMA:GetDeviceID");

  void SetUp() override {
    far_side::reset();
    far_side::add_printer({.name = printer, .port = "USB001"});
    far_side::set_device_id("USB001", far_side::bytes_of("MFG:X;CMD:BDC;"));
    keeper_.emplace([this] {
      EXPECT_EQ(S_OK, CoInitializeEx(nullptr, COINIT_MULTITHREADED));
      entered_.set();
      leave_.await();
      CoUninitialize();
    });
    entered_.await();
  }

  void TearDown() override {
    leave_.set();
    keeper_.reset();
    EXPECT_EQ(far_side::LiveObjects{}, far_side::live_objects());
    if (far_side::serves(far_side::Feature::task_memory_count)) {
      EXPECT_EQ(0U, far_side::task_blocks());
    }
  }

  // The two rows of a device ID query, sent as one container.
  struct Query {
    Ref<IBidiRequestContainer> container = make_container();
    Ref<IBidiRequest> name;
    Ref<IBidiRequest> id = make_request(TEXT("\\Printer.VELNO_SCHEMA:GetDeviceID"));
  };
  Query make_query() {
    Query query;
    query.name = make_request(name_schema, wide_bytes(wide_printer));
    EXPECT_EQ(S_OK, query.container->AddRequest(query.name.get()));
    EXPECT_EQ(S_OK, query.container->AddRequest(query.id.get()));
    return query;
  }

  Ref<IBidiSpl> make_bound_spl() {
    Ref<IBidiSpl> spl = make_spl();
    EXPECT_EQ(S_OK, spl->BindDevice(wide_printer.c_str(), BIDI_ACCESS_ADMINISTRATOR));
    return spl;
  }

 private:
  Event entered_{FALSE};
  Event leave_{FALSE};
  std::optional<TestThread> keeper_;
};

}  // namespace bidi_test
