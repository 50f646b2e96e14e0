#include "outlook/qdmailprotect/disinfection/body_rewriting.h"

#include "logging/logging.h"
#include "outlook/qdmailprotect/access/attachment_creation.h"
#include "outlook/qdmailprotect/access/properties.h"
#include "outlook/qdmailprotect/disinfection/inline_images.h"
#include "outlook/qdmailprotect/mapi/result_text.h"
#include "outlook/qdmailprotect/results/response_contents.h"
#include "tool/icap/response_message.h"
#include "tool/system/conversions.h"

#include <string_view>

namespace {

constexpr std::uint32_t Utf8 = winapi::code_page_utf8;
constexpr ULONG ForWriting = 1; ///< STGM_WRITE

HRESULT OpenHtml(IMessage* message, ULONG flags, ComPtr<IUnknown>& property)
{
    const HRESULT result = message->OpenProperty(PR_HTML, &IID_IStream, ForWriting, flags, Receive(property));
    if (FAILED(result)) {
        property.reset();
    }
    return result;
}

/// Opens the HTML property for writing. Creates it if the message has none. Returns null if the store fails.
ComPtr<IUnknown> OpenHtmlForWriting(IMessage* message, std::uint32_t bodyType)
{
    ComPtr<IUnknown> property;
    if (bodyType != RtfBody && bodyType != HtmlBody) {
        const HRESULT result = OpenHtml(message, MAPI_MODIFY | MAPI_CREATE, property);
        if (FAILED(result)) {
            LOG_LINE(logging::outlook_log(), 200, "Failed to create new HTML body: 0x" << HexResult(result));
        }
        return property;
    }
    HRESULT result = OpenHtml(message, MAPI_MODIFY, property);
    if (FAILED(result)) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to open HTML body for modification: 0x" << HexResult(result));
    }
    if (result == MAPI_E_NOT_FOUND) {
        LOG_LINE(logging::outlook_log(), 200, "Trying to create a new HTML body");
        result = OpenHtml(message, MAPI_MODIFY | MAPI_CREATE, property);
        if (FAILED(result)) {
            LOG_LINE(logging::outlook_log(), 200, "Failed to create a new HTML body: 0x" << HexResult(result));
        }
    }
    return property;
}

std::string ChooseHtml(const MailBodyInfo& body, const std::vector<AttachmentResult>& attachments)
{
    if (body.scanResult == ScanResult::Blocked) {
        LOG_LINE(logging::outlook_log(), 200, "Getting new HTML body from ICAP scanner");
        return ReadContents(body.scanResponse.get());
    }
    if (!attachments.empty()) {
        LOG_LINE(logging::outlook_log(), 200, "Getting new HTML body from attachments");
        return attachments.front().noticeHtml;
    }
    return {};
}

/// Replaces the images in `html` by hidden attachments of the message.
void MoveImagesOut(const ComPtr<IMessage>& message, std::string& html)
{
    std::vector<AttachmentResult> images;
    ExtractInlineImages(html, images);
    for (const AttachmentResult& image : images) {
        const HRESULT result = AddBinaryAttachment(message, true, image);
        LOG_LINE(logging::outlook_log(), 400, "Binary attach added, result: 0x" << HexResult(result));
    }
}

/// Writes the text and its terminating NUL byte, which is part of the property, and truncates the stream after it.
bool WriteHtml(IStream* stream, const std::string& html)
{
    stream->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr);
    ULONG written = 0;
    const HRESULT result = stream->Write(html.c_str(), static_cast<ULONG>(html.size() + 1), &written);
    ULARGE_INTEGER size{};
    size.QuadPart = written;
    stream->SetSize(size);
    return SUCCEEDED(result);
}

/// Keeps the old text, preceded by the old subject, as an attachment.
void KeepPlainBody(const ComPtr<IMessage>& message, const MailBodyInfo& body, const StringResources& texts)
{
    constexpr std::string_view emptyLine = "\r\n\r\n";
    std::string text = winapi::conv_to_char(texts.Load(StringResources::SubjectLabel), winapi::code_page_thread_ansi);
    text.append(" ").append(body.subject).append(emptyLine);
    text.append(winapi::conv_to_char(texts.Load(StringResources::BodyLabel), winapi::code_page_thread_ansi));
    text.append(emptyLine).append(body.plainBody);
    const HRESULT result = AddTextAttachment(message, L"original_body.txt", text, L"text/plain");
    if (FAILED(result)) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to attach plain body: 0x" << HexResult(result));
    }
}

} // namespace

bool ModifyMailBody(ComPtr<IMessage> message, const MailBodyInfo& body,
                    const std::vector<AttachmentResult>& attachments, const StringResources& texts)
{
    LOG_LINE(logging::outlook_log(), 400, "Modifying mail body (type " << body.bodyType << ")");
    const HRESULT deleted = DeleteProp(message.get(), PR_BODY_W);
    LOG_LINE(logging::outlook_log(), 500, "Deleted the plain body: 0x" << HexResult(deleted));
    const ComPtr<IUnknown> property = OpenHtmlForWriting(message.get(), body.bodyType);
    if (!property) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to open mail body");
        return false;
    }
    ComPtr<IStream> stream;
    if (FAILED(Query(property.get(), IID_IStream, stream)) || !stream) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to open mail stream");
        return false;
    }
    SetPropLong(message.get(), PR_NATIVE_BODY_INFO, HtmlBody);
    SetPropLong(message.get(), PR_INTERNET_CPID, Utf8);
    std::string html = ChooseHtml(body, attachments);
    MoveImagesOut(message, html);
    const bool written = WriteHtml(stream.get(), html);
    if (!body.plainBody.empty()) {
        KeepPlainBody(message, body, texts);
    }
    LOG_LINE(logging::outlook_log(), 500, "Modified the body data");
    return written;
}
