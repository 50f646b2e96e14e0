#include "service/presence/namespace_holder.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using presence::namespace_holder;
using presence::object_handle;

/// Replacements for the system's functions that record open handles and fail on request.
class NamespaceHolder : public ::testing::Test
{
protected:
    std::string failing;
    std::vector<std::string> calls;
    int boundaries = 0;
    int namespaces = 0;
    int mutexes = 0;
    presence::namespace_functions functions = make();

    [[nodiscard]] std::string refusal() const
    {
        try {
            const namespace_holder holder(functions);
        } catch (const std::runtime_error& failure) {
            return failure.what();
        }
        return {};
    }

private:
    /// Names the two accounts by the identifiers as the system lays them out.
    static std::string account_of(const presence::sid& identifier)
    {
        if (identifier == presence::sid{{1, 1, 0, 0, 0, 0, 0, 5, 18, 0, 0, 0}}) {
            return "system";
        }
        return identifier == presence::sid{{1, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0}} ? "everyone" : "a stranger";
    }
    bool done(const std::string& call)
    {
        calls.push_back(call);
        return call != failing;
    }
    object_handle open(bool worked, int& count)
    {
        count += worked ? 1 : 0;
        return worked ? &count : nullptr;
    }
    presence::namespace_functions make()
    {
        presence::namespace_functions made;
        made.CreateBoundaryDescriptorW = [this](const wchar_t* name, std::uint32_t) {
            EXPECT_STREQ(name, presence::boundary_name);
            return open(done("boundary"), boundaries);
        };
        made.DeleteBoundaryDescriptor = [this](object_handle) { --boundaries; };
        made.AddSIDToBoundaryDescriptor = [this](object_handle&, const presence::sid& added) {
            return done(account_of(added));
        };
        made.CreatePrivateNamespaceW = [this](const wchar_t* security, object_handle, const wchar_t* alias) {
            EXPECT_STREQ(security, L"D:(A;;GA;;;SY)(A;;GRGX;;;WD)");
            EXPECT_STREQ(alias, L"TRAL");
            return open(done("namespace"), namespaces);
        };
        made.ClosePrivateNamespace = [this](object_handle, std::uint32_t flags) {
            EXPECT_EQ(flags, 0U);
            EXPECT_EQ(mutexes, 0) << "the mutex goes first";
            --namespaces;
            return true;
        };
        made.CreateMutexW = [this](const wchar_t* security, const wchar_t* name) {
            EXPECT_STREQ(security, L"D:(A;;GA;;;SY)(A;;0x100000;;;WD)");
            EXPECT_STREQ(name, L"TRAL\\ServiceMutex");
            return open(done("mutex"), mutexes);
        };
        made.CloseHandle = [this](object_handle) { --mutexes; };
        made.GetLastError = [] { return 5U; };
        return made;
    }
};

TEST_F(NamespaceHolder, HoldsTheMutexInItsNamespaceWhileItLives)
{
    {
        const namespace_holder holder(functions);
        EXPECT_EQ(calls, (std::vector<std::string>{"boundary", "system", "everyone", "namespace", "mutex"}));
        EXPECT_EQ(boundaries, 0);
        EXPECT_EQ(namespaces, 1);
        EXPECT_EQ(mutexes, 1);
    }
    EXPECT_EQ(namespaces, 0);
    EXPECT_EQ(mutexes, 0);
}

TEST_F(NamespaceHolder, SaysWhatCannotBeMadeAndLeavesNothingBehind)
{
    const std::string beginning = "the presence cannot be shown: ";
    const std::string end = " cannot be made: error code 5";
    const std::vector<std::pair<std::string, std::string>> failures{
        {"boundary", "the boundary of the service's namespace"},
        {"system", "the service's namespace"},
        {"everyone", "the service's namespace"},
        {"namespace", "the service's namespace"},
        {"mutex", "the service's mutex"}};
    for (const auto& [call, what] : failures) {
        failing = call;
        EXPECT_EQ(refusal(), beginning + what + end);
        EXPECT_EQ(boundaries + namespaces + mutexes, 0) << call;
    }
}

TEST_F(NamespaceHolder, SaysThatTheSystemHasNoPrivateNamespaces)
{
    const auto whole = functions;
    const std::string expected = "the presence cannot be shown: this system has no private namespaces";
    functions.CreateBoundaryDescriptorW = nullptr;
    EXPECT_EQ(refusal(), expected);
    functions = whole;
    functions.DeleteBoundaryDescriptor = nullptr;
    EXPECT_EQ(refusal(), expected);
    functions = whole;
    functions.AddSIDToBoundaryDescriptor = nullptr;
    EXPECT_EQ(refusal(), expected);
    functions = whole;
    functions.CreatePrivateNamespaceW = nullptr;
    EXPECT_EQ(refusal(), expected);
    functions = whole;
    functions.ClosePrivateNamespace = nullptr;
    EXPECT_EQ(refusal(), expected);
    EXPECT_TRUE(calls.empty());
}

} // namespace
