#include "tests/outlook/qdmailprotect/support/image_judge.h"

#include "outlook/qdmailprotect/mapi/mapi.h"
#include "tests/support/base64_judge.h"
#include "tool/system/conversions.h"

#include <cctype>
#include <cwchar>

namespace test {

namespace {

void convert(std::string& html, std::size_t match, const std::string& prefix, const std::string& replacement,
             char terminator, unsigned number, AttachmentResult& record)
{
    const std::string marker = ";base64,";
    const std::size_t type = match + prefix.size();
    const std::size_t type_end = html.find(marker, type);
    if (type_end == std::string::npos || type_end - type >= 51) {
        return;
    }
    record.attachMethod = ATTACH_BY_VALUE;
    record.mimeTag = html.substr(type, type_end - type);
    const std::size_t data = type_end + marker.size();
    const std::size_t data_end = html.find(terminator, data);
    if (data_end == std::string::npos || data_end - data > 0x100000) {
        return;
    }
    record.data = judge_base64(html.substr(data, data_end - data));
    wchar_t digits[16] = {};
    std::swprintf(digits, 16, L"%04X", number);
    record.fileName = std::wstring(L"qdimg") + digits + L".png";
    record.contentId = std::wstring(L"qdimg") + digits + L".png@51444D41494C.5A52544D3130";
    const std::string id = winapi::conv_to_char(record.contentId, winapi::code_page_thread_ansi);
    html.replace(match, data_end - match, replacement + id);
}

} // namespace

void judge_inline_images(std::string& html, std::vector<AttachmentResult>& images)
{
    const std::string lower = " src=\"data:";
    std::string upper = lower;
    for (char& letter : upper) {
        letter = static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
    }
    unsigned counter = 0;
    for (const std::string& prefix : {lower, upper}) {
        std::size_t position = 0;
        while ((position = html.find(prefix, position)) != std::string::npos) {
            ++counter;
            AttachmentResult record;
            convert(html, position, prefix, " src=\"cid:", '"', counter, record);
            images.push_back(record);
            ++position;
        }
    }
    const std::string style = "background: url(data:";
    const std::size_t position = html.find(style);
    if (position != std::string::npos) {
        AttachmentResult record;
        convert(html, position, style, "background: url(cid:", ')', counter + 1, record);
        images.push_back(record);
    }
}

} // namespace test
