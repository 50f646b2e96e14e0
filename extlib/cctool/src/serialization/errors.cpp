#include "cctool/serialization/errors.h"

#include "tool/system/conversions.h"

#include <stdexcept>
#include <utility>

namespace cctool::Serialization {

namespace {

std::string TextOf(AccessFailure reason)
{
    switch (reason) {
    case AccessFailure::NotFound:
        return "not found";
    case AccessFailure::InvalidType:
        return "has invalid type";
    default:
        return "contains invalid data";
    }
}

std::string NarrowName(const TagId& tag)
{
    if (tag.name == nullptr) {
        return {};
    }
    try {
        return winapi::conv_to_char(tag.name);
    } catch (const std::runtime_error&) {
        throw std::runtime_error("conv_to_char called WideCharToMultiByte() and failed.");
    }
}

} // namespace

InvalidDataError::InvalidDataError(const ErrorSource& source)
    : Error(nullptr, {}, source)
{}

InvalidDataError::InvalidDataError(const char* name, std::string description, const ErrorSource& source)
    : Error(name, std::move(description), source)
{}

ArrayElementAccessError::ArrayElementAccessError(std::size_t index, AccessFailure reason, const ErrorSource& source)
    : InvalidDataError("ArrayElementAccessError",
                       "array element " + TextOf(reason) + ", index=" + std::to_string(index), source)
    , index_(index)
    , reason_(reason)
{}

ContainerElementAccessError::ContainerElementAccessError(const TagId& tag, AccessFailure reason,
                                                         const ErrorSource& source)
    : InvalidDataError("ContainerElementAccessError",
                       "container element " + TextOf(reason) + ", tag-id=" + std::to_string(tag.id) +
                           ", tag-name=" + NarrowName(tag),
                       source)
    , tag_(tag)
    , reason_(reason)
{}

IncompatibleVersionError::IncompatibleVersionError(const ErrorSource& source)
    : Error(nullptr, {}, source)
{}

} // namespace cctool::Serialization
