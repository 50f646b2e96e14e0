#include "tests/http/spirit_judge.h"
TEST(x, y)
{
    unsigned n;
    EXPECT_EQ(judge::difference("GET / HTTP/1.1\r\nA: b\r\n\r\n", n), "");
    EXPECT_EQ(2u, n);
}
