#include "outlook/qdmailprotect/link/namespace_probe.h"
#include "tests/support/log_capture.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using texts = std::vector<std::string>;
using test::log_record;

/// System functions that record their calls and fail if the test requires it.
class NamespaceProbeTest : public ::testing::Test
{
protected:
    texts calls;
    std::string failing; ///< the call that fails
    presence::namespace_functions functions = make();
    test::log_capture log;

    [[nodiscard]] bool is_present() { return NamespaceProbe(functions).IsServicePresent(); }
    [[nodiscard]] std::vector<log_record> only(const texts& expected) const
    {
        std::vector<log_record> records;
        for (const auto& text : expected) {
            records.push_back({200, "outlook", text});
        }
        return records;
    }

private:
    bool note(const std::string& call)
    {
        calls.push_back(call);
        return call != failing;
    }
    static std::string narrow(const wchar_t* text)
    {
        std::string result;
        for (; *text; ++text) {
            result.push_back(static_cast<char>(*text));
        }
        return result;
    }
    static presence::object_handle handle(std::uintptr_t number)
    {
        return reinterpret_cast<presence::object_handle>(number); // NOLINT(performance-no-int-to-ptr)
    }
    static std::string shown(presence::object_handle object)
    {
        return std::to_string(reinterpret_cast<std::uintptr_t>(object));
    }
    static std::string shown(const presence::sid& identity)
    {
        std::string text = "S-" + std::to_string(identity.bytes[0]) + "-" + std::to_string(identity.bytes[7]);
        EXPECT_EQ(identity.bytes[1], 1) << "one subauthority";
        return text + "-" + std::to_string(identity.bytes[8]);
    }
    presence::namespace_functions make()
    {
        presence::namespace_functions made;
        made.CreateBoundaryDescriptorW = [this](const wchar_t* name, std::uint32_t flags) {
            return note("boundary " + narrow(name) + " " + std::to_string(flags)) ? handle(1) : nullptr;
        };
        made.DeleteBoundaryDescriptor = [this](presence::object_handle descriptor) {
            note("delete " + shown(descriptor));
        };
        made.AddSIDToBoundaryDescriptor = [this](presence::object_handle& descriptor, const presence::sid& added) {
            const bool done = note("add " + shown(added) + " to " + shown(descriptor));
            descriptor = handle(reinterpret_cast<std::uintptr_t>(descriptor) + 1); // the system may move it
            return done;
        };
        made.OpenPrivateNamespaceW = [this](presence::object_handle descriptor, const wchar_t* alias) {
            return note("open " + narrow(alias) + " by " + shown(descriptor)) ? handle(10) : nullptr;
        };
        made.ClosePrivateNamespace = [this](presence::object_handle space, std::uint32_t flags) {
            return note("close namespace " + shown(space) + " " + std::to_string(flags));
        };
        made.OpenMutexW = [this](std::uint32_t access, bool inherit, const wchar_t* name) {
            return note("mutex " + narrow(name) + " " + std::to_string(access) + (inherit ? " inherited" : ""))
                       ? handle(20)
                       : nullptr;
        };
        made.CloseHandle = [this](presence::object_handle object) { note("close " + shown(object)); };
        return made;
    }
};

const texts to_the_namespace{"boundary g004213BE_CFF9_4BE9_AC4D_0B99C1FD766D 0", "add S-1-5-18 to 1",
                             "add S-1-1-0 to 2", "open TRAL by 3", "delete 3"};

TEST_F(NamespaceProbeTest, FindsTheMutexAndClosesItAtOnce)
{
    EXPECT_TRUE(is_present());
    texts expected = to_the_namespace;
    expected.insert(expected.end(), {"mutex TRAL\\ServiceMutex 1048576", "close 20", "close namespace 10 0"});
    EXPECT_EQ(calls, expected);
    EXPECT_EQ(log.lines(), only({}));
}

TEST_F(NamespaceProbeTest, SaysNoWithoutALineWhenOnlyTheMutexIsMissing)
{
    failing = "mutex TRAL\\ServiceMutex 1048576";
    EXPECT_FALSE(is_present());
    texts expected = to_the_namespace;
    expected.insert(expected.end(), {failing, "close namespace 10 0"});
    EXPECT_EQ(calls, expected);
    EXPECT_EQ(log.lines(), only({}));
}

TEST_F(NamespaceProbeTest, SaysNoOnASystemThatLacksAnyOfTheFourFunctions)
{
    const auto whole = functions;
    for (int missing = 0; missing < 4; ++missing) {
        functions = whole;
        switch (missing) {
        case 0:
            functions.CreateBoundaryDescriptorW = nullptr;
            break;
        case 1:
            functions.DeleteBoundaryDescriptor = nullptr;
            break;
        case 2:
            functions.AddSIDToBoundaryDescriptor = nullptr;
            break;
        default:
            functions.OpenPrivateNamespaceW = nullptr;
        }
        log.clear();
        EXPECT_FALSE(is_present()) << missing;
        EXPECT_EQ(log.lines(), only({"Failed to initialize private namespace", "No private namespace"})) << missing;
        EXPECT_EQ(calls, texts{}) << missing;
    }
}

TEST_F(NamespaceProbeTest, SaysNoWithoutABoundary)
{
    failing = "boundary g004213BE_CFF9_4BE9_AC4D_0B99C1FD766D 0";
    EXPECT_FALSE(is_present());
    EXPECT_EQ(calls, (texts{failing}));
    EXPECT_EQ(log.lines(), only({"CreateBoundaryDescriptor failed", "No private namespace"}));
}

TEST_F(NamespaceProbeTest, SaysNoWhenAnIdentityCannotBeAddedAndDropsTheBoundary)
{
    failing = "add S-1-5-18 to 1";
    EXPECT_FALSE(is_present());
    EXPECT_EQ(calls, (texts{to_the_namespace[0], failing, "delete 2"}));
    EXPECT_EQ(log.lines(), only({"AddSIDToBoundaryDescriptor 1 failed", "No private namespace"}));
    calls.clear();
    log.clear();
    failing = "add S-1-1-0 to 2";
    EXPECT_FALSE(is_present());
    EXPECT_EQ(calls, (texts{to_the_namespace[0], to_the_namespace[1], failing, "delete 3"}));
    EXPECT_EQ(log.lines(), only({"AddSIDToBoundaryDescriptor 2 failed", "No private namespace"}));
}

TEST_F(NamespaceProbeTest, SaysNoWhenTheNamespaceCannotBeOpenedAndDropsTheBoundary)
{
    failing = "open TRAL by 3";
    EXPECT_FALSE(is_present());
    EXPECT_EQ(calls, to_the_namespace);
    EXPECT_EQ(log.lines(), only({"No private namespace"}));
}

TEST_F(NamespaceProbeTest, SaysNoWhenTheNamespaceCouldNotBeClosed)
{
    functions.ClosePrivateNamespace = nullptr;
    EXPECT_FALSE(is_present());
    EXPECT_EQ(calls, to_the_namespace) << "the mutex is not looked for";
    EXPECT_EQ(log.lines(), only({"Failed to initialize private namespace 2"}));
}

TEST_F(NamespaceProbeTest, OpensANamespaceOfAnyAlias)
{
    EXPECT_NE(NamespaceProbe(functions).OpenServiceNamespace(L"OTHER"), nullptr);
    EXPECT_EQ(calls.at(3), "open OTHER by 3");
}

TEST(ServiceNames, AreTheServices)
{
    using bytes = std::array<std::uint8_t, 12>;
    EXPECT_EQ(presence::local_system_sid.bytes, (bytes{1, 1, 0, 0, 0, 0, 0, 5, 18, 0, 0, 0}));
    EXPECT_EQ(presence::everyone_sid.bytes, (bytes{1, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0}));
    EXPECT_EQ(presence::synchronize_access, 0x100000U);
}

} // namespace
