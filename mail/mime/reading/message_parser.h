#pragma once

#include "mail/mime/text/gmime_ptr.h"
#include "mail/mime/text/mail_origin.h"
#include "store/message_record.h"

#include <cstdint>
#include <memory>
#include <string>

namespace host {

/// Creates a record of one parsed message: selects its bodies, and creates an attachment for every other part. Attached
/// messages become embedded ones, up to the nesting depth `deepest_embedded`. Deeper messages or multiparts are stored
/// as a file, and so is a multipart without parts. The origin of the record is a mail_origin.
class message_parser
{
public:
    explicit message_parser(std::shared_ptr<store_context> store, int depth = 0);
    /// `source` contains the whole document; null for an attached message.
    message_record parse(GMimeMessage* message, bytes_ptr source);

private:
    /// `alternative`: the part is one of several forms of the body, or inside one.
    void add(GMimeObject* part, bool alternative);
    void add_multipart(GMimeMultipart* multipart, bool alternative);
    void add_leaf(GMimePart* part, bool alternative);
    void add_message(GMimeMessagePart* part);
    void add_file(GMimePart* part);
    /// Stores a part that is not parsed as a file, so that it is preserved and checked.
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
    /// Returns the origin of the part that is being added.
    [[nodiscard]] std::shared_ptr<const part_origin> origin_here(GMimeObject* part) const;

    int depth_;
    int nesting_ = 0; ///< depth of multiparts
    message_record record_;
    std::string html_; ///< the unmodified text, which is searched for references
    std::string body_charset_;
    bool has_plain_ = false;
    bool has_html_ = false;
    bool body_closed_ = false; ///< the bodies are found; further texts are attachments
    std::wstring calendar_class_;
    part_path path_; ///< of the part that is being added
    std::shared_ptr<mail_origin> origin_ = std::make_shared<mail_origin>();
};

} // namespace host
