#include "mail/inputs/byte_stream.h"
#include "tests/mail/inputs/stream_text.h"
#include "tests/support/temporary_folder.h"

#include <platform/handles.h>

#include <gtest/gtest.h>

#include <future>

namespace host::test {
namespace {

class PipeOfWindows : public testing::TestWithParam<DWORD>
{
protected:
    /// Writes each text at once, and closes the pipe when all were read.
    void write(const std::vector<std::string>& texts)
    {
        for (const std::string& text : texts) {
            DWORD written = 0;
            EXPECT_TRUE(WriteFile(server.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr));
        }
        FlushFileBuffers(server.get());
        server = winapi::file_handle();
    }

    std::wstring name = L"\\\\.\\pipe\\postwarden-test-" + std::to_wstring(GetCurrentProcessId());
    winapi::file_handle server{CreateNamedPipeW(name.c_str(), PIPE_ACCESS_OUTBOUND, GetParam() | PIPE_READMODE_BYTE, 1,
                                                4096, 4096, 0, nullptr)};
};

TEST_P(PipeOfWindows, IsReadToItsEnd)
{
    ASSERT_TRUE(server);
    const auto stream = open_stream(name, {});
    EXPECT_FALSE(stream->is_regular());
    const auto written = std::async(std::launch::async, [this] { write({"some te", "xt that is longer"}); });
    EXPECT_EQ("some text that is longer", text_of(*stream));
}

INSTANTIATE_TEST_SUITE_P(OfEachType, PipeOfWindows, testing::Values(PIPE_TYPE_BYTE, PIPE_TYPE_MESSAGE));

TEST(ByteStream, OfAFileOfWindowsIsTheFile)
{
    const temporary_folder folder;
    const auto stream = open_stream(folder.write("a", "some longer text"), {});
    EXPECT_TRUE(stream->is_regular());
    EXPECT_EQ("some longer text", text_of(*stream));
}

TEST(ByteStream, ThatCannotBeOpenedOnWindowsHasAReason)
{
    const temporary_folder folder;
    for (const auto& path : {folder.path() / "missing", folder.path()}) {
        try {
            open_stream(path, {});
            ADD_FAILURE() << path;
        } catch (const std::runtime_error& failure) {
            EXPECT_STRNE("", failure.what());
        }
    }
}

} // namespace
} // namespace host::test
