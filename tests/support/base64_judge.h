#pragma once

#include <boost/archive/iterators/binary_from_base64.hpp>
#include <boost/archive/iterators/transform_width.hpp>

#include <cstddef>
#include <string>
#include <vector>

namespace test {

/// Base64 text through the iterators of Boost: the judge of the fast decoder. Raises
/// boost::archive::iterators::dataflow_exception for what is no base64 text.
inline std::vector<std::byte> judge_base64(std::string text)
{
    using namespace boost::archive::iterators;
    using decoder = transform_width<binary_from_base64<const char*>, 8, 6>;
    std::size_t cut = 0;
    if (text.size() > 3 && text[text.size() - 1] == '=') {
        text[text.size() - 1] = 'A';
        ++cut;
        if (text[text.size() - 2] == '=') {
            text[text.size() - 2] = 'A';
            ++cut;
        }
    }
    std::vector<std::byte> bytes;
    bytes.reserve(text.size());
    // A lone character at the end has the decoder read the NUL behind it, which is no base64 character.
    const decoder end(text.c_str() + text.size());
    for (decoder next(text.c_str()); next != end; ++next) {
        bytes.push_back(static_cast<std::byte>(*next));
    }
    bytes.resize(bytes.size() - cut);
    return bytes;
}

} // namespace test
