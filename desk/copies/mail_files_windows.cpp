#include "desk/copies/mail_files.h"
#include "mail/msg/msg_file.h"
#include "store/unreadable_message.h"

namespace host {

message_record read_mail(const message_place& place, const std::shared_ptr<store_context>& store, written_by)
{
    if (format_of(place) != mail_format::msg) {
        throw unreadable_message("it is no Outlook message file, and others are not read on this system");
    }
    return read_msg(place.file, store);
}

void write_mail(const message_record& message, mail_format format, const std::filesystem::path& file)
{
    if (format != mail_format::msg) {
        throw std::runtime_error("only Outlook message files are written on this system");
    }
    write_msg(message, file);
}

} // namespace host
