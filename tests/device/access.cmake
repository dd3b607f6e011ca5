# Status, commands and the fax channel of one device, on the layer's USB. The linker puts a spy
# before what the object asks of the engine.
vlp_test(device_access
    SOURCES vendor_device.cpp mutex_holder.cpp genvl_life.cpp genvl_open.cpp genvl_mutex.cpp genvl_sizes.cpp
        genvl_command.cpp genvl_reply.cpp genvl_status.cpp fax_open.cpp fax_write.cpp fax_read.cpp
    LINKS vlp_device vlp_simulator NATIVE_ONLY)
# Devices that go at any moment, and calls that fail.
vlp_test(device_access_loss
    SOURCES vendor_device.cpp mutex_holder.cpp genvl_removal.cpp genvl_sweep.cpp
    LINKS vlp_device vlp_simulator NATIVE_ONLY ONE_THREAD MANY_RUNS)
foreach(program test_device_access test_device_access_loss)
  if(TARGET ${program})
    foreach(function
            _ZN3vlp14XdltInitializeEPNS_6DbgLogE _ZN3vlp9XDLT_OpenEmPNS_11XdltPortOpsEPPNS_8XdltLinkE
            _ZN3vlp18XDLT_SetParametersEPNS_8XdltLinkEPNS_14XdltParametersE
            _ZN3vlp10XDLT_CloseEPNS_8XdltLinkE
            _ZN3vlp16XdltUninitializeEv
            _ZN3vlp9CIOAccess11SetWinUSBIOEPNS_10CWinUSB_IOE
            _ZN3vlp8CD4CmdIO9D4ReadCmdEPNS_14D4ChannelEntryEPhjPjj)
      target_link_options(${program} PRIVATE -Wl,--wrap=${function})
    endforeach()
  endif()
endforeach()
