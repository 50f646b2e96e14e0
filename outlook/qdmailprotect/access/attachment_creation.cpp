#include "outlook/qdmailprotect/access/attachment_creation.h"

#include "logging/logging.h"
#include "outlook/qdmailprotect/access/properties.h"
#include "outlook/qdmailprotect/mapi/result_text.h"
#include "tool/system/conversions.h"

#include <string_view>
#include <utility>

namespace {

constexpr std::uint32_t NoRenderingPosition = 0xFFFFFFFF; ///< -1: not rendered in the body text
constexpr std::uint32_t RenderedInBody = 8;               ///< referenced by the HTML body

/// A new attachment and its number in the message. The object is null if the store fails to create one.
struct NewAttachment
{
    ULONG number = 0;
    ComPtr<IAttach> object;
};

NewAttachment CreateAttachment(IMessage* message, std::string_view failure)
{
    NewAttachment created;
    const HRESULT result = message->CreateAttach(nullptr, 0, &created.number, Receive(created.object));
    if (FAILED(result) || !created.object) {
        LOG_LINE(logging::outlook_log(), 200, failure << HexResult(result));
        created.object.reset();
    }
    return created;
}

/// The log texts for a failed write of an attachment's contents.
struct ContentsFailures
{
    std::string_view noProperty; ///< followed by the result code
    std::string_view noStream;
};

HRESULT WriteContents(IAttach* attach, const void* data, std::size_t size, const ContentsFailures& failures)
{
    ComPtr<IUnknown> property;
    const HRESULT opened =
        attach->OpenProperty(PR_ATTACH_DATA_BIN, &IID_IStream, 0, MAPI_MODIFY | MAPI_CREATE, Receive(property));
    if (FAILED(opened)) {
        LOG_LINE(logging::outlook_log(), 200, failures.noProperty << HexResult(opened));
        return E_NOINTERFACE;
    }
    ComPtr<IStream> stream;
    if (!property || FAILED(Query(property.get(), IID_IStream, stream)) || !stream) {
        LOG_LINE(logging::outlook_log(), 200, failures.noStream);
        return E_NOINTERFACE;
    }
    stream->Write(data, static_cast<ULONG>(size), nullptr);
    stream->Commit(0);
    return S_OK;
}

/// Sets the rendering position and the three names, which are common to all kinds of attachments.
void SetNames(IAttach* attach, const std::wstring& name)
{
    SetPropLong(attach, PR_RENDERING_POSITION, NoRenderingPosition);
    SetPropWideString(attach, PR_ATTACH_FILENAME_W, name);
    SetPropWideString(attach, PR_ATTACH_LONG_FILENAME_W, name);
    SetPropWideString(attach, PR_DISPLAY_NAME_W, name);
}

void SetBinaryProperties(const NewAttachment& attachment, bool hidden, const AttachmentResult& record)
{
    IAttach* attach = attachment.object.get();
    SetPropLong(attach, PR_ATTACH_NUM, attachment.number);
    SetPropLong(attach, PR_ATTACH_METHOD, record.attachMethod);
    SetNames(attach, record.fileName);
    SetPropWideString(attach, PR_ATTACH_CONTENT_ID_W, record.contentId);
    if (hidden) {
        SetPropBool(attach, PR_ATTACHMENT_HIDDEN, true);
        SetPropLong(attach, PR_ATTACHMENT_FLAGS, RenderedInBody);
    }
    if (!record.mimeTag.empty()) {
        SetPropWideString(attach, PR_ATTACH_MIME_TAG_W,
                          winapi::conv_to_wide(record.mimeTag, winapi::code_page_thread_ansi));
    }
}

} // namespace

HRESULT AddTextAttachment(ComPtr<IMessage> message, const std::wstring& name, const std::string& text,
                          const std::wstring& mimeTag)
{
    LOG_LINE(logging::outlook_log(), 400,
             "Adding a text attach - '" << winapi::conv_to_char(name)
                                        << "', MIME tag: " << winapi::conv_to_char(mimeTag));
    const NewAttachment created = CreateAttachment(message.get(), "Failed to create attach = 0x");
    if (!created.object) {
        return E_FAIL;
    }
    IAttach* attach = created.object.get();
    SetPropLong(attach, PR_ATTACH_NUM, created.number);
    SetPropLong(attach, PR_ATTACH_METHOD, ATTACH_BY_VALUE);
    SetPropWideString(attach, PR_ATTACH_MIME_TAG_W, mimeTag);
    // A text attachment is written before its names are set, a binary attachment after them.
    const HRESULT written = WriteContents(attach, text.data(), text.size(),
                                          {"Failed to open attach body = 0x", "Failed to open file body stream"});
    if (FAILED(written)) {
        return written;
    }
    SetNames(attach, name);
    LOG_LINE(logging::outlook_log(), 500, "Saving the text attach changes...");
    attach->SaveChanges(0);
    return S_OK;
}

HRESULT AddBinaryAttachment(ComPtr<IMessage> message, bool hidden, const AttachmentResult& record)
{
    if (record.fileName.empty() || record.contentId.empty() || record.data.empty()) {
        LOG_LINE(logging::outlook_log(), 200,
                 "Failed to create binary attach - no data ("
                     << record.fileName.size() << ", " << record.contentId.size() << ", " << record.data.size() << ")");
        return E_INVALIDARG;
    }
    LOG_LINE(logging::outlook_log(), 400,
             "Adding a binary attach - '" << winapi::conv_to_char(record.fileName) << "', size: " << record.data.size()
                                          << (hidden ? ", hidden" : ""));
    const NewAttachment created = CreateAttachment(message.get(), "Failed to create binary attach = 0x");
    if (!created.object) {
        return E_FAIL;
    }
    SetBinaryProperties(created, hidden, record);
    const HRESULT written =
        WriteContents(created.object.get(), record.data.data(), record.data.size(),
                      {"Failed to open binary attach body = 0x", "Failed to open binary file body stream"});
    if (FAILED(written)) {
        return written;
    }
    LOG_LINE(logging::outlook_log(), 500, "Saving the binary attach changes...");
    created.object->SaveChanges(0);
    return S_OK;
}
