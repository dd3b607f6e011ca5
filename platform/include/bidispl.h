#pragma once

// The spooler's bidirectional interface. The identifiers are only declared: whoever
// uses them defines them, because no import library has them.

#include <objbase.h>

EXTERN_C const CLSID CLSID_BidiRequest;
EXTERN_C const CLSID CLSID_BidiRequestContainer;
EXTERN_C const CLSID CLSID_BidiSpl;
EXTERN_C const IID IID_IBidiRequest;
EXTERN_C const IID IID_IBidiRequestContainer;
EXTERN_C const IID IID_IBidiSpl;

struct IEnumUnknown;

MIDL_INTERFACE("8F348BD7-4B47-4755-8A9D-0F422DF3DC89") IBidiRequest : public IUnknown {
  virtual HRESULT WINAPI SetSchema(const LPCWSTR pszSchema) = 0;
  virtual HRESULT WINAPI SetInputData(const DWORD dwType, const BYTE* pData, const UINT uSize) = 0;
  virtual HRESULT WINAPI GetResult(HRESULT * phr) = 0;
  virtual HRESULT WINAPI GetOutputData(const DWORD dwIndex, LPWSTR* ppszSchema, DWORD* pdwType,
                                       BYTE** ppData, ULONG* uSize) = 0;
  virtual HRESULT WINAPI GetEnumCount(DWORD * pdwTotal) = 0;
};

MIDL_INTERFACE("D752F6C0-94A8-4275-A77D-8F1D1A1121AE") IBidiRequestContainer : public IUnknown {
  virtual HRESULT WINAPI AddRequest(IBidiRequest * pRequest) = 0;
  virtual HRESULT WINAPI GetEnumObject(IEnumUnknown * *ppenum) = 0;
  virtual HRESULT WINAPI GetRequestCount(ULONG * puCount) = 0;
};

MIDL_INTERFACE("D580DC0E-DE39-4649-BAA8-BF0B85A03A97") IBidiSpl : public IUnknown {
  virtual HRESULT WINAPI BindDevice(const LPCWSTR pszDeviceName, const DWORD dwAccess) = 0;
  virtual HRESULT WINAPI UnbindDevice() = 0;
  virtual HRESULT WINAPI SendRecv(const LPCWSTR pszAction, IBidiRequest* pRequest) = 0;
  virtual HRESULT WINAPI MultiSendRecv(const LPCWSTR pszAction,
                                       IBidiRequestContainer* pRequestContainer) = 0;
};
