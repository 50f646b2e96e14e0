// Bytes as mail: refused with a reason, or a message that is written as a file of this program's, read again, and
// written to an identical file. The same bytes as such a file may contain anything in its headers without causing a
// failure.

#include "mail/mime/reading/message_reader.h"
#include "mail/mime/writing/message_writer.h"

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

std::string document(const message_record& message, bool keep_properties)
{
    std::string text;
    write_mime(message, {true, keep_properties}, [&text](std::string_view piece) { text.append(piece); });
    return text;
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
        const std::string saved = document(read(mail, written_by::anyone), true);
        expect(saved == document(read(bytes_of(saved), written_by::this_program), true), "another message was read");
        document(read(mail, written_by::this_program), false);
    } catch (const unreadable_message& reason) {
        expect(*reason.what() != '\0', "no reason");
    }
    return 0;
}
