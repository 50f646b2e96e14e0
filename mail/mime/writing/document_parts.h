#pragma once

#include "mail/mime/text/content_source.h"
#include "mail/mime/text/gmime_ptr.h"
#include "mail/mime/text/gmime_streams.h"
#include "mail/mime/writing/boundaries.h"

#include <memory>
#include <string>

namespace host {

/// Makes the parts of one document. What their contents raise while the document is written is kept in one place.
class part_maker
{
public:
    explicit part_maker(std::shared_ptr<stream_failure> failure);

    /// A body: quoted-printable text of "text/`subtype`". An empty charset names none.
    gobject_ptr<GMimeObject> body(const char* subtype, const std::string& charset, content_ptr content);
    /// A file in base64.
    gobject_ptr<GMimeObject> file(GMimeContentType* type, content_ptr content);
    /// A message as a part.
    gobject_ptr<GMimeObject> message(GMimeMessage* inner);
    /// An empty multipart with a boundary of its own.
    gobject_ptr<GMimeObject> multipart(const char* subtype);

private:
    std::shared_ptr<stream_failure> failure_;
    boundaries boundaries_;
};

void add_part(GMimeObject& multipart, GMimeObject& part);

/// Where a part says its name.
enum class naming
{
    in_disposition,
    in_type,
    in_both
};

/// Names a part; a name that isn't ASCII as RFC 2231 has it.
void set_part_name(GMimeObject& part, const std::string& name, naming where);

struct content_type_unref
{
    void operator()(GMimeContentType* type) const noexcept { g_object_unref(type); }
};
using content_type_ptr = std::unique_ptr<GMimeContentType, content_type_unref>;

} // namespace host
