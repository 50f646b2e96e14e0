#include "service/engine/clamd_reply.h"

#include <gtest/gtest.h>

#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace {

using namespace service;

TEST(clamd_reply, is_clean_only_when_it_says_ok)
{
    EXPECT_TRUE(std::holds_alternative<clean_verdict>(read_clamd_reply("stream: OK")));
    for (const std::string_view text :
         {"", "OK", "stream: ok", "stream: OK\n", "stream: OK ", " stream: OK", "stream:OK", "stream: ", "fd[10]: OK",
          "stream: OK FOUND OK", "stream: FOUND", "1: stream: OK"}) {
        EXPECT_FALSE(std::holds_alternative<clean_verdict>(read_clamd_reply(text))) << text;
    }
}

TEST(clamd_reply, names_what_was_found)
{
    const verdict outcome = read_clamd_reply("stream: Win.Test.EICAR_HDB-1 FOUND");
    ASSERT_TRUE(std::holds_alternative<blocked_verdict>(outcome));
    EXPECT_EQ(std::get<blocked_verdict>(outcome).threat, "Win.Test.EICAR_HDB-1");
    const verdict odd = read_clamd_reply("stream: a name FOUND FOUND");
    ASSERT_TRUE(std::holds_alternative<blocked_verdict>(odd));
    EXPECT_EQ(std::get<blocked_verdict>(odd).threat, "a name FOUND");
}

TEST(clamd_reply, contains_the_time_of_the_signatures)
{
    std::tm time{};
    time.tm_year = 124;
    time.tm_mon = 8;
    time.tm_mday = 6;
    time.tm_hour = 8;
    time.tm_min = 30;
    time.tm_sec = 5;
    time.tm_isdst = -1;
    EXPECT_EQ(clamd_signatures_time("ClamAV 1.4.1/27400/Fri Sep  6 08:30:05 2024"), std::mktime(&time));
    for (const std::string_view text :
         {"", "ClamAV 1.4.1", "ClamAV 1.4.1/27400/", "ClamAV 1.4.1/27400/Fri Sep  6", "V/1/Fri Sup  6 08:30:05 2024",
          "V/1/Fri Sep  6 08.30:05 2024", "V/1/Fri Sep  6 08:30:05", "V/1/Fri Sep  6 08:30:05 1901"}) {
        EXPECT_EQ(clamd_signatures_time(text), std::nullopt) << text;
    }
}

TEST(clamd_reply, is_an_error_in_every_other_case)
{
    for (const std::string_view text : {"INSTREAM size limit exceeded", "stream: Can't open file ERROR",
                                        "stream: FOUND", "stream:  FOUND", "UNKNOWN COMMAND", "", "PONG", "found"}) {
        EXPECT_TRUE(std::holds_alternative<error_verdict>(read_clamd_reply(text))) << text;
    }
    EXPECT_EQ(std::get<error_verdict>(read_clamd_reply("stream: broken ERROR")).why, "stream: broken ERROR");
    EXPECT_EQ(std::get<error_verdict>(read_clamd_reply("what\n")).why, "answer not understood: what?");
}

TEST(clamd_reply, leaves_unchecked_what_clamd_cannot_look_into)
{
    for (const std::string_view name : {"Heuristics.Encrypted.Zip", "Heuristics.Encrypted.PDF",
                                        "Heuristics.Limits.Exceeded", "Heuristics.Limits.Exceeded.MaxFileSize"}) {
        const verdict outcome = read_clamd_reply("stream: " + std::string(name) + " FOUND");
        ASSERT_TRUE(std::holds_alternative<unchecked_verdict>(outcome)) << name;
        EXPECT_EQ(std::get<unchecked_verdict>(outcome).why, name);
    }
    EXPECT_EQ(std::get<unchecked_verdict>(read_clamd_reply("INSTREAM size limit exceeded. ERROR")).why,
              "larger than the limit of clamd");
    for (const std::string_view name : {"Heuristics.Phishing.Email", "X.Heuristics.Encrypted.Zip", "Heuristics"}) {
        EXPECT_TRUE(
            std::holds_alternative<blocked_verdict>(read_clamd_reply("stream: " + std::string(name) + " FOUND")))
            << name;
    }
}

TEST(printable, is_one_short_line_of_ascii)
{
    EXPECT_EQ(printable("a~ b"), "a~ b");
    EXPECT_EQ(printable("a\r\n\x7F\xC3\xA9"), "a?????");
    EXPECT_EQ(printable(std::string(300, 'x')), std::string(200, 'x'));
}

} // namespace
