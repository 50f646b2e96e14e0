#pragma once

#include "mail/smime/secured_message.h"
#include "mail/smime/smime_identity.h"

#include <optional>
#include <string>

namespace host {

/// What an enveloped message shows its reader, decrypted. Nothing without an identity, or when the message isn't for it
/// or is damaged; the reason, for people, then stands in `problem` if it isn't null. What is decrypted stays in memory
/// or, when large, in a temporary file without a name.
std::optional<message_record> decrypt(const message_record& enveloped, const smime_identity* identity,
                                      std::string* problem = nullptr);

} // namespace host
