#include "desk/copies/mail_files.h"
#include "mail/mime/saving/message_saver.h"
#include "mail/msg/msg_file.h"

namespace host {

message_record read_mail(const message_place& place, const std::shared_ptr<store_context>& store, written_by author)
{
    if (format_of(place) != mail_format::msg) {
        return read_message(open_message(place), place.name(), store, author);
    }
    return place.contents ? read_msg(place.file, place.contents, store) : read_msg(place.file, store);
}

void write_mail(const message_record& message, mail_format format, const std::filesystem::path& file)
{
    if (format == mail_format::msg) {
        write_msg(message, file);
    } else {
        write_eml(message, file);
    }
}

} // namespace host
