#pragma once

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <winsock2.h>
#endif

/// Whether Wine plays Windows here. A test that meets a limitation of Wine's takes another way, and names it.
inline bool isWine()
{
#ifdef _WIN32
    return GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr;
#else
    return false;
#endif
}
