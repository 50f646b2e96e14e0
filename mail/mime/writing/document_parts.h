#pragma once

#include "mail/mime/text/content_source.h"
#include "mail/mime/text/gmime_ptr.h"
#include "mail/mime/text/gmime_streams.h"
#include "mail/mime/writing/boundaries.h"

#include <memory>
#include <string>

namespace host {

/// Creates the parts of one document. Exceptions of their contents during the writing of the document are kept in one
/// place.
class part_maker
{
public:
    explicit part_maker(std::shared_ptr<stream_failure> failure);

    /// Creates a body: quoted-printable text of type "text/`subtype`". If `charset` is empty, there is no charset
    /// parameter.
    gobject_ptr<GMimeObject> body(const char* subtype, const std::string& charset, content_ptr content);
    /// Creates a base64-encoded file.
    gobject_ptr<GMimeObject> file(GMimeContentType* type, content_ptr content);
    /// Creates a part that contains a message.
    gobject_ptr<GMimeObject> message(GMimeMessage* inner);
    /// Creates an empty multipart with a unique boundary.
    gobject_ptr<GMimeObject> multipart(const char* subtype);

private:
    std::shared_ptr<stream_failure> failure_;
    boundaries boundaries_;
};

void add_part(GMimeObject& multipart, GMimeObject& part);

/// Specifies the location of a part's name.
enum class naming
{
    in_disposition,
    in_type,
    in_both
};

/// Names a part; a name that is not ASCII is encoded as specified by RFC 2231.
void set_part_name(GMimeObject& part, const std::string& name, naming where);

struct content_type_unref
{
    void operator()(GMimeContentType* type) const noexcept { g_object_unref(type); }
};
using content_type_ptr = std::unique_ptr<GMimeContentType, content_type_unref>;

} // namespace host
