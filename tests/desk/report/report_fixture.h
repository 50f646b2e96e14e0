#pragma once

#include "desk/report/html_report.h"
#include "tests/support/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>

namespace host::test {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

inline std::string contents_of(const fs::path& file)
{
    std::ifstream input(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(input), {}};
}

inline std::size_t count_of(std::string_view part, std::string_view text)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string_view::npos; at = text.find(part, at + part.size())) {
        ++count;
    }
    return count;
}

inline attachment_snapshot attached(std::uint32_t number, const std::string& name, const std::string& data)
{
    attachment_snapshot entry;
    entry.number = number;
    entry.name = name;
    entry.mime_tag = "application/pdf";
    entry.data = bytes_of(data);
    entry.size = data.size();
    return entry;
}

class HtmlReport : public testing::Test
{
protected:
    static void expect_parts(const std::string& page, std::initializer_list<const char*> parts)
    {
        for (const char* part : parts) {
            EXPECT_THAT(page, HasSubstr(part));
        }
    }
    /// Returns a clean opening of a message with one attachment, in which nothing changed.
    static reported_opening clean(const std::string& file)
    {
        reported_opening entry;
        entry.file = file;
        entry.result.verdict = static_cast<ScanResult>(1);
        entry.result.answers.body.state = answer_state::scanned;
        entry.result.elapsed_ms = 3;
        entry.before.subject = "Old subject";
        entry.before.sender = "Ann <ann@a.example>";
        entry.before.body = bytes_of("Hello");
        entry.before.body_type = 1;
        entry.before.size = 2048;
        entry.before.attachments.push_back(attached(0, "price.pdf", "abc"));
        entry.after = entry.before;
        return entry;
    }
    /// Returns an opening in which the body and the attachment were replaced.
    static reported_opening replaced(const std::string& file)
    {
        reported_opening entry = clean(file);
        entry.result.verdict = static_cast<ScanResult>(2);
        entry.after.subject = "New subject";
        entry.after.body = nullptr;
        entry.after.body_type = 3;
        entry.after.html = bytes_of("<p>Found</p>");
        entry.after.attachments.clear();
        entry.after.attachments.push_back(attached(7, "page.png", "x"));
        entry.after.attachments.back().hidden = true;
        return entry;
    }
    void add(reported_opening entry)
    {
        entry.changes = describe_changes(entry.before, entry.after);
        report->add(entry);
    }
    std::string page()
    {
        report->finish(totals);
        return contents_of(file);
    }
    void start(const report_limits& limits = {})
    {
        report = std::make_unique<html_report>(file, report_heading{"Monday", "postwarden 1", {{"Service", "<here>"}}},
                                               limits);
    }
    void SetUp() override { start(); }

    temporary_folder folder;
    fs::path file = folder.path() / "out.html";
    opening_totals totals;
    std::unique_ptr<html_report> report;
};

} // namespace host::test
