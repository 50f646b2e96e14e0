#pragma once

#include "tool/system/hresult.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

/// Exceptions that contain a platform code. All texts are fixed English; all derive from std::runtime_error.
namespace error {

/// A failed platform call. The code is a Win32 or Winsock number on every system.
/// what(): "winapi error occured at source PATH(LINE): error code CODE", then ", TEXT" if a text was given.
class win32exception : public std::runtime_error
{
public:
    win32exception(std::uint32_t code, std::string_view path, int line, std::string_view text = {});
    [[nodiscard]] std::uint32_t code() const noexcept { return code_; }
    [[nodiscard]] int line() const noexcept { return line_; }

private:
    std::uint32_t code_;
    int line_;
};

/// A failed COM call. what(): "PATH(LINE): error HRESULT-in-hex: TEXT".
class HresultException : public std::runtime_error
{
public:
    HresultException(std::string_view text, HRESULT result, std::string_view path, int line);
    [[nodiscard]] HRESULT result() const noexcept { return result_; }
    [[nodiscard]] int line() const noexcept { return line_; }

private:
    HRESULT result_;
    int line_;
};

} // namespace error

namespace winapi {

/// The last platform error of the calling thread. what() has the form of error::win32exception without the optional
/// text.
class last_error : public std::runtime_error
{
public:
    last_error(std::uint32_t code, int line, std::string_view path);
    [[nodiscard]] std::uint32_t code() const noexcept { return code_; }
    [[nodiscard]] int line() const noexcept { return line_; }

private:
    std::uint32_t code_;
    int line_;
};

} // namespace winapi

namespace cache {

/// A text followed by the system's message for a Win32 code.
class win32_error : public std::runtime_error
{
public:
    win32_error(std::string_view text, std::uint32_t code, int line = 0);
    [[nodiscard]] std::uint32_t code() const noexcept { return code_; }
    [[nodiscard]] int line() const noexcept { return line_; }

private:
    std::uint32_t code_;
    int line_;
};

} // namespace cache
