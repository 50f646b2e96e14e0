#pragma once

#include "mail/smime/openssl_ptr.h"
#include "store/bytes.h"

namespace host {

/// Creates an OpenSSL stream that reads `source`, which must outlive it.
openssl_ptr<BIO> read_from(const bytes& source);

/// Creates an OpenSSL stream that appends to `target`, which must outlive it. A failed write ends the operation that
/// uses it.
openssl_ptr<BIO> write_to(scratch& target);

} // namespace host
