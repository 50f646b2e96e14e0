#include "mail/mime/writing/message_writer.h"

#include "mail/mime/text/mime_library.h"
#include "mail/mime/writing/document_composer.h"
#include "outlook/qdmailprotect/mapi/com_error.h"
#include "outlook/qdmailprotect/mapi/result_text.h"
#include "store/message_object.h"

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

document_order write_document(IMessage& message, bool include_bcc, const document_sink& sink)
{
    prepare_mime_library();
    const auto failure = std::make_shared<stream_failure>();
    document_order order;
    const auto document = document_composer(include_bcc, failure).compose(message, order);
    const format_options_ptr format = mail_format_options();
    blocks out(sink);
    const auto stream = make_sink_stream([&out](std::string_view piece) { out.write(piece); }, failure);
    const ssize_t written = g_mime_object_write_to_stream(GMIME_OBJECT(document.get()), format.get(), stream.get());
    failure->raise();
    if (written < 0) {
        throw std::runtime_error("the message could not be written as MIME");
    }
    out.flush();
    return order;
}

} // namespace

void write_mime(IMessage& message, bool include_bcc, const document_sink& sink)
{
    write_document(message, include_bcc, sink);
}

document_order write_mime(const message_record& message, bool include_bcc, const document_sink& sink)
{
    const auto refuse = [](const message_record&) { return HRESULT{MAPI_E_NO_ACCESS}; };
    const ComPtr<message_object> object = MakeCom<message_object>(message, false, refuse);
    try {
        return write_document(*object, include_bcc, sink);
    } catch (const ComError& failure) {
        throw std::runtime_error("the message could not be read: 0x" + HexResult(failure.Error()));
    }
}

} // namespace host
