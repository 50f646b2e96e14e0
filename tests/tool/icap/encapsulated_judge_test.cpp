#include "tests/support/guarded_buffer.h"
#include "tests/tool/icap/encapsulated_judge.h"
#include "tool/icap/encapsulated.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

/// Runs both readers on one value, which ends directly before a page without access.
void expect_agreement(const std::string& value)
{
    const test::guarded_buffer guarded(value);
    const auto read = icap::read_encapsulated(guarded.view());
    const test::judged_list judged = test::judge_encapsulated(value);
    ASSERT_EQ(read.has_value(), judged.hit) << "value: " << testing::PrintToString(value);
    if (read) {
        ASSERT_EQ(read->length, judged.length) << "value: " << testing::PrintToString(value);
        ASSERT_EQ(read->offsets, judged.offsets) << "value: " << testing::PrintToString(value);
    }
}

class generator
{
public:
    explicit generator(std::uint32_t seed)
        : random_(seed)
    {}

    std::size_t below(std::size_t bound) { return static_cast<std::size_t>(random_() % bound); }
    std::string one_of(const std::vector<std::string>& words) { return words[below(words.size())]; }

    /// Returns a list that is usually correct.
    std::string list()
    {
        std::string text;
        const std::size_t count = 1 + below(5);
        for (std::size_t i = 0; i < count; ++i) {
            if (i != 0) {
                text += one_of({", ", ",", ",\t", ", \r\n ", " ,", ";", ",,", ",\v\f"});
            }
            text += one_of({"req-hdr", "res-hdr", "req-body", "res-body", "opt-body", "null-body", "Req-hdr", "req-hd",
                            "null-bodyx", ""});
            text += one_of({"=", "=", "=", " = ", "\t=", "= \t", "\r=", "==", ""});
            text += one_of({"0", "12", "007", "2147483647", "2147483648", "4294967295", "4294967296", "99999999999",
                            "-1", "+1", "x", ""});
        }
        text += one_of({"", "", "", " trailing words", ",", "\r\n"});
        return text;
    }

    std::string mutated(std::string text)
    {
        const std::size_t edits = 1 + below(3);
        for (std::size_t i = 0; i < edits; ++i) {
            const std::size_t place = below(text.size() + 1);
            switch (below(3)) {
            case 0:
                text.insert(place, 1, byte());
                break;
            case 1:
                text.erase(std::min(place, text.size() - (text.empty() ? 0 : 1)), 1);
                break;
            default:
                if (place < text.size()) {
                    text[place] = byte();
                }
                break;
            }
        }
        return text;
    }

    std::string noise()
    {
        std::string text(below(24), '\0');
        for (char& c : text) {
            c = byte();
        }
        return text;
    }

    char byte()
    {
        static const std::string likely = "reqshdrbodynulpt-=, \t\r\n0123456789";
        return below(4) == 0 ? static_cast<char>(below(256)) : likely[below(likely.size())];
    }

private:
    std::mt19937 random_;
};

TEST(encapsulated_judge, agrees_on_edge_cases)
{
    for (const char* value : {"",
                              "=",
                              ",",
                              "req-hdr",
                              "req-hdr=",
                              "req-hdr=0",
                              "req-hdr =0",
                              "req-hdr= 0",
                              "req-hdr=\t0",
                              "req-hdr\t=\t0",
                              " req-hdr=0",
                              "req-hdr=0,",
                              "req-hdr=0,res-hdr=5",
                              "req-hdr=0 ,res-hdr=5",
                              "req-hdr=0,\r\n res-hdr=5",
                              "req-hdr=0, res-hdr",
                              "req-hdr=0, res-hdr=",
                              "null-body=0 trailing words",
                              "NULL-BODY=0",
                              "null-body=-1",
                              "req-hdr=1, req-hdr=2",
                              "req-hdr =1, req-hdr=2",
                              "opt-body=4294967296",
                              "opt-body=2147483648",
                              "opt-body=99999999999999999999",
                              "req-hdr=00000000000000000000000000000000000000000007",
                              "res-body=1x"}) {
        expect_agreement(value);
    }
}

TEST(encapsulated_judge, agrees_on_every_beginning_of_a_full_list)
{
    const std::string full = "req-hdr=0, res-hdr=\t137,req-body = 9 , res-body=296, opt-body=3,\r\n null-body=400 end";
    for (std::size_t length = 0; length <= full.size(); ++length) {
        expect_agreement(full.substr(0, length));
    }
}

TEST(encapsulated_judge, agrees_on_generated_lists)
{
    generator source(20201);
    for (int i = 0; i < 30000; ++i) {
        expect_agreement(source.list());
    }
}

TEST(encapsulated_judge, agrees_on_mutated_lists)
{
    generator source(20202);
    for (int i = 0; i < 30000; ++i) {
        expect_agreement(source.mutated(source.list()));
    }
}

TEST(encapsulated_judge, agrees_on_noise)
{
    generator source(20203);
    for (int i = 0; i < 30000; ++i) {
        expect_agreement(source.noise());
    }
}

/// The inputs above are useful only if they contain both kinds.
TEST(encapsulated_judge, is_asked_about_right_and_wrong_lists_alike)
{
    generator source(20201);
    int hits = 0;
    for (int i = 0; i < 30000; ++i) {
        hits += test::judge_encapsulated(source.list()).hit ? 1 : 0;
    }
    EXPECT_GT(hits, 6000);
    EXPECT_LT(hits, 24000);
}

} // namespace
