#pragma once

#include "mail/smime/secured_message.h"
#include "mail/smime/smime_identity.h"

#include <optional>
#include <string>

namespace host {

/// Returns the decrypted contents of an enveloped message. Returns nothing if there is no identity, if the message is
/// not addressed to it or is damaged; `problem`, unless null, then receives a human-readable reason. Decrypted data is
/// held in memory or, if large, in an unnamed temporary file.
std::optional<message_record> decrypt(const message_record& enveloped, const smime_identity* identity,
                                      std::string* problem = nullptr);

} // namespace host
