// Storages made of the input, to reach lists of properties and mappings of names that no flipped bit of a compound file
// leads to. The input is a sequence of parts, each with one byte for its kind:
//   bit 7: set: a storage begins, clear: a stream; the byte 0 ends the innermost storage
//   bits 0 to 3: its name, one of those of the format; bit 4: a number of two bytes that belongs to the name follows
// A stream has its length in two bytes, followed by its bytes.

#include "mail/msg/layout.h"
#include "mail/msg/message_composer.h"
#include "mail/msg/message_parser.h"
#include "store/unreadable_message.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

using namespace host;

class tree_reader
{
public:
    explicit tree_reader(std::string_view input)
        : rest_(input)
    {}

    storage_ptr storage(int depth)
    {
        auto tree = std::make_shared<storage_tree>();
        while (!rest_.empty()) {
            const std::uint32_t kind = number(1);
            if (kind == 0 && depth > 0) {
                break;
            }
            std::string name = name_of(kind);
            if ((kind & 0x80U) != 0 && depth < 80) {
                add(tree->storages, {std::move(name), storage(depth + 1)});
            } else {
                const std::uint32_t size = number(2);
                const std::string_view contents = rest_.substr(0, size);
                rest_.remove_prefix(contents.size());
                add(tree->streams, {std::move(name), bytes_of(std::string(contents))});
            }
        }
        return tree;
    }

private:
    std::uint32_t number(std::size_t width)
    {
        std::uint32_t result = 0;
        for (std::size_t i = 0; i < width && !rest_.empty(); ++i) {
            result |= static_cast<std::uint32_t>(static_cast<unsigned char>(rest_.front())) << i * 8;
            rest_.remove_prefix(1);
        }
        return result;
    }
    std::string name_of(std::uint32_t kind)
    {
        const std::uint32_t more = (kind & 0x10U) != 0 ? number(2) : 0;
        switch (kind & 0xFU) {
        case 0:
            return std::string(msg::properties_stream);
        case 1:
            return std::string(msg::names_storage);
        case 2:
            return msg::numbered_name(msg::recipient_prefix, more);
        case 3:
            return msg::numbered_name(msg::attachment_prefix, more);
        case 4:
            return msg::value_name(PR_ATTACH_DATA_OBJ);
        case 5:
            return msg::element_name(number(4), more);
        case 6:
            return msg::value_name(0x00020102U + (more % 3 << 16U));
        default:
            return msg::value_name(number(4));
        }
    }
    template <typename Child>
    static void add(std::vector<Child>& children, Child child)
    {
        for (const auto& other : children) {
            if (msg::folded(other.name) == msg::folded(child.name)) {
                return; // as in compound files: each name once
            }
        }
        children.push_back(std::move(child));
    }

    std::string_view rest_;
};

storage_ptr without_names(const storage_tree& root)
{
    auto result = std::make_shared<storage_tree>(root);
    std::erase_if(result->storages, [](const auto& storage) { return storage.name == msg::names_storage; });
    return result;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    const auto root = tree_reader({reinterpret_cast<const char*>(data), size}).storage(0);
    try {
        const auto record = msg::parse_message(*root, std::make_shared<store_context>());
        const storage_ptr once = msg::compose_message(record);
        const auto again = msg::parse_message(*once, std::make_shared<store_context>());
        if (again.incomplete) {
            std::fprintf(stderr, "a part of what was written is missing\n");
            std::abort();
        }
        if (!same_storage(*without_names(*once), *without_names(*msg::compose_message(again)))) {
            std::fprintf(stderr, "writing changes what was written\n");
            std::abort();
        }
    } catch (const unreadable_message& reason) {
        if (*reason.what() == '\0') {
            std::abort();
        }
    }
    return 0;
}
