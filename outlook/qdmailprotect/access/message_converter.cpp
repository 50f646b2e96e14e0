#include "outlook/qdmailprotect/access/message_converter.h"

#include "logging/logging.h"
#include "outlook/qdmailprotect/mapi/result_text.h"

#include <utility>

MessageConverter::MessageConverter(ConverterPlatform platform)
    : platform_(std::move(platform))
{}

bool MessageConverter::Init()
{
    if (initialized_) {
        return true;
    }
    session_.reset();
    const HRESULT created = platform_.createSession(Receive(session_));
    if (FAILED(created)) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to create the converter interface, hr=0x" << HexResult(created));
        return false;
    }
    if (!session_) {
        return false;
    }
    session_->SetEncoding(IET_QP);
    session_->SetSaveFormat(SAVE_RFC1521);
    initialized_ = true;
    return true;
}

void MessageConverter::Close()
{
    initialized_ = false;
    session_.reset();
}

HRESULT MessageConverter::ConvertToMime(IMessage* message, IStream** stream)
{
    if (!initialized_ || !session_ || !stream) {
        return E_POINTER;
    }
    *stream = nullptr;
    const HRESULT made = platform_.createStream(stream);
    if (FAILED(made) || !*stream) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to create stream, hr = 0x" << HexResult(made));
        return made;
    }
    const HRESULT converted = session_->MAPIToMIMEStm(message, *stream, CCSF_SMTP | CCSF_INCLUDE_BCC);
    if (FAILED(converted)) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to convert message, hr = 0x" << HexResult(converted));
        return converted;
    }
    return S_OK;
}
