#include "digest/sha256.h"

#include <windows.h>

#include <algorithm>
#include <bcrypt.h>
#include <stdexcept>

namespace digest {

namespace {

void require_success(NTSTATUS status)
{
    if (status < 0) {
        throw std::runtime_error("no SHA-256 digest can be computed");
    }
}

/// The provider of the digest, opened once: opening it takes longer than the digest of a small object.
class sha256_provider
{
public:
    sha256_provider() { require_success(BCryptOpenAlgorithmProvider(&handle_, BCRYPT_SHA256_ALGORITHM, nullptr, 0)); }
    sha256_provider(const sha256_provider&) = delete;
    sha256_provider& operator=(const sha256_provider&) = delete;
    ~sha256_provider() { BCryptCloseAlgorithmProvider(handle_, 0); }
    [[nodiscard]] BCRYPT_ALG_HANDLE handle() const noexcept { return handle_; }

private:
    BCRYPT_ALG_HANDLE handle_ = nullptr;
};

BCRYPT_ALG_HANDLE sha256_algorithm()
{
    static const sha256_provider provider;
    return provider.handle();
}

struct destroy_hash
{
    using pointer = BCRYPT_HASH_HANDLE;
    void operator()(BCRYPT_HASH_HANDLE hash) const noexcept { BCryptDestroyHash(hash); }
};

} // namespace

struct sha256::state
{
    std::unique_ptr<void, destroy_hash> hash;
};

sha256::sha256()
    : state_(std::make_unique<state>())
{
    BCRYPT_HASH_HANDLE hash = nullptr;
    require_success(BCryptCreateHash(sha256_algorithm(), &hash, nullptr, 0, nullptr, 0, 0));
    state_->hash.reset(hash);
}

sha256::~sha256() = default;

void sha256::add(std::string_view piece)
{
    constexpr std::size_t largest_step = std::size_t{1} << 30U;
    while (!piece.empty()) {
        const std::size_t step = std::min(piece.size(), largest_step);
        auto* const bytes = reinterpret_cast<UCHAR*>(const_cast<char*>(piece.data())); // the call does not modify them
        require_success(BCryptHashData(state_->hash.get(), bytes, static_cast<ULONG>(step), 0));
        piece.remove_prefix(step);
    }
}

sha256::value sha256::finish()
{
    value result{};
    require_success(BCryptFinishHash(state_->hash.get(), result.data(), static_cast<ULONG>(result.size()), 0));
    return result;
}

} // namespace digest
