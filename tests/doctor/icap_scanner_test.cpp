#include "doctor/icap_scanner.h"
#include "service/scan_server.h"
#include "tests/doctor/findings.h"
#include "tests/support/scripted_peer.h"

#include <functional>
#include <stdexcept>

namespace icap_scanner_test {

using namespace doctor;
using namespace std::chrono_literals;

constexpr auto long_enough = 60s;

std::string antivirus_test_file()
{
    return std::string("X5O!P%@AP[4\\PZX54(P^)7CC)7}$EICAR-STANDARD-").append("ANTIVIRUS-TEST-FILE!$H+H*");
}

/// Returns what is thrown.
std::string failure_of(const std::function<void()>& call)
{
    try {
        call();
        return "none";
    } catch (const std::exception& failure) {
        return failure.what();
    }
}

class icap_scans : public testing::Test
{
protected:
    void SetUp() override
    {
        options.preview = 1024;
        server = std::make_unique<service::scan_server>(options);
        server->start();
    }
    [[nodiscard]] icap_scanner scanner_of(const std::string& uri) const
    {
        return {{"127.0.0.1", server->port()}, uri, long_enough};
    }

    service::server_options options;
    std::unique_ptr<service::scan_server> server;
};

TEST_F(icap_scans, read_the_options)
{
    const options_answer answer = scanner_of("webscan").options();
    EXPECT_THAT(answer.methods, testing::IsSupersetOf({"REQMOD", "RESPMOD"}));
    EXPECT_EQ(answer.preview, 1024U);
    EXPECT_THAT(answer.istag, testing::HasSubstr("builtin-"));
}

TEST_F(icap_scans, receive_verdicts)
{
    icap_scanner scanner = scanner_of("webscan");
    const object_answer clean = scanner.judge("a.txt", "a harmless text");
    EXPECT_TRUE(clean.answered);
    EXPECT_EQ(clean.result, ScanResult::Clean);
    EXPECT_EQ(clean.threat, "");
    const object_answer condemned = scanner.judge("a.txt", antivirus_test_file());
    EXPECT_TRUE(condemned.answered);
    EXPECT_EQ(condemned.result, ScanResult::Blocked);
    EXPECT_EQ(condemned.threat, "EICAR-Test-File");
}

TEST_F(icap_scans, fail_at_another_path)
{
    EXPECT_THAT(failure_of([&] { (void)scanner_of("other").options(); }), testing::StartsWith("OPTIONS was refused"));
}

TEST_F(icap_scans, have_the_refusal_in_words)
{
    icap_scanner scanner = scanner_of("webscan");
    server->stop();
    EXPECT_EQ(failure_of([&] { (void)scanner.options(); }), "connection refused: no program listens there");
    EXPECT_EQ(failure_of([&] { (void)scanner.judge("a", "text"); }), "connection refused: no program listens there");
}

TEST(icap_scans_of_a_silent_peer, end_in_time)
{
    // The first connection of each question only looks whether the port is open.
    test::scripted_peer peer({test::conversation(), test::conversation().wait()});
    icap_scanner scanner({"127.0.0.1", peer.port()}, "webscan", 50ms);
    EXPECT_EQ(failure_of([&] { (void)scanner.options(); }), "OPTIONS was not answered within 50 ms");
    peer.release();
}

} // namespace icap_scanner_test
