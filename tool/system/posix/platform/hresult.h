#pragma once

#include <cstdint>

using HRESULT = std::int32_t;
using SCODE = std::int32_t;

constexpr HRESULT hresult(std::uint32_t value) noexcept
{
    return static_cast<HRESULT>(value);
}

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOTIMPL = hresult(0x80004001U);
inline constexpr HRESULT E_NOINTERFACE = hresult(0x80004002U);
inline constexpr HRESULT E_POINTER = hresult(0x80004003U);
inline constexpr HRESULT E_ABORT = hresult(0x80004004U);
inline constexpr HRESULT E_FAIL = hresult(0x80004005U);
inline constexpr HRESULT E_UNEXPECTED = hresult(0x8000FFFFU);
inline constexpr HRESULT E_ACCESSDENIED = hresult(0x80070005U);
inline constexpr HRESULT E_OUTOFMEMORY = hresult(0x8007000EU);
inline constexpr HRESULT E_INVALIDARG = hresult(0x80070057U);

#define SUCCEEDED(hr) (static_cast<HRESULT>(hr) >= 0)
#define FAILED(hr) (static_cast<HRESULT>(hr) < 0)
