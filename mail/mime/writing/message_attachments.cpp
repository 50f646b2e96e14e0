#include "mail/mime/writing/message_attachments.h"

#include "mail/mime/writing/message_properties.h"
#include "outlook/qdmailprotect/mapi/com_error.h"
#include "tool/system/conversions.h"

#include <algorithm>

namespace host {

namespace {

/// Returns true for the name of a type or subtype, whose length the standard limits.
bool is_type_name(std::string_view text)
{
    constexpr std::size_t longest = 127;
    constexpr std::string_view marks = "()<>@,;:\\\"/[]?=";
    return !text.empty() && text.size() <= longest && std::all_of(text.begin(), text.end(), [&](char c) {
        return c > ' ' && c <= '~' && marks.find(c) == std::string_view::npos;
    });
}

} // namespace

std::vector<std::uint32_t> attachment_numbers(IMessage& message)
{
    ComPtr<IMAPITable> table;
    const HRESULT result = message.GetAttachmentTable(0, Receive(table));
    if (FAILED(result) || !table) {
        throw ComError(FAILED(result) ? result : E_FAIL);
    }
    std::vector<std::uint32_t> numbers;
    each_row(*table, {PR_ATTACH_NUM}, [&numbers](const SRow& row) {
        if (const auto number = number_in(row, PR_ATTACH_NUM)) {
            numbers.push_back(*number);
        }
    });
    return numbers;
}

ComPtr<IAttach> open_attachment(IMessage& message, std::uint32_t number)
{
    ComPtr<IAttach> attachment;
    const HRESULT result = message.OpenAttach(number, nullptr, 0, Receive(attachment));
    if (FAILED(result) || !attachment) {
        throw ComError(FAILED(result) ? result : E_FAIL);
    }
    return attachment;
}

std::string attachment_name(IAttach& attachment)
{
    const bool is_message = number_property(attachment, PR_ATTACH_METHOD) == std::uint32_t{ATTACH_EMBEDDED_MSG};
    std::wstring name;
    for (const std::uint32_t tag : {std::uint32_t{PR_ATTACH_LONG_FILENAME_W}, std::uint32_t{PR_ATTACH_FILENAME_W},
                                    std::uint32_t{PR_DISPLAY_NAME_W}}) {
        if (name.empty() && (tag != PR_DISPLAY_NAME_W || !is_message)) {
            name = text_property(attachment, tag);
        }
    }
    return utf8(name);
}

ComPtr<IMessage> message_inside(IAttach& attachment)
{
    return object_of_property<IMessage>(attachment, PR_ATTACH_DATA_OBJ, IID_IMessage);
}

std::string type_of_file(std::string_view mime_tag)
{
    const std::size_t slash = std::min(mime_tag.find('/'), mime_tag.size());
    const std::string_view type = mime_tag.substr(0, slash);
    const auto is = [type](std::string_view other) { return winapi::compare_no_case(type, other) == 0; };
    const bool single = is_type_name(type) && is_type_name(mime_tag.substr(std::min(slash + 1, mime_tag.size()))) &&
                        !is("multipart") && !is("message");
    return single ? std::string(mime_tag) : "application/octet-stream";
}

} // namespace host
