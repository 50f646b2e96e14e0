#include "host/smime/envelope.h"

#include "host/smime/byte_bio.h"
#include "host/smime/openssl_ptr.h"

#include <algorithm>
#include <array>
#include <openssl/cmserr.h>
#include <string_view>

namespace host {

namespace {

using namespace std::string_view_literals;

// Object identifiers with their tag and length: pkcs7-envelopedData and id-smime-ct-authEnvelopedData.
constexpr std::string_view enveloped_type = "\x06\x09\x2A\x86\x48\x86\xF7\x0D\x01\x07\x03"sv;
constexpr std::string_view authenticated_type = "\x06\x0B\x2A\x86\x48\x86\xF7\x0D\x01\x09\x10\x01\x17"sv;

/// True when the session key of the envelope is there for the owner of the certificate.
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

bool looks_enveloped(const bytes& data)
{
    std::array<char, 32> start{};
    const std::string_view text(start.data(), data.read(0, start.data(), start.size()));
    if (text.size() < 2 || text[0] != '\x30') { // a sequence
        return false;
    }
    const auto length = static_cast<unsigned char>(text[1]);
    const std::size_t more = length < 0x80U ? 0 : length & 0x7FU; // bytes of a long length
    const std::string_view type = text.substr(std::min(text.size(), 2 + more));
    return type.starts_with(enveloped_type) || type.starts_with(authenticated_type);
}

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
