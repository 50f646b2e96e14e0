#pragma once

#include "mail/smime/openssl_ptr.h"
#include "store/bytes.h"

namespace host {

/// An OpenSSL stream that reads `source`, which outlives it.
openssl_ptr<BIO> read_from(const bytes& source);

/// An OpenSSL stream that appends to `target`, which outlives it. A failed write ends the work that uses it.
openssl_ptr<BIO> write_to(scratch& target);

} // namespace host
