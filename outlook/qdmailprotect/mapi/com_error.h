#pragma once

#include "tool/system/hresult.h"

#include <exception>

/// A COM failure thrown as an exception; the same on every platform.
class ComError : public std::exception
{
public:
    explicit ComError(HRESULT result) noexcept
        : result_(result)
    {}
    [[nodiscard]] HRESULT Error() const noexcept { return result_; }
    [[nodiscard]] const char* what() const noexcept override { return "COM error"; }

private:
    HRESULT result_;
};
