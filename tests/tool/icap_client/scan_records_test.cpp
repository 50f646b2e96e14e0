#include "tool/icap_client/scan_records.h"
#include "tool/icap_client/session_timing.h"

#include <gtest/gtest.h>

namespace {

using namespace icap::client;

TEST(ScanRecords, WaitThirtySecondsForAnAnswerUnlessSet)
{
    EXPECT_EQ(scan_mail{}.timeout, 30000U);
    EXPECT_EQ(scan_health{}.timeout, 30000U);
    EXPECT_EQ(scan_object{}.timeout, 30000U);
    EXPECT_EQ(scan_http_request{}.timeout, 30000U);
    EXPECT_EQ(scan_http_response{}.timeout, 30000U);
    EXPECT_EQ(scan_certificate{}.timeout, 30000U);
}

template <class Record>
class ScanRecordOfAProcess : public testing::Test
{};

using records_of_a_process = testing::Types<scan_mail, scan_http_request, scan_http_response, scan_certificate>;
TYPED_TEST_SUITE(ScanRecordOfAProcess, records_of_a_process);

TYPED_TEST(ScanRecordOfAProcess, NamesNoneUnlessSet)
{
    const TypeParam record;
    EXPECT_EQ(record.process_id, 0U);
    EXPECT_EQ(record.process_name, "");
    if constexpr (requires { record.session_id; }) {
        EXPECT_EQ(record.session_id, 0U);
    }
}

TEST(ScanRecords, OfHttpAreOfNoSecureConnectionAndHaveNoMessageUnlessSet)
{
    EXPECT_EQ(scan_http_request{}.https, 0U);
    EXPECT_EQ(scan_http_request{}.request, nullptr);
    EXPECT_EQ(scan_http_response{}.https, 0U);
    EXPECT_EQ(scan_http_response{}.request, nullptr);
    EXPECT_EQ(scan_http_response{}.response, nullptr);
}

TEST(ScanRecords, OfAMailAreOfABodyUnlessSet)
{
    EXPECT_EQ(scan_mail{}.type, content_type::body);
}

TEST(SessionTiming, WaitsThirtySecondsForOptionsAndLooksAtAClosingSocketTwentyTimesASecond)
{
    EXPECT_EQ(session_timing{}.options_answer, 30000U);
    EXPECT_EQ(session_timing{}.release_poll, 50U);
}

} // namespace
