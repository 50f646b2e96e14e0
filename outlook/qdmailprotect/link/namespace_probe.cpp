#include "outlook/qdmailprotect/link/namespace_probe.h"

#include "logging/logging.h"

#include <utility>

NamespaceProbe::NamespaceProbe(presence::namespace_functions functions)
    : functions_(std::move(functions))
{}

presence::object_handle NamespaceProbe::OpenServiceNamespace(const wchar_t* alias) const
{
    if (!functions_.CreateBoundaryDescriptorW || !functions_.DeleteBoundaryDescriptor ||
        !functions_.AddSIDToBoundaryDescriptor || !functions_.OpenPrivateNamespaceW) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to initialize private namespace");
        return nullptr;
    }
    presence::object_handle descriptor = functions_.CreateBoundaryDescriptorW(presence::boundary_name, 0);
    if (!descriptor) {
        LOG_LINE(logging::outlook_log(), 200, "CreateBoundaryDescriptor failed");
        return nullptr;
    }
    presence::object_handle space = nullptr;
    if (!functions_.AddSIDToBoundaryDescriptor(descriptor, presence::local_system_sid)) {
        LOG_LINE(logging::outlook_log(), 200, "AddSIDToBoundaryDescriptor 1 failed");
    } else if (!functions_.AddSIDToBoundaryDescriptor(descriptor, presence::everyone_sid)) {
        LOG_LINE(logging::outlook_log(), 200, "AddSIDToBoundaryDescriptor 2 failed");
    } else {
        space = functions_.OpenPrivateNamespaceW(descriptor, alias);
    }
    functions_.DeleteBoundaryDescriptor(descriptor);
    return space;
}

bool NamespaceProbe::IsServicePresent() const
{
    const presence::object_handle space = OpenServiceNamespace(presence::namespace_alias);
    if (!space) {
        LOG_LINE(logging::outlook_log(), 200, "No private namespace");
        return false;
    }
    if (!functions_.ClosePrivateNamespace) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to initialize private namespace 2");
        return false;
    }
    const presence::object_handle mutex =
        functions_.OpenMutexW(presence::synchronize_access, false, presence::mutex_name);
    if (mutex) {
        functions_.CloseHandle(mutex);
    }
    functions_.ClosePrivateNamespace(space, 0);
    return mutex != nullptr;
}
