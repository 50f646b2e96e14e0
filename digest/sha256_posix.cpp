#include "digest/sha256.h"

#include <openssl/evp.h>
#include <stdexcept>

namespace digest {

namespace {

void require_success(int result)
{
    if (result != 1) {
        throw std::runtime_error("no SHA-256 digest can be computed");
    }
}

struct free_context
{
    void operator()(EVP_MD_CTX* context) const noexcept { EVP_MD_CTX_free(context); }
};

} // namespace

struct sha256::state
{
    std::unique_ptr<EVP_MD_CTX, free_context> context{EVP_MD_CTX_new()};
};

sha256::sha256()
    : state_(std::make_unique<state>())
{
    require_success(state_->context ? EVP_DigestInit_ex(state_->context.get(), EVP_sha256(), nullptr) : 0);
}

sha256::~sha256() = default;

void sha256::add(std::string_view piece)
{
    require_success(EVP_DigestUpdate(state_->context.get(), piece.data(), piece.size()));
}

sha256::value sha256::finish()
{
    value result{};
    require_success(EVP_DigestFinal_ex(state_->context.get(), result.data(), nullptr));
    return result;
}

} // namespace digest
