#pragma once

#include "store/property_value.h"

#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace host {

/// One stream's view of one property. Reads see the property as it was when the stream was opened, and the stream's
/// own writes. One thread at a time.
class stream_state
{
public:
    stream_state(bytes_ptr base, std::uint32_t type)
        : base_(std::move(base))
        , type_(type)
    {}
    [[nodiscard]] std::uint64_t size() const { return edited_ ? edited_->size() : base_->size(); }
    [[nodiscard]] std::uint32_t type() const noexcept { return type_; }
    std::size_t read(std::uint64_t offset, void* destination, std::size_t count) const;
    void write(std::uint64_t offset, const void* source, std::size_t count);
    void resize(std::uint64_t size);
    /// What was written until now; later writes work on a copy.
    bytes_ptr freeze();

private:
    scratch& edit();

    bytes_ptr base_;
    std::uint32_t type_;
    std::unique_ptr<scratch> edited_;
};

/// What the place that properties were read from told beside them, so that the same place can be written again without
/// a loss: flags, unknown parts. Who read it knows what it is; to everybody else it is closed.
class property_origin
{
public:
    property_origin() = default;
    property_origin(const property_origin&) = delete;
    property_origin& operator=(const property_origin&) = delete;
    virtual ~property_origin() = default;
};

/// The properties of one object by identifier; each identifier has one value of one type. What a stream writes is in
/// the property at once, without waiting for the stream's end. Always held by a shared pointer, since streams may
/// outlive their object. Used by one thread at a time.
class property_bag
{
public:
    property_bag() = default;
    property_bag(const property_bag& other);
    property_bag& operator=(const property_bag&) = delete;

    /// Null when absent. The pointer is good until the next change.
    [[nodiscard]] const property_value* find(std::uint32_t id) const;
    void set(std::uint32_t tag, property_value value);
    /// False when there was none.
    bool erase(std::uint32_t id);
    /// The tags in the order of their identifiers.
    [[nodiscard]] std::vector<std::uint32_t> tags() const;
    /// Makes the stream's contents the property's value from now on.
    void follow(std::uint32_t id, std::shared_ptr<stream_state> stream);

    /// Goes with every copy; null when there is none.
    [[nodiscard]] const std::shared_ptr<const property_origin>& origin() const noexcept { return origin_; }
    void origin(std::shared_ptr<const property_origin> from) noexcept { origin_ = std::move(from); }

private:
    struct entry
    {
        property_value value;
        std::shared_ptr<stream_state> written; ///< a stream with newer contents
    };
    static void settle(entry& target);

    mutable std::map<std::uint32_t, entry> entries_;
    std::shared_ptr<const property_origin> origin_;
};

} // namespace host
