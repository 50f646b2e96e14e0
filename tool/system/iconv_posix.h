#pragma once

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <iconv.h>
#include <string>
#include <string_view>

namespace winapi {

/// Owns a conversion of the system's iconv. For one text after another, by one thread at a time.
class iconv_converter
{
public:
    enum class stop
    {
        at_end,
        invalid,  ///< at input that has no counterpart
        cut_short ///< at input that ends inside a character
    };

    /// Takes over what iconv_open() returned, the value for a failure included.
    explicit iconv_converter(iconv_t handle) noexcept
        : handle_(handle)
    {}
    iconv_converter(const iconv_converter&) = delete;
    iconv_converter& operator=(const iconv_converter&) = delete;
    ~iconv_converter()
    {
        if (*this) {
            ::iconv_close(handle_);
        }
    }

    /// False if there is no such conversion.
    explicit operator bool() const noexcept { return handle_ != reinterpret_cast<iconv_t>(-1); }

    /// Takes what can be converted off the front of the input and appends the result.
    template <typename Char>
    stop run(std::string_view& input, std::basic_string<Char>& out)
    {
        auto* source = const_cast<char*>(input.data()); // iconv's prototype, it does not write there
        std::size_t left = input.size();
        stop reason = stop::at_end;
        while (left != 0 && reason == stop::at_end) {
            reason = step(&source, &left, out);
        }
        input.remove_prefix(input.size() - left);
        return reason;
    }

    /// Appends what the conversion still holds back at the end of a text.
    template <typename Char>
    void finish(std::basic_string<Char>& out)
    {
        step(nullptr, nullptr, out);
    }

private:
    template <typename Char>
    stop step(char** source, std::size_t* left, std::basic_string<Char>& out)
    {
        std::array<char, 4096> block{};
        char* target = block.data();
        std::size_t room = block.size();
        const std::size_t result = ::iconv(handle_, source, left, &target, &room);
        const int error = errno;
        const std::size_t count = (block.size() - room) / sizeof(Char);
        const std::size_t start = out.size();
        out.resize(start + count);
        std::copy_n(block.data(), count * sizeof(Char), reinterpret_cast<char*>(out.data() + start));
        if (result != static_cast<std::size_t>(-1) || error == E2BIG) {
            return stop::at_end;
        }
        return error == EINVAL ? stop::cut_short : stop::invalid;
    }

    iconv_t handle_;
};

} // namespace winapi
