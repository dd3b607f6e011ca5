# Listing devices: natively on the layer's USB, under Wine on the registry. WinUSB itself is
# native only, since Wine's has nothing but its names.
if(WIN32)
  set(vlp_usb_system own_machine.cpp own_machine_wine.cpp usb_system_wine.cpp)
else()
  set(vlp_usb_system own_machine.cpp own_machine_native.cpp usb_system_native.cpp)
endif()
vlp_test(usb_calls ONE_THREAD SOURCES usb_calls.cpp signatures_usb.cpp ${vlp_usb_system}
    LINKS vlp_settings vlp_platform_calls)
vlp_test(usb_layer NATIVE_ONLY
    SOURCES usb_devices.cpp usb_faults.cpp usb_pipes.cpp usb_removal.cpp own_machine.cpp
        own_machine_native.cpp
    LINKS vlp_settings vlp_platform_calls vlp_simulator)
