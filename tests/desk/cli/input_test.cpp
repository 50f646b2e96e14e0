#include "tests/desk/cli/cli_fixture.h"
#include "tests/desk/cli/standard_input_posix.h"

#include <gmock/gmock.h>

#include <future>
#include <sys/stat.h>

namespace host::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const std::string first_mail = "Subject: one\n\nFirst.\n";
const std::string second_mail = "Subject: two\n\nSecond.\n";
const std::string mailbox = "From a@example.com Mon Mar 11 16:42:10 2024\n" + first_mail +
                            "\nFrom b@example.com Mon Mar 11 16:43:10 2024\n" + second_mail;

/// Returns the names of the files in the lines of --json, relative to `folder`.
std::vector<std::string> files_of(const command_result& result, const std::filesystem::path& folder = "")
{
    std::vector<std::string> names;
    for (const auto& line : result.json()) {
        const std::filesystem::path file = line["file"].get<std::string>();
        names.push_back(folder.empty() ? file.string() : file.lexically_relative(folder).generic_string());
    }
    return names;
}

class Input : public testing::Test
{
protected:
    /// Runs the command while `text` is written to a named pipe, which is its last argument.
    command_result with_pipe(std::vector<std::string> arguments, const std::string& text)
    {
        const auto pipe = folder.path() / ("pipe" + std::to_string(++pipes));
        EXPECT_EQ(0, ::mkfifo(pipe.c_str(), 0600));
        const auto written = std::async(std::launch::async, [&] { std::ofstream(pipe, std::ios::binary) << text; });
        arguments.push_back(pipe.string());
        return command(arguments);
    }
    void write(const std::string& name, const std::string& text) const
    {
        std::filesystem::create_directories((folder.path() / name).parent_path());
        folder.write(name, text);
    }

    temporary_folder folder;
    int pipes = 0;
};

TEST_F(Input, OfOpenIsAMessageOrAMailboxOnStandardInput)
{
    {
        const standard_input_text input(first_mail);
        const auto result = command({"open", "--json", "-"});
        EXPECT_EQ(0, result.status) << result.err;
        EXPECT_THAT(files_of(result), ElementsAre("-"));
        EXPECT_EQ("one", result.json().at(0)["before"]["subject"]);
    }
    const standard_input_text input(mailbox);
    const auto saved = folder.path() / "saved";
    const auto result = command({"open", "--json", "--save", saved.string(), "-"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_THAT(files_of(result), ElementsAre("-#1", "-#2"));
    EXPECT_TRUE(std::filesystem::exists(saved / "standard-input-2.eml"));
}

TEST_F(Input, OfOpenIsReadOnceWhateverTheNumberOfOpenings)
{
    const standard_input_text input(first_mail);
    EXPECT_THAT(files_of(command({"open", "--json", "--times", "3", "-"})), ElementsAre("-", "-", "-"));
}

TEST_F(Input, OfOpenIsUnreadableIfStandardInputIsEmpty)
{
    const standard_input_text input("");
    const auto result = command({"open", "-"});
    EXPECT_EQ(3, result.status);
    EXPECT_THAT(result.err, testing::StartsWith("postwarden: -: "));
}

TEST_F(Input, OfOpenIsANamedPipe)
{
    const auto result = with_pipe({"open", "--json"}, mailbox);
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_THAT(files_of(result, folder.path()), ElementsAre("pipe1#1", "pipe1#2"));
}

TEST_F(Input, OfOpenIsAFolderWithThoseInItIfAsked)
{
    for (const char* name : {"b.eml", "a.eml", "inner/c.eml", "mail/cur/1.host:2,S", "mail/new/2.host"}) {
        write(name, first_mail);
    }
    const auto path = folder.path().string();
    EXPECT_THAT(files_of(command({"open", "--json", path}), folder.path()), ElementsAre("a.eml", "b.eml"));
    EXPECT_THAT(files_of(command({"open", "--json", "--recursive", path}), folder.path()),
                ElementsAre("a.eml", "b.eml", "inner/c.eml", "mail/cur/1.host:2,S", "mail/new/2.host"));
}

TEST_F(Input, MayBeginWithADashAfterTwo)
{
    write("-dash.eml", first_mail);
    const auto former = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    const auto opened = command({"open", "--json", "--", "-dash.eml"});
    const auto scanned = command({"scan", "--json", "--", "-dash.eml"});
    std::filesystem::current_path(former);
    EXPECT_THAT(files_of(opened), ElementsAre("-dash.eml"));
    EXPECT_THAT(files_of(scanned), ElementsAre("-dash.eml"));
}

TEST_F(Input, OfScanIsAStream)
{
    {
        const standard_input_text input(condemned_text());
        const auto result = command({"scan", "--json", "--kind", "object", "-"});
        EXPECT_EQ(0, result.status) << result.err;
        EXPECT_THAT(files_of(result), ElementsAre("-"));
        EXPECT_EQ(2, result.json().at(0)["result"]);
    }
    const auto result = with_pipe({"scan", "--json", "--kind", "object"}, condemned_text());
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ(2, result.json().at(0)["result"]);
}

TEST_F(Input, OfScanIsAFolder)
{
    for (const char* name : {"b.pdf", "a", ".hidden", "inner/c"}) {
        write(name, "some text");
    }
    std::filesystem::create_directory(folder.path() / "inner" / "empty");
    const auto path = folder.path().string();
    EXPECT_THAT(files_of(command({"scan", "--json", path}), folder.path()), ElementsAre("a", "b.pdf"));
    EXPECT_THAT(files_of(command({"scan", "--json", "--recursive", path}), folder.path()),
                ElementsAre("a", "b.pdf", "inner/c"));
    const auto result = command({"scan", "--json", path + "/inner/empty", path + "/missing", path + "/a"});
    EXPECT_EQ(3, result.status);
    EXPECT_THAT(lines_of(result.err), ElementsAre(HasSubstr("empty: the folder holds no file"),
                                                  HasSubstr("missing: there is no such file or folder")));
    EXPECT_THAT(files_of(result, folder.path()), ElementsAre("a"));
}

TEST_F(Input, OfSettingsIsAStream)
{
    const std::string json = command({"settings", "make", "--json", folder.write("empty.json", "{}"), "-"}).out;
    {
        const standard_input_text input("{}");
        const auto blob = (folder.path() / "settings.blob").string();
        EXPECT_EQ(0, command({"settings", "make", "--json", "-", blob}).status);
        EXPECT_EQ(json, file_text(blob));
    }
    const standard_input_text input(json);
    const auto shown = command({"settings", "show", "-"});
    EXPECT_EQ(0, shown.status) << shown.err;
    EXPECT_EQ(command({"settings", "show", (folder.path() / "settings.blob").string()}).out, shown.out);
    EXPECT_EQ(shown.out, with_pipe({"settings", "show"}, json).out);
}

TEST_F(Input, OfOpenHasItsSettingsFromAStream)
{
    const auto port = closed_port();
    const standard_input_text input(R"({"ServerPort":{"value":)" + port + R"(,"isSet":true}})");
    const auto result = command({"open", "--settings", "-", folder.write("a.eml", first_mail).string()});
    EXPECT_EQ(4, result.status);
    EXPECT_THAT(result.err, HasSubstr("127.0.0.1:" + port));
}

TEST_F(Input, ShowsItsProgressOnATerminalUnlessQuiet)
{
    const auto file = folder.write("box", mailbox).string();
    EXPECT_THAT(command({"open", "--json", file}, true).err, HasSubstr("0 messages, 0 bytes of 132 bytes"));
    EXPECT_THAT(command({"scan", "--json", file}, true).err, HasSubstr("0 of 1 files, 0 bytes of 132 bytes"));
    EXPECT_EQ("", command({"open", "--json", "--quiet", file}, true).err);
    EXPECT_EQ("", command({"scan", "--json", "--quiet", file}, true).err);
    EXPECT_EQ("", command({"open", "--json", file}, false).err);
}

TEST_F(Input, HasVerdictsInColourIfAsked)
{
    const auto clean = folder.write("a.eml", first_mail).string();
    const auto condemned = folder.write("b.eml", "Subject: b\n\n" + condemned_text() + "\n").string();
    const auto result = command({"open", "--color", "always", clean, condemned});
    EXPECT_THAT(result.out, testing::AllOf(HasSubstr("\033[32mclean"), HasSubstr("\033[31mcondemned")));
    EXPECT_THAT(command({"scan", "--color", "always", condemned}).out, HasSubstr("\033[31mblocked\033[0m"));
    for (const char* choice : {"auto", "never"}) { // these streams are no terminals
        EXPECT_THAT(command({"open", "--color", choice, clean}).out, testing::Not(HasSubstr("\033")));
    }
}

} // namespace
} // namespace host::test
