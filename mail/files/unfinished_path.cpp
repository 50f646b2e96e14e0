#include "mail/files/unfinished_path.h"

#include <algorithm>
#include <system_error>
#include <utility>
#include <vector>

namespace host {

namespace {

struct path_list
{
    std::mutex lock;
    std::vector<const unfinished_path*> paths;
};

path_list& of_process()
{
    static path_list only;
    return only;
}

} // namespace

unfinished_path::unfinished_path(std::filesystem::path path)
    : path_(std::move(path))
{
    path_list& all = of_process();
    const std::lock_guard guard(all.lock);
    all.paths.push_back(this);
}

unfinished_path::~unfinished_path()
{
    path_list& all = of_process();
    const std::lock_guard guard(all.lock);
    std::erase(all.paths, this);
}

std::unique_lock<std::mutex> delete_unfinished_paths() noexcept
{
    path_list& all = of_process();
    std::unique_lock held(all.lock);
    for (const unfinished_path* one : all.paths) {
        std::error_code ignored;
        std::filesystem::remove_all(one->path(), ignored);
    }
    return held;
}

} // namespace host
