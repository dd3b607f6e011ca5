#pragma once

#include <unknwn.h>

#define CLSCTX_ALL \
  (CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER)

WINBASEAPI HRESULT WINAPI CoInitializeEx(LPVOID pvReserved, DWORD dwCoInit);
WINBASEAPI void WINAPI CoUninitialize(void);
WINBASEAPI HRESULT WINAPI CoCreateInstance(REFCLSID rclsid, LPUNKNOWN pUnkOuter, DWORD dwClsContext,
                                           REFIID riid, LPVOID* ppv);
WINBASEAPI LPVOID WINAPI CoTaskMemAlloc(SIZE_T cb);
WINBASEAPI void WINAPI CoTaskMemFree(LPVOID pv);
