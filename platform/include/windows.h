#pragma once

// The umbrella header of the SDK. What the layer does not supply is absent, so
// that using it fails to compile.

#include <windef.h>

#include <winerror.h>

#include <consoleapi.h>
#include <errhandlingapi.h>
#include <fileapi.h>
#include <handleapi.h>
#include <libloaderapi.h>
#include <memoryapi.h>
#include <processenv.h>
#include <processthreadsapi.h>
#include <profileapi.h>
#include <securitybaseapi.h>
#include <stringapiset.h>
#include <synchapi.h>
#include <sysinfoapi.h>
#include <winbase.h>
#include <winnls.h>
#include <winreg.h>
#include <winuser.h>
