#include "desk/copies/private_folder.h"

#include "mail/files/new_file.h"

#include <system_error>

namespace host {

private_folder::private_folder()
    : listed_(make_private_folder())
{}

private_folder::~private_folder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path(), ignored);
}

} // namespace host
