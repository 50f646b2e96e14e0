// Narrow texts of message files in code pages that not every system has.

#include "tests/mail/msg/msg_fixture.h"

namespace host::test {
namespace {

class NarrowText : public MsgTest
{};

TEST_F(NarrowText, IsReadInASevenBitPageIfItIsSevenBitText)
{
    const std::string text = "a\x1B$BF|K\\\x1B(B";
    const auto file = make(made_object::message().narrow(PR_SUBJECT_W - 1, text).entry(PR_INTERNET_CPID, 50220));
    EXPECT_EQ(L"a\u65e5\u672c", property(*read(file).properties, PR_SUBJECT_W).wide());
    EXPECT_EQ("", rewriting_differs(file));
}

} // namespace
} // namespace host::test
