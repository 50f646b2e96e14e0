#include "mail/msg/compound_file.h"

#include "mail/msg/block_bytes.h"
#include "mail/msg/compound_check.h"
#include "store/unreadable_message.h"

#include <stdexcept>

namespace host::msg {

namespace {

constexpr std::uint64_t kept_in_memory = 1U << 20U;

std::size_t count_parts(const storage_tree& tree)
{
    std::size_t sum = tree.streams.size() + tree.storages.size();
    for (const auto& storage : tree.storages) {
        sum += count_parts(*storage.contents);
    }
    return sum;
}

/// Throws std::runtime_error for contents that read_compound_file would reject.
void expect_readable(const storage_tree& tree)
{
    if (tree.streams.size() + tree.storages.size() > most_parts) {
        throw std::runtime_error("it has more parts than a message file can hold");
    }
    for (const auto& storage : tree.storages) {
        expect_readable(*storage.contents);
    }
}

} // namespace

storage_ptr read_compound_file(const std::filesystem::path& file)
{
    return read_compound_file(file, bytes_of_file(file));
}

storage_ptr read_compound_file(const std::filesystem::path& file, bytes_ptr contents)
{
    if (contents->size() <= kept_in_memory) {
        contents = bytes_of(to_string(*contents));
    }
    const compound_structure structure = check_compound_file(block_bytes(*contents));
    storage_ptr root = load_storage(file, contents, structure);
    if (count_parts(*root) !=
        structure.parts) { // parts that a library silently omits would be lost when the file is written
        throw unreadable_message("its table of contents is damaged");
    }
    return root;
}

void write_compound_file(const storage_tree& contents, const std::filesystem::path& file)
{
    expect_readable(contents);
    save_storage(contents, file);
}

} // namespace host::msg
