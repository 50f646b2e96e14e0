#include "desk/report/html_report.h"

#include "desk/report/message_section.h"
#include "desk/report/page_style.h"
#include "desk/report/page_text.h"
#include "mail/files/atomic_file.h"
#include "tool/system/base64.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace host {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t longest_name = 160; ///< characters of a file name
constexpr std::size_t longest_text = 160; ///< characters of a subject or a sender in a row

/// So many sections may be too large for the room that is left, until bodies are no longer tried.
constexpr std::size_t most_large_sections = 10;

/// Precedes the title. The frames of the mail bodies inherit this policy, so that it has to allow styles in a mail. All
/// style sheets of the page itself are constant.
constexpr std::string_view policy =
    "<!DOCTYPE html>\n<html lang=en>\n<meta charset=utf-8>\n"
    "<meta http-equiv=Content-Security-Policy content=\"default-src 'none'; img-src data:; style-src 'unsafe-inline'; "
    "base-uri 'none'; form-action 'none'\">\n"
    "<meta name=referrer content=no-referrer>\n<meta http-equiv=x-dns-prefetch-control content=off>\n"
    "<meta name=viewport content=\"width=device-width, initial-scale=1\">\n";

constexpr std::string_view filter = "<fieldset class=filter><legend class=unseen>Openings to list</legend>"
                                    "<label><input type=radio name=only id=only-all checked>All</label>"
                                    "<label><input type=radio name=only id=only-d>Changed</label>"
                                    "<label><input type=radio name=only id=only-x>Condemned or repaired</label>"
                                    "<label><input type=radio name=only id=only-n>Without a verdict</label></fieldset>";

constexpr std::string_view table_head =
    "<table class=openings><caption class=unseen>All openings</caption><thead><tr><th scope=col>Message<th "
    "scope=col>Subject"
    "<th scope=col>From<th scope=col>Result<th scope=col>Size<th scope=col>Time<tbody>\n";

void copy(const scratch& source, std::ostream& out)
{
    std::array<char, 65536> block{};
    for (std::uint64_t at = 0; at < source.size();) {
        const std::size_t got = source.read(at, block.data(), block.size());
        if (got == 0) {
            throw std::runtime_error("a temporary file cannot be read");
        }
        out.write(block.data(), static_cast<std::streamsize>(got));
        at += got;
    }
}

std::string milliseconds(std::uint64_t count)
{
    return std::to_string(count) + " ms";
}

std::string fact(std::string_view name, const std::string& value)
{
    return std::string("<div><dt>").append(name).append("<dd>").append(value).append("</div>");
}

/// Returns the name, and the address on a line of its own.
std::string sender_cell(std::string_view sender)
{
    const std::size_t address = sender.rfind(" <");
    if (address == std::string_view::npos || !sender.ends_with('>')) {
        return isolated_text(sender, longest_text);
    }
    const std::string_view within = sender.substr(address + 2, sender.size() - address - 3);
    return isolated_text(sender.substr(0, address), longest_text) + "<small>" + isolated_text(within, longest_text) +
           "</small>";
}

/// Returns what follows the outcome of an opening.
std::string row_notes(const reported_opening& entry)
{
    const opening_answers& answers = entry.result.answers;
    std::string notes;
    const auto add = [&notes](std::string_view attributes, std::string_view words, const std::string& more) {
        notes.append("<small").append(attributes).append(">").append(words).append(more).append("</small>");
    };
    if (entry.result.blocked) {
        add("", "display stopped", "");
    }
    if (entry.result.encrypted) {
        add("", "encrypted", "");
    }
    if (!entry.changes.empty()) {
        add("", "", page_text(entry.changes));
    }
    if (const std::string threats = threats_of(answers); !threats.empty()) {
        add(" class=threat", "", isolated_text(threats, longest_text));
    }
    if (const std::string missing = missing_answer(answers); !missing.empty()) {
        add(" class=answer", "no answer for ", isolated_text(missing, longest_text));
    }
    if (!entry.result.closed.empty()) {
        add(" class=answer", "its contents stay closed: ", isolated_text(entry.result.closed, longest_text));
    }
    if (!entry.warnings.empty()) {
        add(" class=answer", "not all of it could be read: ", isolated_text(entry.warnings.front(), longest_text));
    }
    return notes;
}

std::string tiny_icon()
{
    std::string mark(page_mark);
    mark.replace(mark.find("currentColor"), std::string_view("currentColor").size(), "#1756b8");
    return "<link rel=icon href=\"data:image/svg+xml;base64," + winapi::base64::encode(mark) + "\">\n";
}

} // namespace

html_report::html_report(fs::path target, report_heading heading, const report_limits& limits)
    : target_(std::move(target))
    , heading_(std::move(heading))
    , limits_(limits)
{
    const fs::path folder = fs::absolute(target_).parent_path();
    if (fs::is_directory(target_)) {
        throw std::runtime_error(std::make_error_code(std::errc::is_a_directory).message());
    }
    if (fs::exists(target_) && !fs::is_regular_file(target_)) {
        throw std::runtime_error("it is not a regular file");
    }
    if (!fs::is_directory(folder)) {
        throw std::runtime_error("there is no such folder");
    }
}

void html_report::add_row(const std::string& row, bool ordinary)
{
    if (rows_.size() + row.size() > (ordinary ? limits_.clean_rows : limits_.rows)) {
        ++rows_left_out_;
        return;
    }
    rows_.append(row);
}

bool html_report::add_section(const reported_opening& entry)
{
    section_form form;
    form.number = messages_;
    form.open = sections_made_ < limits_.open_sections;
    form.with_bodies = large_sections_ < most_large_sections;
    remote_contents blocked;
    std::string section = message_section(entry, form, blocked);
    if (form.with_bodies && sections_.size() + section.size() > limits_.bodies) {
        ++large_sections_;
        form.with_bodies = false;
        blocked = {};
        section = message_section(entry, form, blocked);
    }
    if (sections_.size() + section.size() > limits_.sections) {
        ++sections_left_out_;
        return false;
    }
    blocked_ += blocked;
    sections_.append(section);
    ++sections_made_;
    return true;
}

void html_report::add(const reported_opening& entry)
{
    ++messages_;
    const outcome judged = outcome_of(entry.result);
    const std::string& changes = entry.changes;
    figures_.count(judged);
    figures_.durations.add(entry.result.elapsed_ms);
    figures_.changed += changes.empty() ? 0 : 1;
    figures_.blocked += entry.result.blocked ? 1 : 0;
    figures_.encrypted += entry.result.encrypted ? 1 : 0;
    figures_.unanswered += entry.result.answers.complete() ? 0 : 1;
    const bool linked = !changes.empty() && add_section(entry);

    std::string row("<tr class=");
    row.append(changes.empty() ? "" : "\"d ").append(1, outcome_class(judged)).append(changes.empty() ? "" : "\"");
    row.append("><th scope=row>");
    if (linked) {
        row.append("<a href=#m").append(std::to_string(messages_)).append(">");
    }
    row.append(isolated_text(entry.file, longest_name, kept_part::end)).append(linked ? "</a>" : "");
    row.append(entry.number == 1 ? "" : "<small>opening " + std::to_string(entry.number) + "</small>");
    row.append("<td>").append(isolated_text(entry.before.subject, longest_text));
    row.append("<td>").append(sender_cell(entry.before.sender));
    row.append("<td><b>").append(outcome_words(judged)).append("</b>").append(row_notes(entry));
    row.append("<td>").append(size_text(entry.before.size));
    row.append("<td>").append(milliseconds(entry.result.elapsed_ms)).append("\n");
    add_row(row, judged == outcome::clean && changes.empty() && !entry.result.blocked);
}

void html_report::add_unreadable(const std::string& file, const std::string& why)
{
    ++messages_;
    figures_.count(outcome::unreadable);
    std::string row("<tr class=u><th scope=row>");
    row.append(isolated_text(file, longest_name, kept_part::end)).append("<td><td><td><b>");
    row.append(outcome_words(outcome::unreadable)).append("</b><small>").append(isolated_text(why));
    add_row(row.append("</small><td><td>\n"), false);
}

std::string html_report::summary(const opening_totals& totals) const
{
    const std::size_t opened = figures_.rows() - figures_.number_of(outcome::unreadable);
    const std::size_t condemned = figures_.number_of(outcome::condemned);
    std::string text(
        "<section class=wide aria-labelledby=summary><h2 class=unseen id=summary>Summary</h2><p class=lead>");
    text.append(count_text(opened, "opening", "openings")).append(": ");
    text.append(condemned == 0 ? "nothing was condemned" : std::to_string(condemned) + " condemned").append(", ");
    text.append(count_text(figures_.changed, "message", "messages")).append(" changed");
    if (figures_.unanswered != 0) {
        text.append(", ").append(std::to_string(figures_.unanswered)).append(" without an answer of the service");
    }
    text.append(".</p>").append(figures_.bar());
    if (totals.stopped_by != 0) {
        text.append("<p class=remark>The run was stopped before all messages were opened.</p>");
    }
    text.append("<dl class=facts>").append(fact("changed", std::to_string(figures_.changed)));
    text.append(fact("display stopped", std::to_string(figures_.blocked)));
    text.append(fact("encrypted", std::to_string(figures_.encrypted)));
    text.append(fact("remote contents blocked", std::to_string(blocked_.total())));
    if (opened != 0) {
        text.append(fact("mean duration", milliseconds(figures_.durations.total() / opened)));
        text.append(fact("longest", milliseconds(figures_.durations.longest())));
    }
    if (totals.saved != 0 && !totals.folder.empty()) {
        text.append(fact("saved", std::to_string(totals.saved)));
    }
    if (totals.unsaved != 0) {
        text.append(fact("could not be saved", std::to_string(totals.unsaved)));
    }
    return text.append("</dl></section>\n");
}

std::string html_report::how() const
{
    std::string text("<section aria-labelledby=how><h2 id=how>How they were opened</h2><dl class=how>");
    for (const auto& [name, value] : heading_.how) {
        text.append("<dt>").append(page_text(name)).append("<dd>").append(isolated_text(value));
    }
    text.append("</dl></section>\n<section aria-labelledby=durations><h2 id=durations>Durations</h2>");
    const std::string chart = figures_.durations.chart();
    return text.append(chart.empty() ? "<p class=none>Nothing was opened.</p>" : chart).append("</section>\n");
}

std::string html_report::beginning(const opening_totals& totals) const
{
    std::string text(policy);
    text.append("<title>Mail opened on ").append(page_text(heading_.when)).append("</title>\n").append(tiny_icon());
    text.append("<style>").append(page_style_sheet).append("</style>\n<header>").append(page_mark);
    text.append("<div><h1>Opened mail</h1><p>").append(page_text(heading_.when)).append(" \xC2\xB7 ");
    text.append(page_text(heading_.program))
        .append("</p></div></header>\n<main>\n")
        .append(summary(totals))
        .append(how());
    return text.append("<section class=wide aria-labelledby=openings><h2 id=openings>Openings</h2>")
        .append(filter)
        .append(table_head);
}

void html_report::finish(const opening_totals& totals)
{
    std::string middle("</table>");
    if (rows_left_out_ != 0) {
        middle.append("<p class=note>")
            .append(count_text(rows_left_out_, "further opening is", "further openings are"));
        middle.append(" not listed: this page has no room for more. They are part of the figures.</p>");
    }
    middle.append(
        "</section>\n<section class=\"wide bare\" aria-labelledby=changed><h2 id=changed>Changed messages</h2>\n");
    std::string end(sections_made_ == 0 ? "<p class=none>No message was changed.</p>" : "");
    if (sections_left_out_ != 0) {
        end.append("<p class=note>").append(count_text(sections_left_out_, "further message", "further messages"));
        end.append(" not shown in detail: this page has no room for more.</p>");
    }
    end.append("</section>\n</main>\n<footer>This page is complete: it has no script, and requests nothing from other "
               "computers, also not for the mail that it shows. Links in a mail lead nowhere.</footer>\n");
    write_atomically(target_, [&](const fs::path& temporary) {
        std::ofstream out(temporary, std::ios::binary);
        const std::string start = beginning(totals);
        out.write(start.data(), static_cast<std::streamsize>(start.size()));
        copy(rows_, out);
        out << middle;
        copy(sections_, out);
        out << end;
        out.close();
        if (!out) {
            throw fs::filesystem_error("cannot write", target_, std::make_error_code(std::errc::io_error));
        }
    });
}

} // namespace host
