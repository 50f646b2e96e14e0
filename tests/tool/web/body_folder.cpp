#include "tests/tool/web/body_folder.h"

#include "tool/system/identity.h"
#include "tool/web/body_store.h"

#include <iterator>

namespace fs = std::filesystem;

namespace test {

body_folder::body_folder(const std::string& purpose)
    : path_(fs::temp_directory_path() / ("postwarden-" + purpose + "-" + std::to_string(winapi::current_process_id())))
{
    fs::remove_all(path_);
    fs::create_directories(path_);
}

body_folder::~body_folder()
{
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::wstring body_folder::text() const
{
    return web::with_separator(path_.wstring());
}

std::wstring body_folder::separator()
{
    return {static_cast<wchar_t>(fs::path::preferred_separator)};
}

std::size_t body_folder::count() const
{
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(path_), fs::directory_iterator()));
}

} // namespace test
