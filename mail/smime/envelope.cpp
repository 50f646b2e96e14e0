#include "mail/smime/envelope.h"

#include "mail/smime/byte_bio.h"
#include "mail/smime/openssl_ptr.h"

#include <openssl/cmserr.h>

namespace host {

namespace {

/// Returns true if the envelope contains the session key for the owner of the certificate.
bool is_recipient(CMS_ContentInfo* content, X509* certificate)
{
    STACK_OF(CMS_RecipientInfo)* recipients = CMS_get0_RecipientInfos(content);
    for (int i = 0; i < sk_CMS_RecipientInfo_num(recipients); ++i) {
        CMS_RecipientInfo* one = sk_CMS_RecipientInfo_value(recipients, i);
        if (CMS_RecipientInfo_type(one) == CMS_RECIPINFO_TRANS) {
            if (CMS_RecipientInfo_ktri_cert_cmp(one, certificate) == 0) {
                return true;
            }
        } else if (CMS_RecipientInfo_type(one) == CMS_RECIPINFO_AGREE) {
            STACK_OF(CMS_RecipientEncryptedKey)* keys = CMS_RecipientInfo_kari_get0_reks(one);
            for (int k = 0; k < sk_CMS_RecipientEncryptedKey_num(keys); ++k) {
                if (CMS_RecipientEncryptedKey_cert_cmp(sk_CMS_RecipientEncryptedKey_value(keys, k), certificate) == 0) {
                    return true;
                }
            }
        }
    }
    return false;
}

} // namespace

bytes_ptr open_envelope(const bytes& envelope, const smime_identity& identity, std::string& problem)
{
    const error_scope errors;
    const openssl_ptr<BIO> input = read_from(envelope);
    const openssl_ptr<CMS_ContentInfo> content(d2i_CMS_bio(input.get(), nullptr));
    if (!content) {
        problem = "the envelope is damaged";
        return nullptr;
    }
    scratch plain;
    const openssl_ptr<BIO> output = write_to(plain);
    if (CMS_decrypt(content.get(), identity.get().key.get(), identity.get().certificate.get(), nullptr, output.get(),
                    0) != 1) {
        problem = is_recipient(content.get(), identity.get().certificate.get())
                      ? "it cannot be decrypted: its cipher is not supported, or it is damaged"
                      : "it is encrypted for other recipients than the certificate that was given";
        return nullptr;
    }
    return plain.freeze();
}

} // namespace host
