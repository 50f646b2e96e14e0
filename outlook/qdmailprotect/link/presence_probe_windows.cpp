#include "outlook/qdmailprotect/link/namespace_probe.h"

std::shared_ptr<const PresenceProbe> NewPresenceProbe()
{
    return std::make_shared<NamespaceProbe>(presence::system_namespace_functions());
}
