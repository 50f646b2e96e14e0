#include "tests/support/every_split.h"
#include "tests/support/guarded_buffer.h"
#include "tests/tool/http/spirit_judge.h"
#include "tests/tool/http/text_generator.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace std::string_view_literals;

/// Runs both readers over texts that end directly before a page without access.
class grammar_judge : public testing::Test
{
protected:
    unsigned agree(std::string_view text)
    {
        ++inputs;
        unsigned hits = 0;
        const test::guarded_buffer buffer(text);
        const std::string difference = judge::difference(buffer.view(), hits);
        if (!difference.empty()) {
            ADD_FAILURE() << difference << "for: " << testing::PrintToString(std::string(text));
        }
        return hits;
    }

    void agree_on_every_beginning(std::string_view text)
    {
        for (std::size_t length = 0; length <= text.size() && !HasFailure(); ++length) {
            agree(text.substr(0, length));
        }
    }

    std::size_t inputs = 0;
};

TEST_F(grammar_judge, agrees_on_edge_cases_cut_at_every_byte)
{
    const std::vector<std::string_view> texts{
        "GET / HTTP/1.1\nHost: a\n\n",
        "GET / HTTP/1.1\rHost: a\r\r",
        "ICAP/1.0 200 OK\r\nContent Length : 5\r\nName : value\r\n\r\n",
        "ICAP/1.0 200 OK\r\nFoo\r\nBar: x\r\n\r\n",
        "ICAP/1.0 200 OK\r\nFoo\r\nBar\r\n\r\n",
        "ICAP/1.0 200 OK\r\n:x\r\n\r\n",
        "ICAP/1.0 200 OK\r\n\xE4: x\r\n\r\n",
        "ICAP/1.0 200 OK\r\nEmpty:\r\nBlank: \r\n\r\n",
        "ICAP/1.0 20 OK\r\n\r\n",
        "ICAP/1.0 2000 OK\r\n\r\n",
        "ICAP/1.0 204\r\n\r\n",
        "ICAP/1.0 204OK\r\n\r\n",
        "HTTP/1.1 200 a\tb\r\n\r\n",
        "HTTP/1.1 200 OK\r\nA: b\r\n  c\r\n\td \r\n\r\n",
        "HTTP/1.1 200 OK\r\nA: b\rc\r\n\r\n",
        "HTTP/1.1 200 OK\r\nA: b\r\na: c\r\nAB: d\r\n\r\n",
        "GET /a b HTTP/1.1\r\n\r\n",
        "GET /a \t HTTP/1.1\r\n\r\n",
        "GET /a \t b HTTP/1.1\r\n\r\n",
        "GET /a HTTP HTTP/1.1\r\n\r\n",
        "GET  HTTP/1.1\r\n\r\n",
        "GET /a\x05"
        "b HTTP/1.1\r\n\r\n",
        "GET /a\x04"
        "b HTTP/1.1\r\n\r\n",
        "get / HTTP/1.1\r\n\r\n",
        "FOO / HTTP/1.1\r\nA: b\r\n\r\n",
        "FOO /a b HTTP/1.1\r\n\r\n",
        "REQMOD icap://h/s ICAP/9.9 \r\nA: b\r\n\r\n",
        "REQMOD icap://h/s s ICAP/1.0\r\n\r\n",
        "MKWORK / HTTP/1.1\r\n\r\n",
        "VERSION-CONTROL / HTTP/1.1\r\n\r\n",
        "0\r\n\r\n",
        "0\r\n\r\nA: b\r\n\r\n",
        "0\r\nA: b\r\nC: d\r\n\r\n",
        "0\r\n\r\nA: b\r\nC\r\n",
        "000 ; ieof\r\n\r\n",
        "0A\r\n",
        "a;name=value\r\n",
        "a  \r\n",
        "1 ;a=\"b\r\n c\\\"d\xE4\" tail\r\n",
        "1;a=\"b\r\nc\"\r\n",
        "1;a=\"\\\xE4\"\r\n",
        "1;a;b=\"c\"\r\n",
        "1;a=\"b\";c\xE4\r\n",
        "FFFFFFFF\r\n",
        "100000000\r\n",
        "00000000000001\r\n",
        "\r\n0\r\n\r\n",
        "icap://host:1344/a/b?c#d",
        "host.name:80/a.b",
        "/a/b",
        "://h/",
        "http:/x",
        "1http://h/",
        "GET\0 / HTTP/1.1\r\n\r\n"sv,
    };
    for (const std::string_view text : texts) {
        agree_on_every_beginning(text);
    }
}

TEST_F(grammar_judge, agrees_on_well_formed_heads_cut_at_every_byte)
{
    test::text_generator generator(1);
    for (int round = 0; round < 1'200 && !HasFailure(); ++round) {
        agree_on_every_beginning(generator.head());
    }
    EXPECT_GE(inputs, 70'000U);
}

TEST_F(grammar_judge, agrees_on_mutated_heads)
{
    test::text_generator generator(2);
    unsigned hits = 0;
    for (int round = 0; round < 70'000 && !HasFailure(); ++round) {
        hits += agree(generator.mutated(generator.head()));
    }
    EXPECT_EQ(70'000U, inputs);
    EXPECT_GT(hits, 10'000U);
    EXPECT_LT(hits, 100'000U);
}

TEST_F(grammar_judge, agrees_on_chunk_lines_and_uris)
{
    test::text_generator generator(3);
    unsigned hits = 0;
    for (int round = 0; round < 20'000 && !HasFailure(); ++round) {
        hits += agree(generator.chunk());
        hits += agree(generator.mutated(generator.chunk()));
        hits += agree(generator.uri());
    }
    EXPECT_EQ(60'000U, inputs);
    EXPECT_GT(hits, 20'000U);
}

TEST_F(grammar_judge, agrees_on_random_bytes_and_words)
{
    test::text_generator generator(4);
    for (int round = 0; round < 20'000 && !HasFailure(); ++round) {
        agree(generator.noise(generator.below(40)));
        agree(generator.word_salad(generator.below(12)));
    }
    EXPECT_EQ(40'000U, inputs);
}

} // namespace
