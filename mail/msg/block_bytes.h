#pragma once

#include "store/bytes.h"

namespace host::msg {

/// Reads a file in large blocks of which it keeps the last one, since the small parts of a compound file are next to
/// each other. Unlike other bytes it is used by one thread at a time.
class block_bytes final : public bytes
{
public:
    /// The file must outlive this object.
    explicit block_bytes(const bytes& file)
        : file_(file)
    {}

    [[nodiscard]] std::uint64_t size() const override { return file_.size(); }
    std::size_t read(std::uint64_t offset, void* destination, std::size_t count) const override;

private:
    [[nodiscard]] std::string_view rest_of_block(std::uint64_t offset) const;

    const bytes& file_;
    mutable std::string block_;
    mutable std::uint64_t begin_ = 0;
};

} // namespace host::msg
