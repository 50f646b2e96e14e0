#include "mail/mime/text/charset_names.h"

#include "tool/system/ascii.h"

#include <algorithm>
#include <array>
#include <utility>

namespace host {

namespace {

constexpr std::array charsets{
    charset{"utf-8", 65001, "UTF-8"},
    charset{"utf-7", 65000, "UTF-7"},
    charset{"utf-16", 1200, "UTF-16"},
    charset{"utf-16le", 1200, "UTF-16LE"},
    charset{"utf-16be", 1201, "UTF-16BE"},
    charset{"utf-32", 12000, "UTF-32"},
    charset{"utf-32le", 12000, "UTF-32LE"},
    charset{"utf-32be", 12001, "UTF-32BE"},
    charset{"us-ascii", 20127, "ASCII"},
    charset{"iso-8859-1", 28591, "ISO-8859-1"},
    charset{"iso-8859-2", 28592, "ISO-8859-2"},
    charset{"iso-8859-3", 28593, "ISO-8859-3"},
    charset{"iso-8859-4", 28594, "ISO-8859-4"},
    charset{"iso-8859-5", 28595, "ISO-8859-5"},
    charset{"iso-8859-6", 28596, "ISO-8859-6"},
    charset{"iso-8859-7", 28597, "ISO-8859-7"},
    charset{"iso-8859-8", 28598, "ISO-8859-8"},
    charset{"iso-8859-8-i", 38598, "ISO-8859-8"},
    charset{"iso-8859-9", 28599, "ISO-8859-9"},
    charset{"iso-8859-10", 28600, "ISO-8859-10"},
    charset{"iso-8859-13", 28603, "ISO-8859-13"},
    charset{"iso-8859-14", 28604, "ISO-8859-14"},
    charset{"iso-8859-15", 28605, "ISO-8859-15"},
    charset{"iso-8859-16", 28606, "ISO-8859-16"},
    charset{"windows-1250", 1250, "CP1250"},
    charset{"windows-1251", 1251, "CP1251"},
    charset{"windows-1252", 1252, "CP1252"},
    charset{"windows-1253", 1253, "CP1253"},
    charset{"windows-1254", 1254, "CP1254"},
    charset{"windows-1255", 1255, "CP1255"},
    charset{"windows-1256", 1256, "CP1256"},
    charset{"windows-1257", 1257, "CP1257"},
    charset{"windows-1258", 1258, "CP1258"},
    charset{"windows-874", 874, "CP874"},
    charset{"ibm437", 437, "CP437"},
    charset{"ibm737", 737, "CP737"},
    charset{"ibm775", 775, "CP775"},
    charset{"ibm850", 850, "CP850"},
    charset{"ibm852", 852, "CP852"},
    charset{"ibm855", 855, "CP855"},
    charset{"ibm857", 857, "CP857"},
    charset{"ibm00858", 858, "CP858"},
    charset{"ibm860", 860, "CP860"},
    charset{"ibm861", 861, "CP861"},
    charset{"ibm862", 862, "CP862"},
    charset{"ibm863", 863, "CP863"},
    charset{"ibm864", 864, "CP864"},
    charset{"ibm865", 865, "CP865"},
    charset{"ibm866", 866, "CP866"},
    charset{"ibm869", 869, "CP869"},
    charset{"koi8-r", 20866, "KOI8-R"},
    charset{"koi8-u", 21866, "KOI8-U"},
    charset{"macintosh", 10000, "MACINTOSH"},
    charset{"iso-2022-jp", 50220, "ISO-2022-JP"},
    charset{"shift_jis", 932, "CP932"},
    charset{"euc-jp", 51932, "EUC-JP"},
    charset{"gbk", 936, "GBK"},
    charset{"gb2312", 936, "GBK"},
    charset{"gb18030", 54936, "GB18030"},
    charset{"hz-gb-2312", 52936, {}},
    charset{"big5", 950, "CP950"},
    charset{"big5-hkscs", 951, "BIG5-HKSCS"},
    charset{"ks_c_5601-1987", 949, "CP949"},
    charset{"euc-kr", 51949, "CP949"},
    charset{"iso-2022-kr", 50225, "ISO-2022-KR"},
    charset{"johab", 1361, "JOHAB"},
};

using alias = std::pair<std::string_view, std::string_view>;

constexpr std::array aliases{
    alias{"utf8", "utf-8"},
    alias{"unicode-1-1-utf-8", "utf-8"},
    alias{"utf7", "utf-7"},
    alias{"unicode-1-1-utf-7", "utf-7"},
    alias{"utf16", "utf-16"},
    alias{"unicode", "utf-16"},
    alias{"ucs-2", "utf-16"},
    alias{"iso-10646-ucs-2", "utf-16be"},
    alias{"utf32", "utf-32"},
    alias{"ascii", "us-ascii"},
    alias{"us", "us-ascii"},
    alias{"ansi-x3.4-1968", "us-ascii"},
    alias{"iso646-us", "us-ascii"},
    alias{"latin1", "iso-8859-1"},
    alias{"latin-1", "iso-8859-1"},
    alias{"l1", "iso-8859-1"},
    alias{"ibm819", "iso-8859-1"},
    alias{"cp819", "iso-8859-1"},
    alias{"latin2", "iso-8859-2"},
    alias{"l2", "iso-8859-2"},
    alias{"latin3", "iso-8859-3"},
    alias{"latin4", "iso-8859-4"},
    alias{"cyrillic", "iso-8859-5"},
    alias{"arabic", "iso-8859-6"},
    alias{"greek", "iso-8859-7"},
    alias{"hebrew", "iso-8859-8"},
    alias{"logical", "iso-8859-8-i"},
    alias{"visual", "iso-8859-8"},
    alias{"latin5", "iso-8859-9"},
    alias{"latin6", "iso-8859-10"},
    alias{"latin7", "iso-8859-13"},
    alias{"latin8", "iso-8859-14"},
    alias{"iso-celtic", "iso-8859-14"},
    alias{"latin9", "iso-8859-15"},
    alias{"latin-9", "iso-8859-15"},
    alias{"latin10", "iso-8859-16"},
    alias{"iso-8859-11", "windows-874"},
    alias{"tis-620", "windows-874"},
    alias{"tis620", "windows-874"},
    alias{"ansi", "windows-1252"},
    alias{"cp858", "ibm00858"},
    alias{"koi8", "koi8-r"},
    alias{"koi", "koi8-r"},
    alias{"koi8-ru", "koi8-u"},
    alias{"mac", "macintosh"},
    alias{"mac-roman", "macintosh"},
    alias{"jis", "iso-2022-jp"},
    alias{"iso-2022-jp-ms", "iso-2022-jp"},
    alias{"sjis", "shift_jis"},
    alias{"shift-jis", "shift_jis"},
    alias{"ms-kanji", "shift_jis"},
    alias{"windows-31j", "shift_jis"},
    alias{"eucjp", "euc-jp"},
    alias{"euc", "euc-jp"},
    alias{"gb-2312-80", "gb2312"},
    alias{"gb2312-80", "gb2312"},
    alias{"gb-2312", "gb2312"},
    alias{"euc-cn", "gb2312"},
    alias{"euccn", "gb2312"},
    alias{"chinese", "gb2312"},
    alias{"gb-18030", "gb18030"},
    alias{"hz", "hz-gb-2312"},
    alias{"big-5", "big5"},
    alias{"big5-eten", "big5"},
    alias{"cn-big5", "big5"},
    alias{"big5hkscs", "big5-hkscs"},
    alias{"uhc", "ks_c_5601-1987"},
    alias{"ks-c-5601", "ks_c_5601-1987"},
    alias{"ksc5601", "ks_c_5601-1987"},
    alias{"ksc-5601", "ks_c_5601-1987"},
    alias{"ks-c-5601-1989", "ks_c_5601-1987"},
    alias{"korean", "ks_c_5601-1987"},
    alias{"euckr", "euc-kr"},
};

constexpr char plain(char one) noexcept
{
    return one == '_' ? '-' : winapi::ascii_lower(one);
}

constexpr bool same_name(std::string_view left, std::string_view right) noexcept
{
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char one, char other) { return plain(one) == plain(other); });
}

constexpr bool take_prefix(std::string_view& name, std::string_view prefix) noexcept
{
    if (!same_name(name.substr(0, prefix.size()), prefix)) {
        return false;
    }
    name.remove_prefix(prefix.size());
    return true;
}

const charset* by_name(std::string_view name)
{
    const auto* const found = std::find_if(charsets.begin(), charsets.end(),
                                           [name](const charset& one) { return same_name(one.name, name); });
    return found == charsets.end() ? nullptr : found;
}

const charset* by_page(std::uint32_t page)
{
    const auto* const found =
        std::find_if(charsets.begin(), charsets.end(), [page](const charset& one) { return one.page == page; });
    return found == charsets.end() ? nullptr : found;
}

/// Returns the set that a number of a code page names, such as "cp1251" or "windows-949"; null for other names.
const charset* by_number(std::string_view name)
{
    constexpr std::array<std::string_view, 5> prefixes{"cp", "windows", "win", "ibm", "ms"};
    if (std::none_of(prefixes.begin(), prefixes.end(), [&](std::string_view one) { return take_prefix(name, one); })) {
        return nullptr;
    }
    take_prefix(name, "-");
    constexpr std::size_t most_digits = 5;
    if (name.empty() || name.size() > most_digits || name.find_first_not_of("0123456789") != std::string_view::npos) {
        return nullptr;
    }
    std::uint32_t page = 0;
    for (const char digit : name) {
        page = page * 10 + static_cast<std::uint32_t>(digit - '0');
    }
    return by_page(page);
}

/// Returns the set of a name such as "iso8859-2" or "iso88592".
const charset* by_iso_number(std::string_view name)
{
    if (!take_prefix(name, "iso8859") && !take_prefix(name, "iso-8859") && !take_prefix(name, "8859")) {
        return nullptr;
    }
    take_prefix(name, "-");
    return by_name(std::string("iso-8859-").append(name.substr(0, name.find(':'))));
}

} // namespace

const charset* find_charset(std::string_view name)
{
    take_prefix(name, "x-");
    const auto* const known =
        std::find_if(aliases.begin(), aliases.end(), [name](const alias& one) { return same_name(one.first, name); });
    if (known != aliases.end()) {
        return by_name(known->second);
    }
    for (const auto search : {by_name, by_number, by_iso_number}) {
        if (const charset* found = search(name)) {
            return found;
        }
    }
    return nullptr;
}

std::uint32_t code_page_of(std::string_view charset)
{
    const auto* const found = find_charset(charset);
    return found ? found->page : 0;
}

std::string charset_of_page(std::uint32_t code_page)
{
    constexpr std::uint32_t ascii = 20127;
    const charset* const found = code_page == ascii ? nullptr : by_page(code_page);
    return found ? std::string(found->name) : std::string();
}

} // namespace host
