// Bytes as mail: refused with a reason, or a message that is written as a file of this program's, read again, and
// written to an identical file. The same bytes as such a file may contain anything in its headers without causing a
// failure.

#include "mail/mime/reading/message_reader.h"
#include "mail/mime/saving/message_saver.h"
#include "mail/mime/writing/message_writer.h"

#include <cstdio>
#include <cstdlib>
#include <iterator>
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

std::string saved_document(const message_record& message)
{
    std::string text;
    save_message(message, [&text](std::string_view piece) { text.append(piece); });
    return text;
}

/// Returns the message without its last attachment, with another text and perhaps more changes, so that its document
/// is edited.
message_record changed(const message_record& message, std::size_t choice)
{
    message_record result = message.copy();
    if (!result.attachments.empty()) {
        result.attachments.erase(std::prev(result.attachments.end()));
    }
    result.properties->set(PR_HTML, property_value::of_binary(bytes_of("<p>Another text.</p>")));
    if (choice % 2 == 0) {
        result.properties->erase(PROP_ID(PR_BODY_W));
    } else {
        result.properties->set(PR_BODY_W, property_value::of_text(L"Another text."));
        result.properties->set(PR_SUBJECT_W, property_value::of_text(L"Another subject"));
    }
    if (!result.attachments.empty() && !result.attachments.begin()->second.embedded) {
        result.attachments.begin()->second.properties->set(PR_ATTACH_DATA_BIN,
                                                           property_value::of_binary(bytes_of("other")));
    }
    return result;
}

message_record read(const bytes_ptr& data, written_by author)
{
    return read_message(data, "fuzz", std::make_shared<store_context>(), author);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    const bytes_ptr mail = bytes_of(std::string(reinterpret_cast<const char*>(data), size));
    try {
        const message_record message = read(mail, written_by::anyone);
        const std::string saved = saved_document(message);
        expect(saved == saved_document(read(bytes_of(saved), written_by::this_program)), "another message was read");
        const std::string edited = saved_document(changed(message, size));
        expect(edited == saved_document(read(bytes_of(edited), written_by::this_program)), "another edited message");
        write_mime(read(mail, written_by::this_program), true, [](std::string_view) {});
    } catch (const unreadable_message& reason) {
        expect(*reason.what() != '\0', "no reason");
    }
    return 0;
}
