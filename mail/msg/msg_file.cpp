#include "mail/msg/msg_file.h"

#include "mail/files/atomic_file.h"
#include "mail/files/incomplete_source.h"
#include "mail/msg/compound_file.h"
#include "mail/msg/message_composer.h"
#include "mail/msg/message_parser.h"
#include "store/entry_id.h"

#include <stdexcept>

namespace host {

message_record read_msg(const std::filesystem::path& file, const std::shared_ptr<store_context>& store)
{
    return read_msg(file, bytes_of_file(file), store);
}

message_record read_msg(const std::filesystem::path& file, const bytes_ptr& contents,
                        const std::shared_ptr<store_context>& store)
{
    message_record record = msg::parse_message(*msg::read_compound_file(file, contents), store);
    if (record.incomplete) {
        record.incomplete =
            std::make_shared<const incomplete_reading>(incomplete_reading{file, record.incomplete->warnings});
    }
    const std::string id = entry_id(*contents, file.string());
    record.properties->set(PR_ENTRYID, property_value::of_binary(bytes_of(id)));
    return record;
}

void write_msg(const message_record& message, const std::filesystem::path& file)
{
    expect_not_its_source(message, file);
    const storage_ptr contents = msg::compose_message(message);
    try {
        write_atomically(
            file, [&](const std::filesystem::path& temporary) { msg::write_compound_file(*contents, temporary); });
    } catch (const std::filesystem::filesystem_error& failure) {
        throw std::runtime_error(failure.code().message());
    }
}

} // namespace host
