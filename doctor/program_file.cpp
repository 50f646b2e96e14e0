#include "doctor/program_file.h"

#include <array>
#include <cstddef>
#include <filesystem>
#include <fstream>

namespace doctor {

namespace {

/// Reads little-endian bytes at a place of a file. Returns no value behind its end.
template <std::size_t Size>
std::optional<std::uint32_t> number_at(std::istream& input, std::uint32_t place)
{
    std::array<char, Size> bytes{};
    input.seekg(place);
    if (!input.read(bytes.data(), bytes.size())) {
        return {};
    }
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < Size; ++i) {
        number |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i])) << (8U * i);
    }
    return number;
}

} // namespace

std::string words_of(machine_type machine)
{
    switch (machine) {
    case machine_type::x86:
        return "32-bit (x86)";
    case machine_type::x64:
        return "64-bit (x64)";
    case machine_type::arm64:
        return "64-bit (ARM64)";
    default:
        return "another machine";
    }
}

std::optional<machine_type> machine_in(const std::string& path)
{
    constexpr std::uint32_t dos_mark = 0x5A4D;
    constexpr std::uint32_t place_of_header = 0x3C;
    constexpr std::uint32_t pe_mark = 0x4550;
    constexpr std::uint32_t size_of_mark = 4;
    std::ifstream input(std::filesystem::u8path(path), std::ios::binary);
    if (number_at<2>(input, 0) != dos_mark) {
        return {};
    }
    const auto header = number_at<4>(input, place_of_header);
    if (!header || number_at<4>(input, *header) != pe_mark) {
        return {};
    }
    const auto machine = number_at<2>(input, *header + size_of_mark);
    if (!machine) {
        return {};
    }
    switch (*machine) {
    case 0x014C:
        return machine_type::x86;
    case 0x8664:
        return machine_type::x64;
    case 0xAA64:
        return machine_type::arm64;
    default:
        return machine_type::other;
    }
}

} // namespace doctor
