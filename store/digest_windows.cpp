#include "store/digest.h"

#include <windows.h>

#include <array>
#include <bcrypt.h>
#include <stdexcept>

namespace host {

namespace {

constexpr std::size_t digest_bytes = 32;

void require(NTSTATUS status)
{
    if (status < 0) {
        throw std::runtime_error("the system refuses a SHA-256 digest");
    }
}

struct close_provider
{
    using pointer = BCRYPT_ALG_HANDLE;
    void operator()(BCRYPT_ALG_HANDLE provider) const noexcept { BCryptCloseAlgorithmProvider(provider, 0); }
};

struct destroy_hash
{
    using pointer = BCRYPT_HASH_HANDLE;
    void operator()(BCRYPT_HASH_HANDLE hash) const noexcept { BCryptDestroyHash(hash); }
};

} // namespace

struct sha256::state
{
    std::unique_ptr<void, close_provider> provider;
    std::unique_ptr<void, destroy_hash> hash;
};

sha256::sha256()
    : state_(std::make_unique<state>())
{
    BCRYPT_ALG_HANDLE provider = nullptr;
    require(BCryptOpenAlgorithmProvider(&provider, BCRYPT_SHA256_ALGORITHM, nullptr, 0));
    state_->provider.reset(provider);
    BCRYPT_HASH_HANDLE hash = nullptr;
    require(BCryptCreateHash(provider, &hash, nullptr, 0, nullptr, 0, 0));
    state_->hash.reset(hash);
}

sha256::~sha256() = default;

void sha256::add(const void* data, std::size_t size)
{
    constexpr std::size_t largest_step = 1U << 30U;
    auto* next = static_cast<UCHAR*>(const_cast<void*>(data)); // the call does not modify it
    while (size != 0) {
        const std::size_t step = size < largest_step ? size : largest_step;
        require(BCryptHashData(state_->hash.get(), next, static_cast<ULONG>(step), 0));
        next += step;
        size -= step;
    }
}

std::string sha256::finish()
{
    std::array<UCHAR, digest_bytes> digest{};
    require(BCryptFinishHash(state_->hash.get(), digest.data(), static_cast<ULONG>(digest.size()), 0));
    std::string text;
    for (const UCHAR byte : digest) {
        constexpr const char* digits = "0123456789abcdef";
        text.push_back(digits[byte >> 4U]);
        text.push_back(digits[byte & 0xFU]);
    }
    return text;
}

} // namespace host
