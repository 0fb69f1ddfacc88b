// windows_api.h: the one include of <windows.h>; this folder holds only Windows code.
#ifndef MIRT_WINDOWS_API_H
#define MIRT_WINDOWS_API_H

#ifndef _WIN32_WINNT
#define _WIN32_WINNT 0x0601  // Windows 7 and later
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#include <psapi.h>

#endif
