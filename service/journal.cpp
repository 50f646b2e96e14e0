#include "service/journal.h"

namespace service {

std::string_view journal_prefix(logging::priority::level_type level)
{
    using namespace logging::priority;
    if (level <= error) {
        return "<3>";
    }
    if (level <= decision) {
        return "<5>";
    }
    return level <= course ? "<6>" : "<7>";
}

} // namespace service
