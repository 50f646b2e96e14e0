#include "service/presence/namespace_holder.h"

#include <stdexcept>
#include <string>
#include <utility>

namespace presence {

namespace {

// The local system account has all rights. Everyone else may look: list and traverse the namespace, and open the mutex
// for SYNCHRONIZE only.
constexpr const wchar_t* namespace_security = L"D:(A;;GA;;;SY)(A;;GRGX;;;WD)";
constexpr const wchar_t* mutex_security = L"D:(A;;GA;;;SY)(A;;0x100000;;;WD)";

bool all_there(const namespace_functions& functions)
{
    return functions.CreateBoundaryDescriptorW && functions.DeleteBoundaryDescriptor &&
           functions.AddSIDToBoundaryDescriptor && functions.CreatePrivateNamespaceW && functions.ClosePrivateNamespace;
}

[[noreturn]] void refuse(const std::string& why)
{
    throw std::runtime_error("the presence cannot be shown: " + why);
}

[[noreturn]] void refuse(const std::string& what, std::uint32_t code)
{
    refuse(what + " cannot be made: error code " + std::to_string(code));
}

} // namespace

namespace_holder::namespace_holder(namespace_functions functions)
    : functions_(std::move(functions))
{
    if (!all_there(functions_)) {
        refuse("this system has no private namespaces");
    }
    space_ = make_namespace();
    mutex_ = functions_.CreateMutexW(mutex_security, mutex_name);
    if (!mutex_) {
        const std::uint32_t code = functions_.GetLastError();
        functions_.ClosePrivateNamespace(space_, 0);
        refuse("the service's mutex", code);
    }
}

namespace_holder::~namespace_holder()
{
    functions_.CloseHandle(mutex_);
    functions_.ClosePrivateNamespace(space_, 0);
}

object_handle namespace_holder::make_namespace()
{
    object_handle descriptor = functions_.CreateBoundaryDescriptorW(boundary_name, 0);
    if (!descriptor) {
        refuse("the boundary of the service's namespace", functions_.GetLastError());
    }
    object_handle space = nullptr;
    if (functions_.AddSIDToBoundaryDescriptor(descriptor, local_system_sid) &&
        functions_.AddSIDToBoundaryDescriptor(descriptor, everyone_sid)) {
        space = functions_.CreatePrivateNamespaceW(namespace_security, descriptor, namespace_alias);
    }
    const std::uint32_t code = space ? 0 : functions_.GetLastError();
    functions_.DeleteBoundaryDescriptor(descriptor);
    if (!space) {
        refuse("the service's namespace", code);
    }
    return space;
}

} // namespace presence
