#pragma once

// WinUSB: interface 0 of a device, and synchronous transfers on its pipes.

#include <fileapi.h>
#include <usb100.h>
#include <winusbio.h>

typedef PVOID WINUSB_INTERFACE_HANDLE, *PWINUSB_INTERFACE_HANDLE;

WINBASEAPI BOOL WINAPI WinUsb_Initialize(HANDLE DeviceHandle,
                                         PWINUSB_INTERFACE_HANDLE InterfaceHandle);
WINBASEAPI BOOL WINAPI WinUsb_Free(WINUSB_INTERFACE_HANDLE InterfaceHandle);
WINBASEAPI BOOL WINAPI WinUsb_QueryInterfaceSettings(
    WINUSB_INTERFACE_HANDLE InterfaceHandle, UCHAR AlternateInterfaceNumber,
    PUSB_INTERFACE_DESCRIPTOR UsbAltInterfaceDescriptor);
WINBASEAPI BOOL WINAPI WinUsb_QueryPipe(WINUSB_INTERFACE_HANDLE InterfaceHandle,
                                        UCHAR AlternateInterfaceNumber, UCHAR PipeIndex,
                                        PWINUSB_PIPE_INFORMATION PipeInformation);
WINBASEAPI BOOL WINAPI WinUsb_ReadPipe(WINUSB_INTERFACE_HANDLE InterfaceHandle, UCHAR PipeID,
                                       PUCHAR Buffer, ULONG BufferLength, PULONG LengthTransferred,
                                       LPOVERLAPPED Overlapped);
WINBASEAPI BOOL WINAPI WinUsb_WritePipe(WINUSB_INTERFACE_HANDLE InterfaceHandle, UCHAR PipeID,
                                        PUCHAR Buffer, ULONG BufferLength, PULONG LengthTransferred,
                                        LPOVERLAPPED Overlapped);
