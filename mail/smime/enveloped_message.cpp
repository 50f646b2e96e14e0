#include "mail/smime/enveloped_message.h"

#include "mail/mime/reading/message_reader.h"
#include "mail/smime/envelope.h"

#include <utility>

namespace host {

std::optional<message_record> decrypt(const message_record& enveloped, const smime_identity* identity,
                                      std::string* problem)
{
    const auto closed = [problem](std::string why) {
        if (problem) {
            *problem = std::move(why);
        }
        return std::nullopt;
    };
    if (!identity) {
        return closed("it is encrypted, and no key was given");
    }
    std::string reason;
    const bytes_ptr plain = open_envelope(*envelope_of(enveloped), *identity, reason);
    if (!plain) {
        return closed(reason);
    }
    try {
        return shown_contents(enveloped, read_message(plain, {}, enveloped.store));
    } catch (const unreadable_message& failure) {
        return closed(std::string("what the envelope holds cannot be read: ") + failure.what());
    }
}

} // namespace host
