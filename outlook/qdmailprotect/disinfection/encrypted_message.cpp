#include "outlook/qdmailprotect/disinfection/encrypted_message.h"

#include "logging/logging.h"
#include "outlook/qdmailprotect/access/properties.h"
#include "outlook/qdmailprotect/disinfection/body_rewriting.h"
#include "outlook/qdmailprotect/disinfection/subject_marking.h"
#include "outlook/qdmailprotect/mapi/result_text.h"
#include "outlook/qdmailprotect/verdict/verdict_cache.h"

HRESULT DisinfectEncryptedMessage(VerdictCache& verdicts, ComPtr<IMessage> message, MailBodyInfo& body,
                                  const std::vector<AttachmentResult>& attachments, ComPtr<IUnknown> /*item*/,
                                  const StringResources& texts)
{
    LOG_LINE(logging::outlook_log(), 400, "Disinfecting the encrypted message");
    ComPtr<ISecuredMessage> secured;
    if (FAILED(Query(message.get(), IID_ISecuredMessage, secured)) || !secured) {
        return E_FAIL;
    }
    LOG_LINE(logging::outlook_log(), 400, "Got the secured interface");
    ComPtr<IMessage> base;
    const HRESULT result = secured->GetBaseMessage(Receive(base));
    if (FAILED(result)) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to get the base message: 0x" << HexResult(result));
        return result;
    }
    if (!base) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to get the base message: empty message");
        return E_FAIL;
    }
    LOG_LINE(logging::outlook_log(), 400, "Got the base message");
    const bool modified = ModifyMailBody(base, body, attachments, texts);
    if (modified) {
        LOG_LINE(logging::outlook_log(), 400, "Changing the message subject");
        MarkSubject(base.get(), texts);
    }
    // The message loses its encrypted form even if its body was not replaced.
    const bool unencrypted = verdicts.UnencryptBaseMessage(base.get());
    const HRESULT saved = base->SaveChanges(0);
    body.replaced = modified && unencrypted && SUCCEEDED(saved);
    return S_OK;
}
