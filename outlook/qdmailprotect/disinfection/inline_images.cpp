#include "outlook/qdmailprotect/disinfection/inline_images.h"

#include "outlook/qdmailprotect/mapi/mapi.h"
#include "tool/system/base64.h"
#include "tool/system/conversions.h"

#include <boost/archive/iterators/dataflow_exception.hpp>
#include <boost/format.hpp>

#include <cstdint>
#include <string_view>
#include <utility>

namespace {

/// The syntax of one kind of image reference.
struct Form
{
    std::string_view prefix;
    std::string_view replacement; ///< replaces the prefix
    char terminator;
};

constexpr std::string_view AttributePrefix = " src=\"data:";
constexpr std::string_view UpperCasePrefix = " SRC=\"DATA:";
constexpr std::string_view AttributeReplacement = " src=\"cid:";
constexpr Form StyleForm{"background: url(data:", "background: url(cid:", ')'};
constexpr std::string_view DataMarker = ";base64,";
constexpr std::size_t LongestMimeType = 50;
constexpr std::size_t LongestData = 0x100000;

/// Returns "qdimg" followed by the number of a match.
std::wstring ImageName(std::uint32_t number)
{
    return L"qdimg" + (boost::wformat(L"%04X") % number).str();
}

/// Throws the error of the library's own decoding iterators, which are an order of magnitude slower.
std::vector<std::byte> DecodedImage(std::string_view text)
{
    auto bytes = winapi::base64::decode<std::vector<std::byte>>(text);
    if (!bytes) {
        using boost::archive::iterators::dataflow_exception;
        throw dataflow_exception(dataflow_exception::invalid_base64_character);
    }
    return *std::move(bytes);
}

/// Fills in the record of the match at `begin` and appends its replacement to `out`. Returns the position of the
/// terminator, which is the first character that is kept, or npos if the match is left unchanged.
std::size_t ConvertMatch(std::string_view html, std::size_t begin, const Form& form, std::uint32_t number,
                         AttachmentResult& record, std::string& out)
{
    const std::string_view behind = html.substr(begin + form.prefix.size());
    const std::size_t typeSize = behind.substr(0, LongestMimeType + DataMarker.size()).find(DataMarker);
    if (typeSize == std::string_view::npos) {
        return std::string_view::npos;
    }
    record.attachMethod = ATTACH_BY_VALUE;
    record.mimeTag = behind.substr(0, typeSize);
    const std::string_view data = behind.substr(typeSize + DataMarker.size());
    const std::size_t dataSize = data.substr(0, LongestData + 1).find(form.terminator);
    if (dataSize == std::string_view::npos) {
        return std::string_view::npos;
    }
    record.data = DecodedImage(data.substr(0, dataSize));
    const std::wstring name = ImageName(number);
    record.fileName = name + L".png";
    record.contentId = name + L".png@51444D41494C.5A52544D3130";
    out.append(form.replacement).append(winapi::conv_to_char(record.contentId, winapi::code_page_thread_ansi));
    return static_cast<std::size_t>(data.data() - html.data()) + dataSize;
}

/// Converts all matches of an attribute form. The search continues one character after the start of each match. A
/// prefix and its replacement begin with the only blank they contain: after a converted match the next one cannot begin
/// before the terminator. Therefore the text is read and written once, regardless of the number of matches.
void ConvertAll(std::string& html, const Form& form, std::uint32_t& counter, std::vector<AttachmentResult>& images)
{
    const std::string_view text = html;
    std::string changed;
    std::size_t taken = 0; ///< the text before it is in `changed`
    std::size_t match = text.find(form.prefix);
    while (match != std::string_view::npos) {
        AttachmentResult& record = images.emplace_back();
        std::string replacement;
        const std::size_t terminator = ConvertMatch(text, match, form, ++counter, record, replacement);
        std::size_t next = match + 1;
        if (terminator != std::string_view::npos) {
            changed.append(text, taken, match - taken).append(replacement);
            taken = terminator;
            next = terminator;
        }
        match = text.find(form.prefix, next);
    }
    if (taken != 0) {
        changed.append(text, taken);
        html = std::move(changed);
    }
}

/// Converts the first match of the style form and leaves all others unchanged.
void ConvertFirst(std::string& html, const Form& form, std::uint32_t number, std::vector<AttachmentResult>& images)
{
    const std::size_t match = html.find(form.prefix);
    if (match == std::string::npos) {
        return;
    }
    std::string replacement;
    const std::size_t terminator = ConvertMatch(html, match, form, number, images.emplace_back(), replacement);
    if (terminator != std::string::npos) {
        html.replace(match, terminator - match, replacement);
    }
}

} // namespace

void ExtractInlineImages(std::string& html, std::vector<AttachmentResult>& images)
{
    std::uint32_t counter = 0;
    ConvertAll(html, {AttributePrefix, AttributeReplacement, '"'}, counter, images);
    ConvertAll(html, {UpperCasePrefix, AttributeReplacement, '"'}, counter, images);
    ConvertFirst(html, StyleForm, counter + 1, images);
}
