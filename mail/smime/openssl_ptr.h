#pragma once

#include "mail/smime/smime_identity.h"

#include <memory>
#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

namespace host {

/// Frees objects of OpenSSL.
struct openssl_free
{
    void operator()(BIO* stream) const noexcept { BIO_free_all(stream); }
    void operator()(BIO_METHOD* method) const noexcept { BIO_meth_free(method); }
    void operator()(CMS_ContentInfo* content) const noexcept { CMS_ContentInfo_free(content); }
    void operator()(EVP_PKEY* key) const noexcept { EVP_PKEY_free(key); }
    void operator()(X509* certificate) const noexcept { X509_free(certificate); }
};

template <typename T>
using openssl_ptr = std::unique_ptr<T, openssl_free>;

/// Removes the errors of one operation from the thread's error queue, so that later operations do not find them there.
class error_scope
{
public:
    error_scope() { ERR_clear_error(); }
    error_scope(const error_scope&) = delete;
    error_scope& operator=(const error_scope&) = delete;
    ~error_scope() { ERR_clear_error(); }
};

struct smime_identity::state
{
    openssl_ptr<EVP_PKEY> key;
    openssl_ptr<X509> certificate;
};

} // namespace host
