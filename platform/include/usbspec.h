#pragma once

// Descriptors in the form that goes over the bus: no padding.

#include <windef.h>

#define USB_INTERFACE_DESCRIPTOR_TYPE 0x04
#define USB_DEVICE_CLASS_VENDOR_SPECIFIC 0xff

#pragma pack(push, 1)
typedef struct _USB_INTERFACE_DESCRIPTOR {
  UCHAR bLength;
  UCHAR bDescriptorType;
  UCHAR bInterfaceNumber;
  UCHAR bAlternateSetting;
  UCHAR bNumEndpoints;
  UCHAR bInterfaceClass;
  UCHAR bInterfaceSubClass;
  UCHAR bInterfaceProtocol;
  UCHAR iInterface;
} USB_INTERFACE_DESCRIPTOR, *PUSB_INTERFACE_DESCRIPTOR;
#pragma pack(pop)
