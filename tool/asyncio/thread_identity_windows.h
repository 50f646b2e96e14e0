#pragma once

#include "tool/asyncio/wait_for_thread.h"

namespace tpl {

/// Finds an export of a loaded module; null where it is absent.
using export_finder = void* (*)(const wchar_t* module, const char* name);

/// The id of a thread, by GetThreadId of "Kernel32.dll"; where that export is absent, by NtQueryInformationThread of
/// "ntdll.dll", which the result tells as `fallback`.
[[nodiscard]] thread_platform::identity find_thread_identity(thread_handle handle, export_finder find);

} // namespace tpl
