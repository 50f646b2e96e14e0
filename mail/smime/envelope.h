#pragma once

#include "mail/smime/smime_identity.h"
#include "store/bytes.h"

#include <string>

namespace host {

/// Decrypts CMS EnvelopedData or AuthEnvelopedData. If it cannot be decrypted completely, returns null and a
/// human-readable reason in `problem`; partial output is discarded, because it is not authenticated.
bytes_ptr open_envelope(const bytes& envelope, const smime_identity& identity, std::string& problem);

} // namespace host
