#include "mail/mime/text/mail_origin.h"

namespace host {

std::shared_ptr<const message_record> state_of(const message_record& message)
{
    auto result = std::make_shared<message_record>();
    result->store = message.store;
    result->properties = std::make_shared<property_bag>(*message.properties);
    result->properties->origin(nullptr); // which refers to this record
    for (const auto& [number, attachment] : message.attachments) {
        result->attachments.emplace(number, attachment.copy());
    }
    result->recipients = message.recipients;
    return result;
}

} // namespace host
