#include "outlook/qdmailprotect/access/converter_platform.h"
#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

#include <gtest/gtest.h>

namespace {

constexpr HRESULT ClassNotRegistered = hresult(0x80040154U);

TEST(converter_session, is_not_registered_where_there_is_no_mail_client)
{
    int anything = 0;
    IConverterSession* session = reinterpret_cast<IConverterSession*>(&anything);
    EXPECT_EQ(CreateConverterSession(&session), ClassNotRegistered);
    EXPECT_EQ(session, nullptr) << "overwritten although there is none";
}

TEST(memory_stream, comes_with_the_session_that_fills_it)
{
    int anything = 0;
    IStream* stream = reinterpret_cast<IStream*>(&anything);
    EXPECT_EQ(CreateMemoryStream(&stream), E_NOTIMPL);
    EXPECT_EQ(stream, nullptr) << "overwritten although there is none";
}

} // namespace
