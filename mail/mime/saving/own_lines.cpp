#include "mail/mime/saving/own_lines.h"

#include "mail/mime/text/header_text.h"
#include "mail/mime/text/own_headers.h"

#include <algorithm>
#include <set>
#include <utility>

namespace host {

namespace {

std::string differences(const message_record& message, const property_bag& properties, const message_record& document,
                        const property_bag& document_properties, std::uint32_t left_out = 0)
{
    return own_headers::differences({properties, message.store->names}, {document_properties, document.store->names},
                                    left_out);
}

class line_writer
{
public:
    /// Returns false if the document does not have the attachments.
    bool write(const message_record& message, const message_record& document, const document_order& order,
               const std::string& path)
    {
        std::uint32_t left_out = 0;
        const auto verdict = own_headers::find_verdict(message);
        if (verdict && path.empty()) {
            left_out = verdict->id;
            add(own_headers::verdict_name, path, std::to_string(verdict->number));
        }
        const std::string properties =
            differences(message, *message.properties, document, *document.properties, left_out);
        if (!properties.empty()) {
            add(own_headers::properties_name, path, properties);
        }
        write_recipients(message, document, path);
        return write_attachments(message, document, order, path);
    }
    void finish() { lines_ += own_headers::end_name + std::string(": 1\n"); }
    [[nodiscard]] std::string take() { return std::move(lines_); }

private:
    using numbered = std::pair<const std::uint32_t, attachment_record>;

    void add(const char* name, const std::string& path, const std::string& list)
    {
        lines_ += std::string(name) + ":" + header_lines((path.empty() ? "" : "in=" + path + ";") + list);
    }

    void write_recipients(const message_record& message, const message_record& document, const std::string& path)
    {
        const bool same = std::equal(message.recipients.begin(), message.recipients.end(), document.recipients.begin(),
                                     document.recipients.end(), [&](const auto& left, const auto& right) {
                                         return left == right || differences(message, *left, document, *right).empty();
                                     });
        if (same) {
            return;
        }
        for (const auto& recipient : message.recipients) {
            add(own_headers::recipient_name, path, differences(message, *recipient, message, {}));
        }
        if (message.recipients.empty()) {
            add(own_headers::recipient_name, path, std::string(own_headers::no_recipients));
        }
    }

    bool write_attachments(const message_record& message, const message_record& document, const document_order& order,
                           const std::string& path)
    {
        if (order.numbers.size() != document.attachments.size()) {
            return false;
        }
        std::set<std::uint32_t> seen;
        std::size_t at = 0;
        for (const numbered& read : document.attachments) {
            const auto number = order.numbers[at++];
            if (!number) {
                add(own_headers::attachment_name, path, "part=" + std::to_string(read.first));
                continue;
            }
            const auto found = message.attachments.find(*number);
            if (found == message.attachments.end() || !seen.insert(*number).second) {
                return false;
            }
            if (!write_attachment(message, *found, document, read, order, path)) {
                return false;
            }
        }
        return seen.size() == message.attachments.size();
    }

    bool write_attachment(const message_record& message, const numbered& own, const message_record& document,
                          const numbered& read, const document_order& order, const std::string& path)
    {
        const auto& [number, attachment] = own;
        const auto& [part, other] = read;
        const std::string list = differences(message, *attachment.properties, document, *other.properties);
        if (number != part || !list.empty()) {
            add(own_headers::attachment_name, path,
                "part=" + std::to_string(part) + ";number=" + std::to_string(number) + ";" + list);
        }
        if (!attachment.embedded || !other.embedded) {
            return !attachment.embedded && !other.embedded;
        }
        if (attachment.embedded == other.embedded) {
            return true;
        }
        const auto inner = order.inside.find(part);
        return write(*attachment.embedded, *other.embedded,
                     inner == order.inside.end() ? document_order() : inner->second,
                     path + (path.empty() ? "" : ".") + std::to_string(part));
    }

    std::string lines_;
};

} // namespace

std::optional<std::string> own_lines(const message_record& message, const message_record& document,
                                     const document_order& order)
{
    line_writer writer;
    if (!writer.write(message, document, order, {})) {
        return std::nullopt;
    }
    writer.finish();
    return writer.take();
}

} // namespace host
