#include "service/manager/commands.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace commands_test {

using testing::HasSubstr;

class commands : public testing::Test
{
protected:
    std::optional<int> run(const std::vector<std::wstring>& arguments)
    {
        out.str("");
        errors.str("");
        const auto check = [this](const std::vector<std::wstring>& options) {
            checked.push_back(options);
            return problems;
        };
        return manager::run_command(arguments, check, out, errors);
    }

    std::vector<std::string> problems{"a problem", "another one"};
    std::vector<std::vector<std::wstring>> checked;
    std::ostringstream out;
    std::ostringstream errors;
};

TEST_F(commands, are_first_arguments_only)
{
    EXPECT_EQ(run({}), std::nullopt);
    EXPECT_EQ(run({L"run", L"install"}), std::nullopt);
    EXPECT_EQ(run({L"--port", L"install"}), std::nullopt);
    EXPECT_EQ(run({L"Install"}), std::nullopt);
    EXPECT_EQ(out.str() + errors.str(), "");
}

TEST_F(commands, install_nothing_if_an_option_is_wrong)
{
    EXPECT_EQ(run({L"install", L"--name", L"a name", L"--port", L"x", L"--name", L"of the service"}), 2);
    EXPECT_EQ(errors.str(), "postwarden-service: a problem\nanother one\n");
    EXPECT_EQ(out.str(), "");
    EXPECT_EQ(checked.back(), (std::vector<std::wstring>{L"--port", L"x", L"--name", L"of the service"}));
    EXPECT_EQ(run({L"install", L"--name=a name", L"--uri=x"}), 2);
    EXPECT_EQ(checked.back(), std::vector<std::wstring>{L"--uri=x"});
}

TEST_F(commands, refuse_names_that_are_none)
{
    for (const std::vector<std::wstring>& name : {std::vector<std::wstring>{L"--name"},
                                                  {L"--name="},
                                                  {L"--name", L"a\\b"},
                                                  {L"--name", L"a/b"},
                                                  {L"--names", L"x"}}) {
        for (const wchar_t* const word : {L"install", L"remove", L"start", L"stop", L"reload"}) {
            std::vector<std::wstring> arguments{word};
            arguments.insert(arguments.end(), name.begin(), name.end());
            EXPECT_EQ(run(arguments), 2);
            EXPECT_EQ(errors.str(), "postwarden-service: --name NAME: the name of a service, without / and \\\n");
        }
    }
    EXPECT_TRUE(checked.empty());
}

TEST_F(commands, of_an_installed_service_have_no_options)
{
    EXPECT_EQ(run({L"start", L"--name", L"x", L"--port", L"1"}), 2);
    EXPECT_THAT(errors.str(), HasSubstr("--port is no option of this command"));
}

TEST_F(commands, name_a_service_that_does_not_exist)
{
    for (const wchar_t* const word : {L"remove", L"start", L"stop", L"reload"}) {
        EXPECT_EQ(run({word, L"--name", L"postwarden-none"}), 1);
        EXPECT_EQ(errors.str(), "postwarden-service: the service postwarden-none does not exist\n");
    }
}

} // namespace commands_test
