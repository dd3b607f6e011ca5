/* Holds the public header to plain C and to the layout that monitors rely on. */
#include "include/vlpbidi.h"

#include <stddef.h>

_Static_assert(offsetof(ProviderTable, GetConnectInf) == 12, "slot 0");
_Static_assert(offsetof(ProviderTable, SendThroughCommand) == 60, "slot 6");
_Static_assert(sizeof(ProviderTable) == 68, "packed on 4 bytes");
