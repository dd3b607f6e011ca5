#pragma once

#include <winerror.h>
#include <wtypesbase.h>

// Default visibility keeps one identity of each interface across shared libraries.
#define MIDL_INTERFACE(uuid) struct __attribute__((visibility("default")))

EXTERN_C __attribute__((visibility("default"))) const IID IID_IUnknown;

MIDL_INTERFACE("00000000-0000-0000-C000-000000000046") IUnknown {
  virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) = 0;
  virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
  virtual ULONG STDMETHODCALLTYPE Release() = 0;
};
typedef IUnknown* LPUNKNOWN;
