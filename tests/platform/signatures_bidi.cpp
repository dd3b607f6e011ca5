// Compiled against the SDK's headers and against the layer's: both must mean the same.

#include <gtest/gtest.h>

#include <windows.h>

#include <bidispl.h>
#include <objbase.h>
#include <winspool.h>

#include <type_traits>

namespace {

template <class Call, class Type>
constexpr bool is = std::is_same_v<Call, Type>;

static_assert(is<decltype(&CoInitializeEx), HRESULT(WINAPI*)(LPVOID, DWORD)>);
static_assert(is<decltype(&CoUninitialize), void(WINAPI*)()>);
static_assert(
    is<decltype(&CoCreateInstance), HRESULT(WINAPI*)(REFCLSID, LPUNKNOWN, DWORD, REFIID, LPVOID*)>);
static_assert(is<decltype(&CoTaskMemAlloc), LPVOID(WINAPI*)(SIZE_T)>);
static_assert(is<decltype(&CoTaskMemFree), void(WINAPI*)(LPVOID)>);

// The SDK adds a template of the same name, so the type picks the call.
constexpr HRESULT (WINAPI IUnknown::*query_interface)(REFIID, void**) = &IUnknown::QueryInterface;
static_assert(is<decltype(&IUnknown::AddRef), ULONG (WINAPI IUnknown::*)()>);
static_assert(is<decltype(&IUnknown::Release), ULONG (WINAPI IUnknown::*)()>);

static_assert(is<decltype(&IBidiRequest::SetSchema), HRESULT (WINAPI IBidiRequest::*)(LPCWSTR)>);
static_assert(is<decltype(&IBidiRequest::SetInputData),
                 HRESULT (WINAPI IBidiRequest::*)(DWORD, const BYTE*, UINT)>);
static_assert(is<decltype(&IBidiRequest::GetResult), HRESULT (WINAPI IBidiRequest::*)(HRESULT*)>);
static_assert(is<decltype(&IBidiRequest::GetOutputData),
                 HRESULT (WINAPI IBidiRequest::*)(DWORD, LPWSTR*, DWORD*, BYTE**, ULONG*)>);
static_assert(is<decltype(&IBidiRequest::GetEnumCount), HRESULT (WINAPI IBidiRequest::*)(DWORD*)>);

static_assert(is<decltype(&IBidiRequestContainer::AddRequest),
                 HRESULT (WINAPI IBidiRequestContainer::*)(IBidiRequest*)>);
static_assert(is<decltype(&IBidiRequestContainer::GetEnumObject),
                 HRESULT (WINAPI IBidiRequestContainer::*)(IEnumUnknown**)>);
static_assert(is<decltype(&IBidiRequestContainer::GetRequestCount),
                 HRESULT (WINAPI IBidiRequestContainer::*)(ULONG*)>);

static_assert(is<decltype(&IBidiSpl::BindDevice), HRESULT (WINAPI IBidiSpl::*)(LPCWSTR, DWORD)>);
static_assert(is<decltype(&IBidiSpl::UnbindDevice), HRESULT (WINAPI IBidiSpl::*)()>);
static_assert(
    is<decltype(&IBidiSpl::SendRecv), HRESULT (WINAPI IBidiSpl::*)(LPCWSTR, IBidiRequest*)>);
static_assert(is<decltype(&IBidiSpl::MultiSendRecv),
                 HRESULT (WINAPI IBidiSpl::*)(LPCWSTR, IBidiRequestContainer*)>);

static_assert(std::is_base_of_v<IUnknown, IBidiRequest>);
static_assert(std::is_base_of_v<IUnknown, IBidiRequestContainer>);
static_assert(std::is_base_of_v<IUnknown, IBidiSpl>);
static_assert(sizeof(HRESULT) == 4 && sizeof(GUID) == 16 && sizeof(WCHAR) == 2);
static_assert(CLSCTX_ALL == 23 && COINIT_MULTITHREADED == 0 && COINIT_APARTMENTTHREADED == 2);
static_assert(BIDI_NULL == 0 && BIDI_INT == 1 && BIDI_FLOAT == 2 && BIDI_BOOL == 3 &&
              BIDI_STRING == 4 && BIDI_TEXT == 5 && BIDI_ENUM == 6 && BIDI_BLOB == 7);
static_assert(BIDI_ACCESS_ADMINISTRATOR == 1 && BIDI_ACCESS_USER == 2);
static_assert(ERROR_BIDI_SERVER_OFFLINE == 13003 && ERROR_BIDI_DEVICE_OFFLINE == 13004 &&
              ERROR_BIDI_SCHEMA_NOT_SUPPORTED == 13005 && ERROR_BIDI_NOT_SUPPORTED == 50);

// Position of a call in its interface's table of addresses: a pointer to a virtual member
// holds one more than the offset of its slot.
template <class Member>
size_t slot_of(Member member) {
  size_t word = 0;
  memcpy(&word, &member, sizeof word);
  return (word - 1) / sizeof(void*);
}

TEST(BidiInterfaces, CallsStandInTheOrderThatAllImplementationsShare) {
  EXPECT_EQ(0U, slot_of(query_interface));
  EXPECT_EQ(1U, slot_of(&IUnknown::AddRef));
  EXPECT_EQ(2U, slot_of(&IUnknown::Release));
  EXPECT_EQ(3U, slot_of(&IBidiRequest::SetSchema));
  EXPECT_EQ(4U, slot_of(&IBidiRequest::SetInputData));
  EXPECT_EQ(5U, slot_of(&IBidiRequest::GetResult));
  EXPECT_EQ(6U, slot_of(&IBidiRequest::GetOutputData));
  EXPECT_EQ(7U, slot_of(&IBidiRequest::GetEnumCount));
  EXPECT_EQ(3U, slot_of(&IBidiRequestContainer::AddRequest));
  EXPECT_EQ(4U, slot_of(&IBidiRequestContainer::GetEnumObject));
  EXPECT_EQ(5U, slot_of(&IBidiRequestContainer::GetRequestCount));
  EXPECT_EQ(3U, slot_of(&IBidiSpl::BindDevice));
  EXPECT_EQ(4U, slot_of(&IBidiSpl::UnbindDevice));
  EXPECT_EQ(5U, slot_of(&IBidiSpl::SendRecv));
  EXPECT_EQ(6U, slot_of(&IBidiSpl::MultiSendRecv));
}

}  // namespace
