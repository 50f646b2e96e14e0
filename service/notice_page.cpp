#include "service/notice_page.h"

#include "service/notice_template.h"

namespace service {

std::string notice_page(std::string_view threat, std::string_view object_name)
{
    static const notice_template delivered;
    return delivered.page({cause::threat, threat, object_name});
}

} // namespace service
