#pragma once

// Security descriptors. The layer keeps them as they are given and grants
// everything: its objects belong to one user.

#include <windef.h>

WINBASEAPI BOOL WINAPI InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor,
                                                    DWORD revision);
WINBASEAPI BOOL WINAPI SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present,
                                                 PACL list, BOOL defaulted);
