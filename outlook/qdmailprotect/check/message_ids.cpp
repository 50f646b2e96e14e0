#include "outlook/qdmailprotect/check/message_ids.h"

#include "logging/logging.h"
#include "outlook/qdmailprotect/access/properties.h"

MessageIds ReadMessageIds(IMessage* message, const char* messageLabel, const char* internetLabel)
{
    MessageIds ids;
    GetPropNarrowString(message, PR_ENTRYID, ids.messageId);
    GetPropNarrowString(message, PR_INTERNET_MESSAGE_ID_A, ids.internetId);
    LOG_LINE(logging::outlook_log(), 500, messageLabel << ids.messageId);
    LOG_LINE(logging::outlook_log(), 500, internetLabel << ids.internetId);
    return ids;
}
