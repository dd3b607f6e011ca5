#pragma once

#include <guiddef.h>

typedef enum tagCLSCTX {
  CLSCTX_INPROC_SERVER = 0x1,
  CLSCTX_INPROC_HANDLER = 0x2,
  CLSCTX_LOCAL_SERVER = 0x4,
  CLSCTX_REMOTE_SERVER = 0x10
} CLSCTX;
