// Verifies disinfection on many messages: opened by the command line, saved, and opened again.

#include "desk/copies/mail_files.h"
#include "service/engine/builtin_engine.h"
#include "service/engine/clamd_engine.h"
#include "service/scan_server.h"
#include "tests/desk/cli/cli_fixture.h"
#include "tests/end_to_end/counting_engine.h"
#include "tests/end_to_end/disinfected_message.h"
#include "tests/service/engine/clamd_daemon.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <filesystem>
#include <map>

namespace {

using host::test::command;
using host::test::temporary_folder;
using nlohmann::json;

/// A service in this process that counts its requests.
class counted_service
{
public:
    explicit counted_service(std::shared_ptr<service::scan_engine> judge)
        : engine_(std::make_shared<test::counting_engine>(std::move(judge)))
    {
        service::server_options options;
        options.custom_engine = engine_;
        server_ = std::make_unique<service::scan_server>(options);
        server_->start();
    }
    [[nodiscard]] std::string port() const { return std::to_string(server_->port()); }
    std::size_t take_count() { return engine_->take_count(); }

private:
    std::shared_ptr<test::counting_engine> engine_;
    std::unique_ptr<service::scan_server> server_;
};

void make_samples(const std::filesystem::path& folder, const std::string& arguments)
{
    const std::string make = "python3 '" SAMPLES_FOLDER "/make_samples.py' '" + folder.string() + "' " + arguments;
    ASSERT_EQ(0, std::system((make + " > /dev/null").c_str()));
}

/// Returns the openings of a folder by the names of their files, without folder and extension.
std::map<std::string, json> open_folder(const std::filesystem::path& folder, counted_service& service,
                                        std::vector<std::string> options = {})
{
    options.insert(options.begin(), {"open", "--json", "--port", service.port()});
    options.push_back(folder.string());
    const auto result = command(options);
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("", result.err);
    std::map<std::string, json> openings;
    for (const json& line : result.json()) {
        const std::filesystem::path file = line["file"].get<std::string>();
        std::string name = file.filename().string();
        name.erase(
            name.rfind(file.extension() == ".eml" || file.extension() == ".msg" ? file.extension().string() : ""));
        openings.emplace(name, line);
    }
    return openings;
}

host::message_record read(const std::filesystem::path& file)
{
    host::message_place place;
    place.file = file;
    return host::read_mail(place, std::make_shared<host::store_context>(), host::written_by::anyone);
}

/// Returns a snapshot without the numbers of the attachments, which a file may renumber in the same order.
json without_numbers(json snapshot)
{
    for (json& entry : snapshot["attachments"]) {
        entry.erase("number");
    }
    return snapshot;
}

/// Opens and saves all messages of a folder in both forms. Expects that condemned messages are disinfected as
/// documented, and that their copies open as they were saved, without any request to the service.
void expect_folder_disinfected(const std::filesystem::path& sources, counted_service& service,
                               const std::string& threat, std::size_t condemned)
{
    for (const std::string form : {"eml", "msg"}) {
        SCOPED_TRACE(form);
        const temporary_folder folder;
        const auto saved = folder.path() / "saved";
        const auto opened = open_folder(sources, service, {"--save", saved.string(), "--format", form});
        EXPECT_LT(0U, service.take_count());
        std::size_t found = 0;
        for (const auto& [name, line] : opened) {
            SCOPED_TRACE(name);
            const auto message = read(sources / (name + ".eml"));
            EXPECT_EQ("opened", line["display"]);
            if (test::find_objections(message).any()) {
                test::expect_disinfected(line["before"], line["after"], message, threat);
                EXPECT_EQ(2, line["verdict"]);
                ++found;
            } else {
                EXPECT_NE(2, line["verdict"]);
                EXPECT_EQ(line["before"]["subject"], line["after"]["subject"]);
                EXPECT_EQ(line["before"]["attachments"], line["after"]["attachments"]);
                std::filesystem::remove(saved / (name + "." + form));
            }
        }
        EXPECT_EQ(condemned, found);
        const auto again = open_folder(saved, service, {"--saved"});
        EXPECT_EQ(condemned, again.size());
        EXPECT_EQ(0U, service.take_count());
        for (const auto& [name, line] : again) {
            SCOPED_TRACE(name);
            EXPECT_EQ(2, line["verdict"]);
            EXPECT_EQ("opened", line["display"]);
            EXPECT_EQ(line["before"], line["after"]);
            EXPECT_EQ(without_numbers(opened.at(name)["after"]), without_numbers(line["before"]));
        }
    }
}

constexpr std::size_t condemned_samples = 5;
constexpr std::size_t generated_messages = 200;

class Disinfected : public testing::Test
{
protected:
    temporary_folder folder;
};

TEST_F(Disinfected, SamplesAreWhatIsPromisedAndStaySoOnDisk)
{
    counted_service service(std::make_shared<service::builtin_engine>());
    make_samples(folder.path(), "");
    std::filesystem::remove(folder.path() / "archive.mbox");
    expect_folder_disinfected(folder.path(), service, "EICAR-Test-File", condemned_samples);
}

TEST_F(Disinfected, GeneratedMessagesAreWhatIsPromisedAndStaySoOnDisk)
{
    counted_service service(std::make_shared<service::builtin_engine>());
    make_samples(folder.path(), "--condemned --count " + std::to_string(generated_messages));
    expect_folder_disinfected(folder.path(), service, "EICAR-Test-File", generated_messages);
}

TEST_F(Disinfected, ByClamdTheyAreTheSame)
{
    const test::clamd_daemon clamd("64M");
    counted_service service(service::make_engine(clamd.engine()));
    make_samples(folder.path(), "");
    std::filesystem::remove(folder.path() / "archive.mbox");
    expect_folder_disinfected(folder.path(), service, "Test.File-1.UNOFFICIAL", condemned_samples);
    const temporary_folder generated;
    make_samples(generated.path(), "--condemned --count " + std::to_string(generated_messages));
    expect_folder_disinfected(generated.path(), service, "Test.File-1.UNOFFICIAL", generated_messages);
}

} // namespace
