#include "tests/tool/web/temporary_folder.h"

#include "tool/system/identity.h"
#include "tool/web/body_store.h"

#include <iterator>

namespace fs = std::filesystem;

namespace test {

temporary_folder::temporary_folder(const std::string& purpose)
    : path_(fs::temp_directory_path() / ("postwarden-" + purpose + "-" + std::to_string(winapi::current_process_id())))
{
    fs::remove_all(path_);
    fs::create_directories(path_);
}

temporary_folder::~temporary_folder()
{
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::wstring temporary_folder::text() const
{
    return web::with_separator(path_.wstring());
}

std::wstring temporary_folder::separator()
{
    return {static_cast<wchar_t>(fs::path::preferred_separator)};
}

std::size_t temporary_folder::count() const
{
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(path_), fs::directory_iterator()));
}

} // namespace test
