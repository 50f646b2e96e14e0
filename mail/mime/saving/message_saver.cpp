#include "mail/mime/saving/message_saver.h"

#include "mail/files/atomic_file.h"
#include "mail/files/incomplete_source.h"
#include "mail/mime/reading/message_reader.h"
#include "mail/mime/saving/document_editor.h"
#include "mail/mime/saving/new_parts.h"
#include "mail/mime/saving/own_lines.h"
#include "mail/mime/text/source_lines.h"
#include "mail/mime/tree/part_tree.h"
#include "mail/mime/writing/message_writer.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <utility>

namespace host {

namespace {

/// A document and the headers of this program that belong to it.
struct saved_document
{
    bytes_ptr text;
    std::string own_lines;
};

/// Returns the message that a document yields.
message_record read_back(const bytes_ptr& text, const message_record& message)
{
    message_record result = read_message(text, {}, message.store);
    result.properties->erase(PROP_ID(PR_ENTRYID)); // depends on the place of the document
    return result;
}

/// Returns the document that the message was read from, with the changes to the message; nothing if it was not read
/// from one or if the document cannot express the changes.
std::optional<saved_document> edited(const message_record& message)
{
    const mail_origin* origin = origin_of(message);
    auto document = origin && origin->source ? edit_document(message, *origin, origin->source) : std::nullopt;
    if (!document) {
        return std::nullopt;
    }
    auto lines = document->is_original ? own_lines(message, *origin->read, document->order)
                                       : own_lines(message, read_back(document->text, message), document->order);
    return lines ? std::optional(saved_document{std::move(document->text), *std::move(lines)}) : std::nullopt;
}

saved_document composed(const message_record& message)
{
    scratch text;
    const document_order order = write_mime(message, true, [&text](std::string_view piece) { text.append(piece); });
    saved_document result{text.freeze(), {}};
    auto lines = own_lines(message, read_back(result.text, message), order);
    if (!lines) {
        throw std::runtime_error("the message cannot be represented as MIME");
    }
    result.own_lines = *std::move(lines);
    return result;
}

void write_range(const bytes& source, std::uint64_t begin, std::uint64_t end, const document_sink& sink)
{
    std::array<char, 65536> block{};
    while (begin < end) {
        const std::size_t got = source.read(begin, block.data(), std::min<std::uint64_t>(block.size(), end - begin));
        if (got == 0) {
            throw std::runtime_error("the original message is no longer complete");
        }
        sink({block.data(), got});
        begin += got;
    }
}

/// Returns the size of the envelope line at the beginning of a document; 0 if there is none.
std::uint64_t envelope_size(const bytes& source)
{
    source_lines lines(source);
    source_line line;
    return lines.next(line) && line.ending != 0 && line.text.starts_with("From ") ? line.end : 0;
}

} // namespace

void save_message(const message_record& message, const document_sink& sink)
{
    auto document = edited(message);
    if (!document) {
        document = composed(message);
    }
    const bytes& text = *document->text;
    const std::uint64_t envelope = envelope_size(text);
    write_range(text, 0, envelope, sink);
    sink(with_line_end(document->own_lines, line_end_of(text)));
    write_range(text, envelope, text.size(), sink);
}

void write_eml(const message_record& message, const std::filesystem::path& file)
{
    expect_not_its_source(message, file);
    write_atomically(file, [&message](const std::filesystem::path& temporary) {
        std::ofstream output(temporary, std::ios::binary | std::ios::trunc);
        save_message(message, [&output](std::string_view piece) {
            output.write(piece.data(), static_cast<std::streamsize>(piece.size()));
        });
        output.close();
        if (!output) {
            throw std::runtime_error("the file could not be written");
        }
    });
}

} // namespace host
