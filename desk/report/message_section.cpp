#include "desk/report/message_section.h"

#include "desk/report/attachment_list.h"
#include "desk/report/page_text.h"
#include "desk/report/report_figures.h"

namespace host {

namespace {

/// Returns a row of the comparison, which has one cell only for what is the same in both states. Different contents may
/// have equal cells, since long texts are cut.
std::string row(std::string_view name, bool same, const std::string& before, const std::string& after)
{
    std::string result("<tr><th scope=row>");
    result.append(name);
    if (same) {
        return result.append("<td colspan=2>").append(before).append(" <span class=same>unchanged</span>");
    }
    return result.append("<td>").append(before).append("<td>").append(after);
}

std::string text_cell(const std::string& text)
{
    return text.empty() ? "<span class=none>none</span>" : isolated_text(text);
}

std::string text_row(std::string_view name, const std::string& before, const std::string& after)
{
    return row(name, before == after, text_cell(before), text_cell(after));
}

/// Returns the remarks below a body.
std::string body_notes(const mail_frame& frame)
{
    std::string notes;
    const auto add = [&notes](const std::string& note) { notes.append("<li>").append(note); };
    if (frame.shown < frame.size) {
        add("The first " + size_text(frame.shown) + " of " + size_text(frame.size) + " are shown.");
    }
    if (frame.blocked.total() != 0) {
        add("Blocked, since it would come from other computers: " + frame.blocked.words() + '.');
    }
    if (frame.missing_images != 0) {
        add(count_text(frame.missing_images, "image", "images") +
            " of the mail not shown: not attached, or too large for this page.");
    }
    return notes.empty() ? notes : "<ul class=notes>" + notes + "</ul>";
}

std::string body_cell(const message_snapshot& message, const reported_opening& entry, const section_form& form,
                      std::string_view title, remote_contents& blocked)
{
    if (entry.result.encrypted && !message.body && !message.html) {
        return "<span class=none>encrypted</span>";
    }
    if (!form.with_bodies) {
        return "<span class=none>left out: this page has no room for more bodies</span>";
    }
    const mail_frame frame = make_mail_frame(message, form.limits);
    blocked += frame.blocked;
    if (frame.kind == mail_frame::body_kind::none) {
        return "<span class=none>none</span>";
    }
    const bool page = frame.kind == mail_frame::body_kind::page;
    return "<iframe sandbox loading=lazy referrerpolicy=no-referrer class=" + std::string(page ? "page" : "text") +
           " title=\"" + std::string(title) + "\" srcdoc=\"" + attribute_text(frame.document) + "\"></iframe>" +
           body_notes(frame);
}

std::string body_row(const reported_opening& entry, const section_form& form, remote_contents& blocked)
{
    const bool same = same_body(entry.before, entry.after);
    const std::string answer = entry.result.encrypted ? std::string() : answer_text(entry.result.answers.body);
    const std::string_view title = same ? "Body" : "Body before the check";
    const std::string before = body_cell(entry.before, entry, form, title, blocked) + answer;
    return row("Body", same, before,
               same ? before : body_cell(entry.after, entry, form, "Body after the check", blocked));
}

/// Returns sentences about the whole message.
std::string remarks(const reported_opening& entry)
{
    std::string result;
    if (entry.result.encrypted) {
        result = "<p class=remark>This message arrived encrypted. It is shown as it is stored: its decrypted contents "
                 "are not part of this page.";
        if (!entry.result.closed.empty()) {
            result.append(" Its contents stay closed: ").append(isolated_text(entry.result.closed)).append(".");
        }
        if (const std::string threats = threats_of(entry.result.answers); !threats.empty()) {
            result.append(" Found in its contents: <span class=threat>")
                .append(isolated_text(threats))
                .append("</span>.");
        }
    }
    for (const std::string& warning : entry.warnings) {
        result.append("<p class=remark>Not all of the file could be read: ").append(isolated_text(warning)).append(".");
    }
    return result;
}

} // namespace

std::string message_section(const reported_opening& entry, const section_form& form, remote_contents& blocked)
{
    const std::string name = isolated_text(entry.file, 160, kept_part::end);
    const std::string anchor = std::to_string(form.number);
    const outcome judged = outcome_of(entry.result);
    std::string result("<details class=\"card ");
    result.append(1, outcome_class(judged)).append("\"").append(form.open ? " open" : "").append("><summary><h3>");
    result.append(name).append("</h3> <b>").append(outcome_words(judged)).append("</b> <span class=what>");
    result.append(page_text(entry.changes));
    result.append(entry.result.blocked ? ", display stopped" : "").append("</span></summary><div id=m");
    result.append(anchor).append(">").append(remarks(entry));
    result.append("<table class=pair><caption class=unseen>").append(name);
    result.append(" before and after the check</caption><thead><tr><td><th scope=col>Before<th scope=col>After<tbody>");
    result.append(text_row("Subject", entry.before.subject, entry.after.subject));
    result.append(text_row("From", entry.before.sender, entry.after.sender));
    if (entry.before.message_class != entry.after.message_class) {
        result.append(text_row("Class", entry.before.message_class, entry.after.message_class));
    }
    result.append(body_row(entry, form, blocked));
    if (!entry.before.attachments.empty() || !entry.after.attachments.empty()) {
        result.append(row("Attachments", same_attachments(entry.before, entry.after), attachments_before(entry),
                          attachments_after(entry)));
    }
    return result.append("</table></div></details>\n");
}

} // namespace host
