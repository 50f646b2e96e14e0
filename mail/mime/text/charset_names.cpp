#include "mail/mime/text/charset_names.h"

#include "tool/system/conversions.h"

#include <algorithm>
#include <array>
#include <utility>

namespace host {

namespace {

using named_page = std::pair<std::string_view, std::uint32_t>;

constexpr std::array code_pages{
    named_page{"utf-8", 65001},       named_page{"utf8", 65001},         named_page{"utf-7", 65000},
    named_page{"utf-16", 1200},       named_page{"utf-16le", 1200},      named_page{"utf-16be", 1201},
    named_page{"us-ascii", 20127},    named_page{"ascii", 20127},        named_page{"iso-8859-1", 28591},
    named_page{"latin1", 28591},      named_page{"iso-8859-2", 28592},   named_page{"iso-8859-3", 28593},
    named_page{"iso-8859-4", 28594},  named_page{"iso-8859-5", 28595},   named_page{"iso-8859-6", 28596},
    named_page{"iso-8859-7", 28597},  named_page{"iso-8859-8", 28598},   named_page{"iso-8859-8-i", 38598},
    named_page{"iso-8859-9", 28599},  named_page{"iso-8859-13", 28603},  named_page{"iso-8859-15", 28605},
    named_page{"windows-1250", 1250}, named_page{"windows-1251", 1251},  named_page{"windows-1252", 1252},
    named_page{"windows-1253", 1253}, named_page{"windows-1254", 1254},  named_page{"windows-1255", 1255},
    named_page{"windows-1256", 1256}, named_page{"windows-1257", 1257},  named_page{"windows-1258", 1258},
    named_page{"windows-874", 874},   named_page{"tis-620", 874},        named_page{"koi8-r", 20866},
    named_page{"koi8-u", 21866},      named_page{"ibm866", 866},         named_page{"cp866", 866},
    named_page{"iso-2022-jp", 50220}, named_page{"shift_jis", 932},      named_page{"shift-jis", 932},
    named_page{"euc-jp", 51932},      named_page{"gb2312", 936},         named_page{"gbk", 936},
    named_page{"gb18030", 54936},     named_page{"hz-gb-2312", 52936},   named_page{"big5", 950},
    named_page{"euc-kr", 51949},      named_page{"ks_c_5601-1987", 949}, named_page{"iso-2022-kr", 50225},
    named_page{"macintosh", 10000},
};

} // namespace

std::uint32_t code_page_of(std::string_view charset)
{
    const auto* const found = std::find_if(code_pages.begin(), code_pages.end(), [charset](const auto& entry) {
        return winapi::compare_no_case(entry.first, charset) == 0;
    });
    return found == code_pages.end() ? 0 : found->second;
}

std::string charset_of_page(std::uint32_t code_page)
{
    constexpr std::uint32_t ascii = 20127;
    const auto* const found = std::find_if(code_pages.begin(), code_pages.end(),
                                           [&](const auto& entry) { return entry.second == code_page; });
    return code_page == ascii || found == code_pages.end() ? std::string() : std::string(found->first);
}

} // namespace host
