#pragma once

#include "cctool/error.h"
#include "cctool/serialization/tag_id.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace cctool::Serialization {

/// The reason why an element is not available.
enum class AccessFailure : std::uint32_t
{
    NotFound = 1,
    InvalidType = 2,
    InvalidData = 3
};

/// Bytes that are not a tree. Has no description.
class InvalidDataError : public Error
{
public:
    explicit InvalidDataError(const ErrorSource& source);

protected:
    InvalidDataError(const char* name, std::string description, const ErrorSource& source);
};

/// An element of an array is absent or has another type than requested.
class ArrayElementAccessError : public InvalidDataError
{
public:
    ArrayElementAccessError(std::size_t index, AccessFailure reason, const ErrorSource& source);
    [[nodiscard]] std::size_t Index() const noexcept { return index_; }
    [[nodiscard]] AccessFailure Reason() const noexcept { return reason_; }

private:
    std::size_t index_;
    AccessFailure reason_;
};

/// An element of a container is absent or has another type than requested. The constructor throws std::runtime_error
/// "conv_to_char called WideCharToMultiByte() and failed." if the tag's name cannot be converted.
class ContainerElementAccessError : public InvalidDataError
{
public:
    ContainerElementAccessError(const TagId& tag, AccessFailure reason, const ErrorSource& source);
    [[nodiscard]] const TagId& Tag() const noexcept { return tag_; }
    [[nodiscard]] AccessFailure Reason() const noexcept { return reason_; }

private:
    TagId tag_;
    AccessFailure reason_;
};

/// A record with a layout that its reader does not support.
class IncompatibleVersionError : public Error
{
public:
    explicit IncompatibleVersionError(const ErrorSource& source);
};

} // namespace cctool::Serialization
