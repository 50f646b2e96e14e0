#include "store/digest.h"

#include <glib.h>

namespace host {

struct sha256::state
{
    struct free
    {
        void operator()(GChecksum* checksum) const noexcept { g_checksum_free(checksum); }
    };
    std::unique_ptr<GChecksum, free> sum{g_checksum_new(G_CHECKSUM_SHA256)};
};

sha256::sha256()
    : state_(std::make_unique<state>())
{}

sha256::~sha256() = default;

void sha256::add(const void* data, std::size_t size)
{
    g_checksum_update(state_->sum.get(), static_cast<const guchar*>(data), static_cast<gssize>(size));
}

std::string sha256::finish()
{
    return g_checksum_get_string(state_->sum.get());
}

} // namespace host
