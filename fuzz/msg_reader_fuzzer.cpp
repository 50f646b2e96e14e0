// Bytes as a message file: refused with a reason, or a message that is written again stream by stream.

#include "mail/msg/compound_check.h"
#include "mail/msg/compound_file.h"
#include "mail/msg/message_composer.h"
#include "mail/msg/message_parser.h"
#include "store/unreadable_message.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using namespace host;

void expect(bool truth, const char* what)
{
    if (!truth) {
        std::fprintf(stderr, "%s\n", what);
        std::abort();
    }
}

storage_ptr without_names(const storage_tree& root)
{
    auto result = std::make_shared<storage_tree>(root);
    std::erase_if(result->storages, [](const auto& storage) { return storage.name == "__nameid_version1.0"; });
    return result;
}

/// The contents of the file are written again, except the numbers of its root that count recipients and attachments,
/// and the mapping of names, which is always present afterwards.
void expect_kept(const storage_tree& root)
{
    const auto record = msg::parse_message(root, std::make_shared<store_context>());
    const storage_ptr once = msg::compose_message(record);
    const auto again = msg::parse_message(*once, std::make_shared<store_context>());
    expect(!again.incomplete, "a part of what was written is missing");
    expect(record.attachments.size() == again.attachments.size(), "other attachments");
    expect(record.recipients.size() == again.recipients.size(), "other recipients");
    const storage_ptr twice = msg::compose_message(again);
    expect(same_storage(*without_names(*once), *without_names(*twice)), "writing changes what was written");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    const bytes_ptr file = bytes_of(std::string(reinterpret_cast<const char*>(data), size));
    try {
        expect_kept(*msg::load_storage({}, file, msg::check_compound_file(*file)));
    } catch (const unreadable_message& reason) {
        expect(*reason.what() != '\0', "no reason");
    }
    return 0;
}
