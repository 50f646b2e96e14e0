#include "doctor/scan_rows.h"
#include "tests/doctor/findings.h"

#include <set>
#include <stdexcept>

namespace scan_rows_test {

using namespace doctor;
using namespace std::chrono_literals;

/// Answers what the test specifies, and records what it was asked.
struct stand_in final : scanner
{
    options_answer announced{{"REQMOD", "", "RESPMOD"}, 0, "\"farm-1\""};
    object_answer clean{true, ScanResult::Clean, "", 3ms};
    object_answer test{true, ScanResult::Blocked, "Test-File", 7ms};
    std::string failure; ///< of every call
    int asked = 0;
    std::set<std::string> objects; ///< names and bytes

    options_answer options() override
    {
        call();
        return announced;
    }
    object_answer judge(const std::string& name, const std::string& bytes) override
    {
        call();
        objects.insert(name + "/" + bytes);
        return bytes.find("ANTIVIRUS-TEST-FILE") == std::string::npos ? clean : test;
    }

private:
    void call()
    {
        ++asked;
        if (!failure.empty()) {
            throw std::runtime_error(failure);
        }
    }
};

class scans : public testing::Test
{
protected:
    std::shared_ptr<stand_in> service = std::make_shared<stand_in>();
    scan_rows rows{service, 500ms};
};

TEST_F(scans, are_ok_if_the_service_judges)
{
    EXPECT_THAT(rows.options(), is_finding(row_state::ok, "methods REQMOD, RESPMOD; preview 0; ISTag \"farm-1\"", ""));
    EXPECT_THAT(rows.clean_object(), is_finding(row_state::ok, "passed in 3 ms", ""));
    EXPECT_THAT(rows.test_object(), is_finding(row_state::ok, "condemned as Test-File in 7 ms", ""));
    EXPECT_THAT(rows.verdict_time(), is_finding(row_state::ok, "7 ms", ""));
}

TEST_F(scans, have_the_reason_of_a_service_that_does_not_answer)
{
    service->failure = "connection refused";
    EXPECT_THAT(rows.clean_object(), is_finding(row_state::failed, "connection refused", "Start the scanning service"));
    EXPECT_THAT(rows.test_object(), is_finding(row_state::failed, "connection refused", "Start the scanning service"));
    EXPECT_THAT(rows.options(), is_finding(row_state::failed, "connection refused", "Start the scanning service"));
}

TEST_F(scans, do_not_wait_again_for_a_service_that_gave_no_options)
{
    service->failure = "no answer";
    (void)rows.options();
    EXPECT_EQ(service->asked, 1);
    for (const finding& result : {rows.clean_object(), rows.test_object(), rows.engines()}) {
        EXPECT_THAT(result, is_finding(row_state::failed, "OPTIONS was not answered", "row options"));
    }
    EXPECT_THAT(rows.verdict_time(), is_finding(row_state::failed, "no verdict", "clean-object"));
    EXPECT_EQ(service->asked, 1);
}

TEST_F(scans, notice_another_service_by_its_options)
{
    service->announced = {{"RESPMOD"}, 0, "\"farm-1\""};
    EXPECT_THAT(rows.options(), is_finding(row_state::failed, "methods RESPMOD", "check port and path"));
    service->announced = {{}, 0, "\"farm-1\""};
    EXPECT_THAT(rows.options(), is_finding(row_state::failed, "methods none", "check port and path"));
    service->announced = {{"REQMOD"}, 1024, ""};
    EXPECT_THAT(rows.options(), is_finding(row_state::warning, "preview 1024; ISTag none", "ISTag"));
}

TEST_F(scans, fail_if_a_clean_object_does_not_pass)
{
    service->clean = {true, ScanResult::Blocked, "Everything", 1ms};
    EXPECT_THAT(rows.clean_object(), is_finding(row_state::failed, "condemned, as Everything", "condemns honest mail"));
    service->clean = {true, ScanResult::Repaired, "", 1ms};
    EXPECT_THAT(rows.clean_object(), is_finding(row_state::failed, "condemned", "condemns honest mail"));
    service->clean = {true, ScanResult::Blocked, "Unchecked.NoEngine", 1ms};
    EXPECT_THAT(rows.clean_object(), is_finding(row_state::failed, "without a verdict, as Unchecked", "row engines"));
    service->clean = {true, ScanResult::Blocked, "Blocked.Type", 1ms};
    EXPECT_THAT(rows.clean_object(), is_finding(row_state::failed, "Blocked.Type", "--block-type"));
    service->clean = {false, ScanResult::None, "", 1ms};
    EXPECT_THAT(rows.clean_object(), is_finding(row_state::failed, "no verdict", "row engines"));
}

TEST_F(scans, fail_if_the_test_object_passes)
{
    service->test = {true, ScanResult::Clean, "", 1ms};
    EXPECT_THAT(rows.test_object(), is_finding(row_state::failed, "not condemned", "--ignore-threat"));
    service->test = {true, ScanResult::Repaired, "Test-File", 1ms};
    EXPECT_THAT(rows.test_object(), is_finding(row_state::failed, "not condemned", "--ignore-threat"));
    service->test = {true, ScanResult::Blocked, "Unchecked.Timeout", 1ms};
    EXPECT_THAT(rows.test_object(), is_finding(row_state::failed, "without a verdict", "row engines"));
    service->test = {true, ScanResult::Blocked, "Blocked.Name", 1ms};
    EXPECT_THAT(rows.test_object(), is_finding(row_state::failed, "without a verdict", "row engines"));
    service->test = {false, ScanResult::None, "", 1ms};
    EXPECT_THAT(rows.test_object(), is_finding(row_state::failed, "no verdict", "row engines"));
}

TEST_F(scans, warn_of_slow_verdicts)
{
    service->clean.spent = 500ms;
    (void)rows.clean_object();
    (void)rows.test_object();
    EXPECT_THAT(rows.verdict_time(), is_finding(row_state::warning, "500 ms", "slow"));
}

TEST_F(scans, measure_a_verdict_if_no_other_row_did)
{
    service->clean.spent = 499ms;
    EXPECT_THAT(rows.verdict_time(), is_finding(row_state::ok, "499 ms", ""));
    EXPECT_EQ(service->asked, 1);
}

TEST_F(scans, send_objects_whose_verdict_is_not_known)
{
    for (int i = 0; i < 3; ++i) {
        (void)rows.clean_object();
        (void)rows.test_object();
    }
    EXPECT_EQ(service->objects.size(), 6U);
}

TEST_F(scans, take_the_engine_from_the_tag)
{
    EXPECT_THAT(rows.engines(), is_finding(row_state::not_applicable, "\"farm-1\"; --metrics-port", ""));
    service->announced.istag = "\"builtin-12\"";
    (void)rows.options();
    EXPECT_THAT(rows.engines(), is_finding(row_state::warning, "builtin only", "--engine"));
    service->announced.istag = "";
    (void)rows.options();
    EXPECT_THAT(rows.engines(), is_finding(row_state::not_applicable, "no ISTag", ""));
}

} // namespace scan_rows_test
