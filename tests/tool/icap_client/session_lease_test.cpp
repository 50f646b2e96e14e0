#include "tests/tool/icap_client/fake_session.h"
#include "tool/icap_client/session_pool.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace {

using icap::client::session;
using icap::client::session_lease;

/// A pool of one session that can refuse.
class one_session_pool final : public icap::client::session_pool
{
public:
    std::shared_ptr<session> query_session() override
    {
        if (refuse_query) {
            throw std::runtime_error("no session");
        }
        ++queries;
        return only;
    }
    void release_session(std::shared_ptr<session> returned) override
    {
        ++releases;
        last = std::move(returned);
        if (refuse_release) {
            throw std::runtime_error("not taken back");
        }
    }
    void terminate() override {}

    std::shared_ptr<session> only = std::make_shared<test::fake_session>();
    std::shared_ptr<session> last;
    int queries = 0;
    int releases = 0;
    bool refuse_query = false;
    bool refuse_release = false;
};

TEST(SessionLease, HoldsASessionForItsScopeAndReturnsIt)
{
    const auto pool = std::make_shared<one_session_pool>();
    {
        const session_lease lease(pool);
        EXPECT_EQ(&*lease, pool->only.get());
        EXPECT_EQ(lease->idle(), 0U);
        EXPECT_EQ(pool->releases, 0);
    }
    EXPECT_EQ(pool->queries, 1);
    EXPECT_EQ(pool->releases, 1);
    EXPECT_EQ(pool->last, pool->only);
}

TEST(SessionLease, KeepsThePoolAlive)
{
    auto pool = std::make_shared<one_session_pool>();
    const std::weak_ptr<one_session_pool> watch = pool;
    {
        const session_lease lease(pool);
        pool.reset();
        EXPECT_FALSE(watch.expired());
    }
    EXPECT_TRUE(watch.expired());
}

TEST(SessionLease, LetsTheQuerysErrorPassAndReturnsNothing)
{
    const auto pool = std::make_shared<one_session_pool>();
    pool->refuse_query = true;
    EXPECT_THROW(const session_lease lease(pool), std::runtime_error);
    EXPECT_EQ(pool->releases, 0);
}

TEST(SessionLease, RaisesWhatTheReleaseRaises)
{
    const auto pool = std::make_shared<one_session_pool>();
    pool->refuse_release = true;
    try {
        const session_lease lease(pool);
    } catch (const std::runtime_error& problem) {
        EXPECT_STREQ(problem.what(), "not taken back");
        return;
    }
    FAIL() << "nothing was raised";
}

TEST(SessionLease, LetsAnotherExceptionGoOn)
{
    const auto pool = std::make_shared<one_session_pool>();
    pool->refuse_release = true;
    try {
        const session_lease lease(pool);
        throw std::logic_error("the first one");
    } catch (const std::logic_error& problem) {
        EXPECT_STREQ(problem.what(), "the first one");
    }
    EXPECT_EQ(pool->releases, 1);
}

/// Takes a lease while another exception is in flight.
class leases_in_destructor
{
public:
    leases_in_destructor(std::shared_ptr<one_session_pool> pool, std::string& heard)
        : pool_(std::move(pool))
        , heard_(heard)
    {}
    leases_in_destructor(const leases_in_destructor&) = delete;
    leases_in_destructor& operator=(const leases_in_destructor&) = delete;
    ~leases_in_destructor()
    {
        try {
            const session_lease lease(pool_);
        } catch (const std::runtime_error& problem) {
            heard_ = problem.what();
        }
    }

private:
    std::shared_ptr<one_session_pool> pool_;
    std::string& heard_;
};

TEST(SessionLease, StillRaisesWhenItWasTakenDuringAnUnwinding)
{
    const auto pool = std::make_shared<one_session_pool>();
    pool->refuse_release = true;
    std::string heard;
    try {
        const leases_in_destructor cleanup(pool, heard);
        throw std::logic_error("unwinding");
    } catch (const std::logic_error&) {
        EXPECT_EQ(heard, "not taken back");
    }
}

} // namespace
