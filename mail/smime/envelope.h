#pragma once

#include "mail/smime/smime_identity.h"
#include "store/bytes.h"

#include <string>

namespace host {

/// Opens CMS EnvelopedData or AuthEnvelopedData. Null when it cannot be opened whole, with the reason for people in
/// `problem`: what came out until then is thrown away, since nothing vouches for it.
bytes_ptr open_envelope(const bytes& envelope, const smime_identity& identity, std::string& problem);

} // namespace host
