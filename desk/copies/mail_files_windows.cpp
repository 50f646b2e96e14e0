#include "desk/copies/mail_files.h"
#include "desk/copies/private_folder.h"
#include "mail/msg/msg_file.h"
#include "store/unreadable_message.h"

#include <fstream>
#include <stdexcept>
#include <string>

namespace host {

namespace {

/// A temporary file that is deleted with its object.
class passing_file
{
public:
    explicit passing_file(const bytes& contents)
    {
        std::ofstream output(path(), std::ios::binary);
        std::string block(1U << 16U, '\0');
        for (std::uint64_t offset = 0; offset < contents.size();) {
            const std::size_t got = contents.read(offset, block.data(), block.size());
            output.write(block.data(), static_cast<std::streamsize>(got));
            offset += got;
        }
        output.close();
        if (!output) {
            throw std::runtime_error("a temporary file could not be written");
        }
    }
    [[nodiscard]] std::filesystem::path path() const { return folder_.path() / "message.msg"; }

private:
    private_folder folder_;
};

} // namespace

message_record read_mail(const message_place& place, const std::shared_ptr<store_context>& store, written_by)
{
    if (format_of(place) != mail_format::msg) {
        throw unreadable_message("it is no Outlook message file, and others are not read on this system");
    }
    if (!place.contents) {
        return read_msg(place.file, store);
    }
    const passing_file file(*place.contents); // the system reads these files by name only
    return read_msg(file.path(), store);
}

void write_mail(const message_record& message, mail_format format, const std::filesystem::path& file)
{
    if (format != mail_format::msg) {
        throw std::runtime_error("only Outlook message files are written on this system");
    }
    write_msg(message, file);
}

} // namespace host
