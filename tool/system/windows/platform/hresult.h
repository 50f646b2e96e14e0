#pragma once

#include <winsock2.h> // includes windows.h, without the old socket declarations

#include <cstdint>

constexpr HRESULT hresult(std::uint32_t value) noexcept
{
    return static_cast<HRESULT>(value);
}
