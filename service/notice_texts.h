#pragma once

#include "service/cause.h"

#include <string_view>

namespace service {

/// The languages of the delivered texts.
enum class notice_language
{
    english,
    german
};

/// The texts of a notice in one language, UTF-8, without markup.
struct notice_texts
{
    std::string_view language; ///< as an HTML document specifies it
    std::string_view title;
    std::string_view heading;
    std::string_view explanation;
    std::string_view reason; ///< empty if the threat is the reason
    std::string_view advice;
    std::string_view label_name;
    std::string_view label_threat;
    std::string_view label_reason;
};

[[nodiscard]] notice_texts texts_of(notice_language language, cause why);

/// Returns the page that is used unless the administrator provides one, with placeholders.
[[nodiscard]] std::string_view delivered_notice();

} // namespace service
