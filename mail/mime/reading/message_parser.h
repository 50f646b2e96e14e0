#pragma once

#include "mail/mime/reading/message_reader.h"
#include "mail/mime/text/gmime_ptr.h"
#include "store/message_record.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace host {

/// Makes a record of one parsed message: chooses its bodies, and makes an attachment of every other part. Messages in
/// messages become embedded ones, `deepest_embedded` of them at most. What is nested deeper, messages or multiparts, is
/// kept as a file, and so is a multipart without parts. In a document that this program wrote the headers of its own
/// have the last word.
class message_parser
{
public:
    message_parser(std::shared_ptr<store_context> store, written_by author, int depth = 0);
    message_record parse(GMimeMessage* message);

private:
    /// `alternative`: the part is one of several forms of the body, or inside one.
    void add(GMimeObject* part, bool alternative);
    void add_multipart(GMimeMultipart* multipart, bool alternative);
    void add_leaf(GMimePart* part, bool alternative);
    void add_message(GMimeMessagePart* part);
    void add_file(GMimePart* part);
    /// What isn't taken apart becomes a file, so that it is kept and checked.
    void add_whole(GMimeObject* part, bytes_ptr source);
    bool take_body(GMimePart* part, bool alternative);
    void take_calendar(GMimePart* part);
    void set_attachment_names(GMimeObject* part, const std::wstring& fallback, attachment_record& attachment);
    void append(GMimeObject* part, attachment_record attachment);
    void set_plain_body(GMimePart* part);
    void set_html_body(GMimePart* part);
    void set_body_kind();
    void hide_inline_images();
    void set_class(GMimeMessage* message);
    void restore_properties(GMimeMessage* message);
    void restore_attachments(GMimeMessage* message);

    written_by author_;
    int depth_;
    int nesting_ = 0; ///< of multiparts
    message_record record_;
    std::string html_; ///< as it stands, to find what it refers to
    std::string body_charset_;
    bool has_plain_ = false;
    bool has_html_ = false;
    bool body_closed_ = false; ///< the bodies are found; further texts are attachments
    std::wstring calendar_class_;
    std::map<std::uint32_t, std::string> told_attachments_; ///< by number: what the document tells of them
};

} // namespace host
