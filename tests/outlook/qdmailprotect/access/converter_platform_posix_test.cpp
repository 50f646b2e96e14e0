#include "outlook/qdmailprotect/access/converter_platform.h"
#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

#include <gtest/gtest.h>

namespace {

constexpr HRESULT ClassNotRegistered = hresult(0x80040154U);

TEST(converter_session, is_not_registered_where_there_is_no_mail_client)
{
    ComPtr<IConverterSession> session;
    EXPECT_EQ(CreateConverterSession(Receive(session)), ClassNotRegistered);
    EXPECT_EQ(session, nullptr);
}

TEST(memory_stream, comes_with_the_session_that_fills_it)
{
    ComPtr<IStream> stream;
    EXPECT_EQ(CreateMemoryStream(Receive(stream)), E_NOTIMPL);
    EXPECT_EQ(stream, nullptr);
}

} // namespace
