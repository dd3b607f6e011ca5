# The pipes of a device and the port over them. The linker puts a spy before the system's calls.
vlp_test(device_pipes
    SOURCES pump_read.cpp pump_write.cpp pump_log.cpp winusb_path.cpp winusb_open.cpp
        winusb_transfer.cpp pipes_spy.cpp
    LINKS vlp_device vlp_simulator NATIVE_ONLY)
if(TARGET test_device_pipes)
  foreach(call
          CreateFileA CloseHandle LocalAlloc LocalFree WinUsb_Initialize WinUsb_Free
          WinUsb_QueryInterfaceSettings WinUsb_QueryPipe WinUsb_ReadPipe WinUsb_WritePipe
          SetupDiGetClassDevsA SetupDiEnumDeviceInterfaces SetupDiGetDeviceInterfaceDetailA
          SetupDiDestroyDeviceInfoList)
    target_link_options(test_device_pipes PRIVATE -Wl,--wrap=${call})
  endforeach()
endif()
# The search among devices, and the mutex of the one that is found.
vlp_test(device_search
    SOURCES search_serial.cpp search_candidates.cpp search_path.cpp search_product.cpp
        search_container.cpp mutex_name.cpp mutex_holder.cpp pipes_search.cpp
    LINKS vlp_device vlp_simulator NATIVE_ONLY)
if(TARGET test_device_search)
  target_link_options(test_device_search PRIVATE -Wl,--wrap=CreateMutexA
                      -Wl,--wrap=_ZNK3vlp10CWinUSB_IO13GetDevicePathEjPc)
endif()
