#include "host/msg/compound_file.h"

#include "host/msg/compound_check.h"

namespace host::msg {

namespace {

constexpr std::uint64_t kept_in_memory = 1U << 20U;

} // namespace

storage_ptr read_compound_file(const std::filesystem::path& file)
{
    bytes_ptr contents = bytes_of_file(file);
    if (contents->size() <= kept_in_memory) {
        contents = bytes_of(to_string(*contents));
    }
    check_compound_file(*contents);
    return load_storage(file, contents);
}

void write_compound_file(const storage_tree& contents, const std::filesystem::path& file)
{
    save_storage(contents, file);
}

} // namespace host::msg
