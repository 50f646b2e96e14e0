#pragma once

#include "store/property_value.h"

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace host {

/// The view that one stream has of one property. Reads return the property as it was when the stream was opened, with
/// the stream's own writes applied. Not thread-safe.
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
    /// Returns the data written so far; later writes modify a copy.
    bytes_ptr freeze();

private:
    scratch& edit();

    bytes_ptr base_;
    std::uint32_t type_;
    std::unique_ptr<scratch> edited_;
};

/// Additional data from the source of a set of properties, such as flags and unknown parts, which allows writing the
/// same source again without loss. Opaque to all code except the reader that created it.
class property_origin
{
public:
    property_origin() = default;
    property_origin(const property_origin&) = delete;
    property_origin& operator=(const property_origin&) = delete;
    virtual ~property_origin() = default;
};

/// The properties of one object by identifier; each identifier has one value of one type. Data that a stream writes is
/// visible in the property immediately. Must be held by a shared pointer, because streams may outlive their object. Not
/// thread-safe.
class property_bag
{
public:
    property_bag() = default;
    property_bag(const property_bag& other);
    property_bag& operator=(const property_bag&) = delete;

    /// Returns null if the property does not exist. The pointer is valid until the next change.
    [[nodiscard]] const property_value* find(std::uint32_t id) const;
    void set(std::uint32_t tag, property_value value);
    /// Returns false if the property did not exist.
    bool erase(std::uint32_t id);
    /// Returns the tags ordered by their identifiers.
    [[nodiscard]] std::vector<std::uint32_t> tags() const;
    /// Takes over what streams have written, as each read does.
    void settle_all() const;
    /// Makes the stream's contents the property's value from now on.
    void follow(std::uint32_t id, std::shared_ptr<stream_state> stream);

    /// Transferred to every copy; null if there is none.
    [[nodiscard]] const std::shared_ptr<const property_origin>& origin() const noexcept { return origin_; }
    void origin(std::shared_ptr<const property_origin> from) noexcept { origin_ = std::move(from); }

private:
    struct entry
    {
        std::uint32_t id = 0;
        property_value value;
        std::shared_ptr<stream_state> written; ///< a stream with newer contents
    };
    static void settle(entry& target);
    /// Returns the entry of an identifier, or the place where it belongs.
    [[nodiscard]] std::vector<entry>::iterator place_of(std::uint32_t id) const;
    [[nodiscard]] bool is_at(std::vector<entry>::iterator place, std::uint32_t id) const
    {
        return place != entries_.end() && place->id == id;
    }

    mutable std::vector<entry> entries_; ///< ordered by identifier; smaller than a tree, since a message has many bags
    std::shared_ptr<const property_origin> origin_;
};

} // namespace host
