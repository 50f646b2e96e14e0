#include "service/configuration/reloader.h"
#include "service/metrics/metrics.h"
#include "tests/support/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <string>

namespace reloader_test {

using testing::HasSubstr;

/// A server that runs with a file of options and a log.
class reloader : public testing::Test
{
protected:
    void start()
    {
        const service::configuration current = reader_.read();
        log_ = std::make_unique<logging::scoped_output>(current.values.log_file, current.values.log_level);
        server_.emplace(current.values.server);
        server_->start();
        reloader_.emplace(
            reader_, current, [this](service::server_options&) { meanwhile_(); }, *server_, log_);
    }
    /// Writes a file of options with that log and an existing template.
    void configure(const std::string& log) const
    {
        folder_.write("notice.html", "<p>page</p>");
        folder_.write("service.conf", "notice = '" + path("notice.html") + "'\nlog = '" + path(log) + "'\n");
    }
    [[nodiscard]] std::string path(const std::string& name) const { return (folder_.path() / name).string(); }
    [[nodiscard]] std::string contents_of(const std::string& name) const
    {
        std::ifstream input(folder_.path() / name);
        return {std::istreambuf_iterator<char>(input), std::istreambuf_iterator<char>()};
    }

    host::test::temporary_folder folder_;
    service::configuration_reader reader_{{"--config", path("service.conf")},
                                          [](const std::string&) { return std::optional<std::string>(); }};
    std::unique_ptr<logging::scoped_output> log_;
    std::optional<service::scan_server> server_;
    std::function<void()> meanwhile_ = [] {}; ///< is called once the options have been checked
    std::optional<service::reloader> reloader_;
};

TEST_F(reloader, keeps_the_log_if_the_template_vanishes_behind_the_check)
{
    configure("former.log");
    start();
    configure("other.log");
    meanwhile_ = [this] { std::filesystem::remove(path("notice.html")); };
    reloader_->reload();
    EXPECT_THAT(contents_of("former.log"), HasSubstr("the configuration was not read again: the notice "));
    EXPECT_EQ(contents_of("other.log"), "");
    EXPECT_EQ(server_->metrics().reloads_rejected.value(), 1U);
    // With the template, the other log is used.
    configure("other.log");
    meanwhile_ = [] {};
    reloader_->reload();
    EXPECT_THAT(contents_of("other.log"), HasSubstr("the configuration was read again: log\n"));
    EXPECT_EQ(server_->metrics().reloads_applied.value(), 1U);
}

TEST_F(reloader, changes_nothing_if_the_log_cannot_be_opened)
{
    configure("former.log");
    start();
    configure("other.log");
    meanwhile_ = [this] { std::filesystem::create_directory(path("other.log")); };
    reloader_->reload();
    EXPECT_THAT(contents_of("former.log"), HasSubstr("the configuration was not read again: "));
    EXPECT_EQ(server_->metrics().reloads_rejected.value(), 1U);
}

} // namespace reloader_test
