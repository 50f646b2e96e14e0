#include "logging/line_text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <iomanip>
#include <limits>
#include <sstream>
#include <string>
#include <utility>

namespace {

enum plain_enumeration
{
    seventh = 7
};

/// Adds the same to a line and to a stream; both must contain the same.
template <typename... Values>
void expect_as_a_stream(const Values&... values)
{
    logging::line_text line;
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    (void)(line << ... << values);
    (stream << ... << values);
    EXPECT_EQ(line.view(), stream.view());
}

template <typename Number>
void expect_limits_as_a_stream()
{
    expect_as_a_stream(std::numeric_limits<Number>::min(), ' ', std::numeric_limits<Number>::max(), ' ', Number{0});
}

TEST(line_text, formats_each_value_as_a_stream_does)
{
    expect_as_a_stream("text", std::string(" of a string"), std::string_view(" and of a view"), ' ', true, false);
    expect_limits_as_a_stream<short>();
    expect_limits_as_a_stream<unsigned short>();
    expect_limits_as_a_stream<int>();
    expect_limits_as_a_stream<unsigned>();
    expect_limits_as_a_stream<long>();
    expect_limits_as_a_stream<unsigned long>();
    expect_limits_as_a_stream<long long>();
    expect_limits_as_a_stream<unsigned long long>();
    expect_as_a_stream(std::uint8_t{65}, std::int8_t{66}, 1.5, 1e300, seventh);
    expect_as_a_stream("path ", std::filesystem::path("a b"), " behind it");
}

TEST(line_text, formats_addresses_as_a_stream_does)
{
    const int object = 0;
    char letters[] = "letters that can be changed";
    expect_as_a_stream(&object, ' ', static_cast<const void*>(&object), ' ', static_cast<const int*>(nullptr));
    expect_as_a_stream(static_cast<char*>(letters), ' ', static_cast<void*>(letters));
}

TEST(line_text, formats_the_rest_of_the_line_as_a_manipulator_specifies)
{
    logging::line_text line;
    int object = 0;
    line << "0x" << std::hex << 255 << '|' << std::setw(6) << std::setfill('.') << 10U << std::setw(3) << 'c'
         << std::boolalpha << true << std::setw(4) << std::string_view("ab") << &object;
    std::ostringstream stream;
    stream << "0x" << std::hex << 255 << '|' << std::setw(6) << std::setfill('.') << 10U << std::setw(3) << 'c'
           << std::boolalpha << true << std::setw(4) << std::string_view("ab") << &object;
    EXPECT_EQ(line.view(), stream.view());
}

TEST(line_text, holds_lines_of_every_length)
{
    constexpr std::size_t limit = logging::line_text::inline_size;
    for (const std::size_t first : {std::size_t{0}, std::size_t{1}, limit - 1, limit, limit + 1, 3 * limit}) {
        for (const std::size_t second : {std::size_t{0}, std::size_t{1}, limit, 2 * limit}) {
            expect_as_a_stream(std::string(first, 'a'), std::string(second, 'b'), 17, "end");
            expect_as_a_stream(std::string(first, 'a'), std::string(second, 'b'), 1.5, "end");
        }
    }
}

TEST(line_text, moves_with_its_contents)
{
    logging::line_text line;
    line << "moved " << 1;
    logging::line_text other(std::move(line));
    other << " more";
    EXPECT_EQ(other.view(), "moved 1 more");
}

TEST(line_text, takes_a_text_that_is_null_as_empty)
{
    logging::line_text line;
    line << "a" << static_cast<const char*>(nullptr) << "b";
    EXPECT_EQ(line.view(), "ab");
}

} // namespace
