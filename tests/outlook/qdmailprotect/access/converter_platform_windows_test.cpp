#include "outlook/qdmailprotect/access/converter_platform.h"
#include "tests/support/memory_stream_contract.h"

namespace {

INSTANTIATE_TEST_SUITE_P(of_the_system, memory_stream, testing::Values(CreateMemoryStream));

TEST(converter_session, is_not_registered_where_there_is_no_mail_client)
{
    ComPtr<IConverterSession> session;
    EXPECT_TRUE(FAILED(CreateConverterSession(Receive(session))));
    EXPECT_EQ(session, nullptr);
}

} // namespace
