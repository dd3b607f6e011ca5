#pragma once

// Device interfaces as the machine's registry and the devices that are plugged in tell them.

#include <guiddef.h>
#include <windef.h>

typedef PVOID HDEVINFO;
typedef struct HWND__* HWND;

#define DIGCF_PRESENT 0x00000002
#define DIGCF_DEVICEINTERFACE 0x00000010

#define SPINT_ACTIVE 0x00000001

typedef struct _SP_DEVINFO_DATA {
  DWORD cbSize;
  GUID ClassGuid;
  DWORD DevInst;
  ULONG_PTR Reserved;
} SP_DEVINFO_DATA, *PSP_DEVINFO_DATA;

typedef struct _SP_DEVICE_INTERFACE_DATA {
  DWORD cbSize;
  GUID InterfaceClassGuid;
  DWORD Flags;
  ULONG_PTR Reserved;
} SP_DEVICE_INTERFACE_DATA, *PSP_DEVICE_INTERFACE_DATA;

// Its size is that of the fixed part; the text begins right behind the number.
typedef struct _SP_DEVICE_INTERFACE_DETAIL_DATA_A {
  DWORD cbSize;
  CHAR DevicePath[1];
} SP_DEVICE_INTERFACE_DETAIL_DATA_A, *PSP_DEVICE_INTERFACE_DETAIL_DATA_A;

WINBASEAPI HDEVINFO WINAPI SetupDiGetClassDevsA(CONST GUID* ClassGuid, LPCSTR Enumerator,
                                                HWND hwndParent, DWORD Flags);
WINBASEAPI BOOL WINAPI SetupDiEnumDeviceInterfaces(HDEVINFO DeviceInfoSet,
                                                   PSP_DEVINFO_DATA DeviceInfoData,
                                                   CONST GUID* InterfaceClassGuid,
                                                   DWORD MemberIndex,
                                                   PSP_DEVICE_INTERFACE_DATA DeviceInterfaceData);
WINBASEAPI BOOL WINAPI SetupDiGetDeviceInterfaceDetailA(
    HDEVINFO DeviceInfoSet, PSP_DEVICE_INTERFACE_DATA DeviceInterfaceData,
    PSP_DEVICE_INTERFACE_DETAIL_DATA_A DeviceInterfaceDetailData,
    DWORD DeviceInterfaceDetailDataSize, PDWORD RequiredSize, PSP_DEVINFO_DATA DeviceInfoData);
WINBASEAPI BOOL WINAPI SetupDiDestroyDeviceInfoList(HDEVINFO DeviceInfoSet);
