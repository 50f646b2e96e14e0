#include "service/journal.h"

namespace service {

bool standard_error_is_journal()
{
    return false;
}

std::shared_ptr<logging::line_sink> open_journal_sink()
{
    return nullptr;
}

} // namespace service
