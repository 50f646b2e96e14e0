#include "mail/mime/writing/message_writer.h"

#include "mail/files/atomic_file.h"
#include "mail/files/incomplete_source.h"
#include "mail/mime/text/mime_library.h"
#include "mail/mime/writing/document_composer.h"
#include "outlook/qdmailprotect/mapi/com_error.h"
#include "outlook/qdmailprotect/mapi/result_text.h"
#include "store/message_object.h"

#include <fstream>
#include <stdexcept>
#include <utility>

namespace host {

namespace {

/// Forwards pieces in larger blocks, because the library writes a header line in several pieces.
class blocks
{
public:
    explicit blocks(const document_sink& sink)
        : sink_(sink)
    {}
    void write(std::string_view piece)
    {
        held_.append(piece);
        if (held_.size() >= block_size) {
            flush();
        }
    }
    void flush()
    {
        if (!held_.empty()) {
            sink_(held_);
            held_.clear();
        }
    }

private:
    static constexpr std::size_t block_size = 32768;

    const document_sink& sink_;
    std::string held_;
};

void write_document(IMessage& message, const message_record* kept, bool include_bcc, const document_sink& sink)
{
    prepare_mime_library();
    const auto failure = std::make_shared<stream_failure>();
    const auto document = document_composer(include_bcc, failure).compose(message, kept);
    const format_options_ptr format = mail_format_options();
    blocks out(sink);
    const auto stream = make_sink_stream([&out](std::string_view piece) { out.write(piece); }, failure);
    const ssize_t written = g_mime_object_write_to_stream(GMIME_OBJECT(document.get()), format.get(), stream.get());
    failure->raise();
    if (written < 0) {
        throw std::runtime_error("the message could not be written as MIME");
    }
    out.flush();
}

} // namespace

void write_mime(IMessage& message, bool include_bcc, const document_sink& sink)
{
    write_document(message, nullptr, include_bcc, sink);
}

void write_mime(const message_record& message, const mime_document_options& options, const document_sink& sink)
{
    const auto refuse = [](const message_record&) { return HRESULT{MAPI_E_NO_ACCESS}; };
    const ComPtr<message_object> object = MakeCom<message_object>(message, false, refuse);
    try {
        write_document(*object, options.keep_properties ? &message : nullptr, options.include_bcc, sink);
    } catch (const ComError& failure) {
        throw std::runtime_error("the message could not be read: 0x" + HexResult(failure.Error()));
    }
}

void write_eml(const message_record& message, const std::filesystem::path& file)
{
    expect_not_its_source(message, file);
    write_atomically(file, [&message](const std::filesystem::path& temporary) {
        std::ofstream output(temporary, std::ios::binary | std::ios::trunc);
        write_mime(message, {true, true}, [&output](std::string_view piece) {
            output.write(piece.data(), static_cast<std::streamsize>(piece.size()));
        });
        output.close();
        if (!output) {
            throw std::runtime_error("the file could not be written");
        }
    });
}

} // namespace host
