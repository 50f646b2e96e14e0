#pragma once

#include "cctool/serialization/container.h"

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace cctool::Serialization::test {

/// Returns the bytes that pairs of hexadecimal digits represent; blanks between them are ignored.
inline Bytes FromHex(std::string_view digits)
{
    const auto value = [](char c) { return c <= '9' ? c - '0' : c - 'a' + 10; };
    Bytes bytes;
    for (std::size_t place = 0; place < digits.size(); ++place) {
        if (digits[place] != ' ') {
            bytes.push_back(static_cast<std::uint8_t>(value(digits[place]) * 16 + value(digits[place + 1])));
            ++place;
        }
    }
    return bytes;
}

inline std::shared_ptr<IBinaryContainer> Parse(const Bytes& bytes)
{
    return ContainerFromBinary(bytes.data(), bytes.size());
}

inline std::shared_ptr<IBinaryContainer> Parse(std::string_view bytes)
{
    return ContainerFromBinary(bytes.data(), bytes.size());
}

/// Returns the serialised form of a tree, which must have one.
inline Bytes BlobOf(const IGetBinarySupport& tree)
{
    Bytes bytes;
    if (!tree.GetBlob(bytes, false)) {
        throw std::runtime_error("the tree has an empty slot");
    }
    return bytes;
}

/// Returns a tree with every type of value, including nested and empty ones.
inline std::shared_ptr<IBinaryContainer> RichTree()
{
    auto tree = CreateEmptyContainer();
    tree->SetVersion(version_info_tag, {1, 9});
    tree->Set(1, std::int8_t{-1});
    tree->Set(2, std::uint8_t{200});
    tree->Set(3, std::int16_t{-300});
    tree->Set(4, std::uint16_t{60000});
    tree->Set(5, std::int32_t{-70000});
    tree->Set(6, std::uint32_t{4000000000});
    tree->Set(7, std::int64_t{-5000000000});
    tree->Set(8, std::uint64_t{10000000000000000000U});
    tree->Set(9, std::string("narrow"));
    tree->Set(10, std::wstring(L"wide \x263A"));
    tree->Set(11, true);
    tree->SetBinary(12, {0, 1, 255});
    const auto array = tree->AddArray(13, 15);
    array->Set(0, std::int8_t{1});
    array->Set(1, std::uint8_t{2});
    array->Set(2, std::int16_t{3});
    array->Set(3, std::uint16_t{4});
    array->Set(4, std::int32_t{5});
    array->Set(5, std::uint32_t{6});
    array->Set(6, std::int64_t{7});
    array->Set(7, std::uint64_t{8});
    array->Set(8, std::string());
    array->Set(9, std::wstring());
    array->Set(10, false);
    array->SetBinary(11, {});
    array->AddArray(12, 0);
    array->AddContainer(13);
    array->AddArray(14, 1)->AddContainer(0)->Set(77, std::uint32_t{7});
    tree->AddContainer(14)->AddContainer(1)->Set(2, std::string("deep"));
    return tree;
}

} // namespace cctool::Serialization::test
