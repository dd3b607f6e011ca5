// Compiled against the SDK's headers and against the layer's: both must mean the same.

#include <windows.h>

#include <setupapi.h>
#include <winusb.h>

#include <cstddef>
#include <type_traits>

namespace {

template <class Call, class Type>
constexpr bool is = std::is_same_v<Call, Type>;

// Device interfaces.
static_assert(
    is<decltype(&SetupDiGetClassDevsA), HDEVINFO(WINAPI*)(const GUID*, LPCSTR, HWND, DWORD)>);
static_assert(
    is<decltype(&SetupDiEnumDeviceInterfaces),
       BOOL(WINAPI*)(HDEVINFO, PSP_DEVINFO_DATA, const GUID*, DWORD, PSP_DEVICE_INTERFACE_DATA)>);
static_assert(
    is<decltype(&SetupDiGetDeviceInterfaceDetailA),
       BOOL(WINAPI*)(HDEVINFO, PSP_DEVICE_INTERFACE_DATA, PSP_DEVICE_INTERFACE_DETAIL_DATA_A, DWORD,
                     PDWORD, PSP_DEVINFO_DATA)>);
static_assert(is<decltype(&SetupDiDestroyDeviceInfoList), BOOL(WINAPI*)(HDEVINFO)>);

// WinUSB.
static_assert(is<decltype(&WinUsb_Initialize), BOOL(WINAPI*)(HANDLE, PWINUSB_INTERFACE_HANDLE)>);
static_assert(is<decltype(&WinUsb_Free), BOOL(WINAPI*)(WINUSB_INTERFACE_HANDLE)>);
static_assert(is<decltype(&WinUsb_QueryInterfaceSettings),
                 BOOL(WINAPI*)(WINUSB_INTERFACE_HANDLE, UCHAR, PUSB_INTERFACE_DESCRIPTOR)>);
static_assert(is<decltype(&WinUsb_QueryPipe),
                 BOOL(WINAPI*)(WINUSB_INTERFACE_HANDLE, UCHAR, UCHAR, PWINUSB_PIPE_INFORMATION)>);
static_assert(is<decltype(&WinUsb_ReadPipe), BOOL(WINAPI*)(WINUSB_INTERFACE_HANDLE, UCHAR, PUCHAR,
                                                           ULONG, PULONG, LPOVERLAPPED)>);
static_assert(is<decltype(&WinUsb_WritePipe), BOOL(WINAPI*)(WINUSB_INTERFACE_HANDLE, UCHAR, PUCHAR,
                                                            ULONG, PULONG, LPOVERLAPPED)>);
static_assert(is<HDEVINFO, void*> && is<WINUSB_INTERFACE_HANDLE, void*>);

// Records.
static_assert(sizeof(SP_DEVICE_INTERFACE_DATA) == 32);
static_assert(offsetof(SP_DEVICE_INTERFACE_DATA, InterfaceClassGuid) == 4);
static_assert(offsetof(SP_DEVICE_INTERFACE_DATA, Flags) == 20);
static_assert(offsetof(SP_DEVICE_INTERFACE_DATA, Reserved) == 24);
static_assert(sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_A) == 8);
static_assert(offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_A, DevicePath) == 4);
static_assert(sizeof(SP_DEVINFO_DATA) == 32);
static_assert(offsetof(SP_DEVINFO_DATA, DevInst) == 20);
static_assert(sizeof(USB_INTERFACE_DESCRIPTOR) == 9);
static_assert(offsetof(USB_INTERFACE_DESCRIPTOR, bNumEndpoints) == 4);
static_assert(offsetof(USB_INTERFACE_DESCRIPTOR, bInterfaceClass) == 5);
static_assert(offsetof(USB_INTERFACE_DESCRIPTOR, iInterface) == 8);
static_assert(sizeof(WINUSB_PIPE_INFORMATION) == 12);
static_assert(offsetof(WINUSB_PIPE_INFORMATION, PipeType) == 0);
static_assert(offsetof(WINUSB_PIPE_INFORMATION, PipeId) == 4);
static_assert(offsetof(WINUSB_PIPE_INFORMATION, MaximumPacketSize) == 6);
static_assert(offsetof(WINUSB_PIPE_INFORMATION, Interval) == 8);

// Constants.
static_assert(DIGCF_PRESENT == 2 && DIGCF_DEVICEINTERFACE == 16 && SPINT_ACTIVE == 1);
static_assert(UsbdPipeTypeControl == 0 && UsbdPipeTypeIsochronous == 1);
static_assert(UsbdPipeTypeBulk == 2 && UsbdPipeTypeInterrupt == 3);
static_assert(USB_INTERFACE_DESCRIPTOR_TYPE == 4 && USB_DEVICE_CLASS_VENDOR_SPECIFIC == 0xFF);
static_assert(ERROR_BAD_COMMAND == 22 && ERROR_GEN_FAILURE == 31 && ERROR_SEM_TIMEOUT == 121);
static_assert(ERROR_INSUFFICIENT_BUFFER == 122 && ERROR_NO_MORE_ITEMS == 259);
static_assert(ERROR_OPERATION_ABORTED == 995);
static_assert(ERROR_DEVICE_NOT_CONNECTED == 1167 && ERROR_INVALID_USER_BUFFER == 1784);

}  // namespace
