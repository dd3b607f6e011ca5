#pragma once

#include <windef.h>

#include <string.h>

typedef GUID IID;
typedef GUID CLSID;

#ifdef __cplusplus
#define REFGUID const GUID&
#define REFIID const IID&
#define REFCLSID const IID&

inline int IsEqualGUID(REFGUID left, REFGUID right) {
  return memcmp(&left, &right, sizeof(GUID)) == 0;
}
inline bool operator==(REFGUID left, REFGUID right) { return IsEqualGUID(left, right) != 0; }
inline bool operator!=(REFGUID left, REFGUID right) { return !(left == right); }
#define IsEqualIID(left, right) IsEqualGUID(left, right)
#define IsEqualCLSID(left, right) IsEqualGUID(left, right)
#endif
