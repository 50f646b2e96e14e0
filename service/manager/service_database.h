#pragma once

#include "service/manager/service_entry.h"

#include <windows.h>

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace manager {

/// The manager of the system's services refused something; the text is for the administrator.
class manager_error : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// ChangeServiceConfig2W, or a stand-in for it.
using change_function = std::function<BOOL(SC_HANDLE service, DWORD level, void* information)>;

/// Stores what the creation of a service does not: description, restarts after failures, of which an end with an error
/// is one, privileges, and an own identity in access lists. Returns what this system does not store, in words.
/// Throws manager_error.
[[nodiscard]] std::vector<std::string> store_details(SC_HANDLE service, const service_entry& entry,
                                                     const change_function& change = ::ChangeServiceConfig2W);

/// Each of these throws manager_error; the texts contain the name of the service.

/// Enters a service, and its event source with the messages of `program`. Returns what store_details() returns. After a
/// failure nothing is left.
[[nodiscard]] std::vector<std::string> install_service(const service_entry& entry, const std::wstring& program);
/// Ends a service if it runs, and removes it and its event source.
void remove_service(const std::wstring& name);
/// Returns when the service runs.
void start_service(const std::wstring& name);
/// Returns when the service has ended, also if it did not run.
void stop_service(const std::wstring& name);
/// Lets a running service read its configuration again. Its log and the event log contain the result.
void reload_service(const std::wstring& name);

} // namespace manager
