#pragma once

#include "tool/asyncio/wait_for_thread.h"

namespace tpl {

/// Returns an export of a loaded module, or null if it is absent.
using export_finder = void* (*)(const wchar_t* module, const char* name);

/// Returns the id of a thread, by GetThreadId of "Kernel32.dll"; if that export is absent, by NtQueryInformationThread
/// of "ntdll.dll", which `fallback` of the result reports.
[[nodiscard]] thread_platform::identity find_thread_identity(thread_handle handle, export_finder find);

} // namespace tpl
