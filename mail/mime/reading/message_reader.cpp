#include "mail/mime/reading/message_reader.h"

#include "mail/mime/reading/message_parser.h"
#include "mail/mime/reading/word_cost.h"
#include "mail/mime/text/gmime_streams.h"
#include "mail/mime/text/mime_library.h"
#include "mail/mime/text/own_block.h"
#include "store/entry_id.h"

#include <algorithm>
#include <string_view>

namespace host {

namespace {

bool is_name_character(char c)
{
    return c > 0x20 && c < 0x7F && c != ':';
}

/// Returns true if a line has the form of a header: a name of printable characters, optional blanks, and a colon.
bool is_header(std::string_view line)
{
    const auto name_end = std::find_if_not(line.begin(), line.end(), is_name_character);
    const auto colon = std::find_if_not(name_end, line.end(), [](char c) { return c == ' ' || c == '\t'; });
    return name_end != line.begin() && colon != line.end() && *colon == ':';
}

/// Examines the beginning only. Throws unreadable_message if it cannot be a message.
void expect_message(const bytes& source)
{
    if (source.size() == 0) {
        throw unreadable_message("the message is empty");
    }
    std::string start(std::min<std::uint64_t>(source.size(), 16384), '\0');
    start.resize(source.read(0, start.data(), start.size()));
    std::string_view rest = start;
    bool seen_text = false;
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        std::string_view line = rest.substr(0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        if (line.find('\0') != std::string_view::npos) {
            break;
        }
        if (is_header(line)) {
            return;
        }
        // Blank lines, a damaged line or an envelope line may precede the first valid header.
        if (line.empty() && seen_text) {
            break;
        }
        seen_text = seen_text || !line.empty();
    }
    throw unreadable_message("there is no mail header at its beginning");
}

} // namespace

message_record read_message(const bytes_ptr& source, const std::string& origin,
                            const std::shared_ptr<store_context>& store, written_by author)
{
    prepare_mime_library();
    const own_block own = author == written_by::this_program ? split_own_block(source) : own_block{source, {}};
    expect_message(*own.document);
    const auto stream = make_bytes_stream(own.document);
    const gobject_ptr<GMimeParser> parser(g_mime_parser_new_with_stream(stream.get()));
    g_mime_parser_set_persist_stream(parser.get(), TRUE);
    const gobject_ptr<GMimeMessage> message(g_mime_parser_construct_message(
        parser.get(), has_costly_words(*own.document) ? bounded_options() : lenient_options()));
    if (!message) {
        throw unreadable_message("it does not have the form of a message");
    }
    message_record record = message_parser(store).parse(message.get(), own.document);
    if (own.document != source) {
        apply(own.specified, record);
    }
    if (author == written_by::anyone || !record.properties->find(PROP_ID(PR_ENTRYID))) {
        record.properties->set(PR_ENTRYID, property_value::of_binary(bytes_of(entry_id(*source, origin))));
    }
    return record;
}

} // namespace host
