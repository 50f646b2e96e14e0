#include "mail/files/incomplete_source.h"

#include <stdexcept>
#include <system_error>

namespace host {

void expect_not_its_source(const message_record& message, const std::filesystem::path& target)
{
    std::error_code no_such_file;
    if (message.incomplete && std::filesystem::equivalent(target, message.incomplete->file, no_such_file)) {
        throw std::runtime_error("not all of it could be read, so that its own file is not replaced");
    }
}

} // namespace host
