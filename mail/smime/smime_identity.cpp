#include "mail/smime/smime_identity.h"

#include "mail/smime/openssl_ptr.h"

#include <cerrno>
#include <openssl/pem.h>
#include <stdexcept>
#include <string>
#include <system_error>

namespace host {

namespace {

[[noreturn]] void refuse(const std::filesystem::path& file, const std::string& why)
{
    throw std::runtime_error(file.string() + ": " + why);
}

openssl_ptr<BIO> open_file(const std::filesystem::path& file)
{
    errno = 0;
    openssl_ptr<BIO> stream(BIO_new_file(file.c_str(), "r"));
    if (!stream) {
        refuse(file, std::generic_category().message(errno == 0 ? EIO : errno));
    }
    return stream;
}

/// Replaces the passphrase prompt, because no user is present; records that a passphrase was requested.
int refuse_passphrase(char*, int, int, void* asked)
{
    *static_cast<bool*>(asked) = true;
    return -1;
}

} // namespace

smime_identity::smime_identity(const std::filesystem::path& key_file, const std::filesystem::path& certificate_file)
    : state_(std::make_unique<state>())
{
    const error_scope errors;
    bool passphrase = false;
    state_->key.reset(PEM_read_bio_PrivateKey(open_file(key_file).get(), nullptr, refuse_passphrase, &passphrase));
    if (!state_->key) {
        refuse(key_file, passphrase ? "the private key is locked by a passphrase: give an unlocked copy"
                                    : "it holds no private key in PEM form");
    }
    state_->certificate.reset(
        PEM_read_bio_X509(open_file(certificate_file).get(), nullptr, refuse_passphrase, &passphrase));
    if (!state_->certificate) {
        refuse(certificate_file, "it holds no certificate in PEM form");
    }
    if (X509_check_private_key(state_->certificate.get(), state_->key.get()) != 1) {
        refuse(certificate_file, "the certificate is not that of the key in " + key_file.string());
    }
}

smime_identity::~smime_identity() = default;

} // namespace host
