#include "desk/report/report_figures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace host::test {
namespace {

using testing::HasSubstr;
using testing::Not;

TEST(Outcomes, FollowTheResultTheVerdictAndTheAnswers)
{
    struct judged_as
    {
        const char* words;
        std::int32_t verdict;
        answer_state body = answer_state::scanned;
        HRESULT result = S_OK;
    };
    constexpr answer_state missing = answer_state::no_answer;
    for (const judged_as& expected : {judged_as{"not judged", 0},
                                      {"clean", 1},
                                      {"condemned", 2},
                                      {"repaired", 3},
                                      {"not judged", 77},
                                      {"no answer", 77, missing},
                                      {"no answer", 1, missing},
                                      {"condemned", 2, missing},
                                      {"repaired", 3, missing},
                                      {"check failed", 2, missing, E_FAIL}}) {
        opening given;
        given.verdict = static_cast<ScanResult>(expected.verdict);
        given.answers.body.state = expected.body;
        given.result = expected.result;
        EXPECT_EQ(expected.words, outcome_words(outcome_of(given))) << expected.verdict;
    }
}

TEST(Figures, HaveABarWithTheShareOfEachOutcome)
{
    report_figures figures;
    EXPECT_EQ("", figures.bar());
    figures.count(outcome::clean);
    figures.count(outcome::clean);
    figures.count(outcome::clean);
    figures.count(outcome::condemned);
    EXPECT_EQ(4U, figures.rows());
    EXPECT_THAT(figures.bar(), HasSubstr("<title>3 clean, 1 condemned</title>"));
    EXPECT_THAT(figures.bar(), HasSubstr("<rect class=c x=0 width=7475 height=10>"));
    EXPECT_THAT(figures.bar(), HasSubstr("<rect class=x x=7500 width=2500 height=10>"));
    EXPECT_THAT(figures.bar(), Not(HasSubstr("repaired")));
}

TEST(Figures, ShowTheSmallestShare)
{
    report_figures figures;
    for (int i = 0; i < 100000; ++i) {
        figures.count(outcome::clean);
    }
    figures.count(outcome::failed);
    EXPECT_THAT(figures.bar(), HasSubstr("<rect class=f x=9925 width=75 "));
    figures.count(outcome::condemned);
    EXPECT_THAT(figures.bar(), HasSubstr("<rect class=c x=0 width=9825 height=10></rect><rect class=x x=9850 width=50 "
                                         "height=10></rect><rect class=f x=9925 width=75 "));
}

TEST(Durations, AreCountedInSteps)
{
    duration_steps steps;
    EXPECT_EQ("", steps.chart());
    for (const std::uint64_t milliseconds : {1U, 2U, 3U, 900U, 5000U}) {
        steps.add(milliseconds);
    }
    EXPECT_EQ(5000U, steps.longest());
    EXPECT_EQ(5906U, steps.total());
    EXPECT_THAT(steps.chart(), HasSubstr("<title>Openings by duration: 1 ms: 1, 2–3 ms: 2, 4–7 ms: 0, "));
    EXPECT_THAT(steps.chart(), HasSubstr("512–1023 ms: 1, from 1.0 s: 0, from 2.0 s: 0, from 4.0 s: 1</title>"));
}

TEST(Durations, HaveALongestStep)
{
    duration_steps steps;
    steps.add(~0ULL);
    steps.add(0);
    EXPECT_THAT(steps.chart(), HasSubstr("under 1 ms: 1, "));
    EXPECT_THAT(steps.chart(), HasSubstr(": 1</title>"));
}

} // namespace
} // namespace host::test
