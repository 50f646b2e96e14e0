#include "mail/mime/writing/document_composer.h"

#include "mail/mime/text/charset_names.h"
#include "mail/mime/text/header_text.h"
#include "mail/mime/writing/header_writer.h"
#include "mail/mime/writing/message_attachments.h"
#include "mail/mime/writing/message_properties.h"
#include "store/tags.h"
#include "tool/system/conversions.h"

#include <stdexcept>
#include <utility>

namespace host {

namespace {

/// Returns the method of the calendar part from which the mail client derives this message class; empty if there is
/// none.
std::string calendar_method(std::wstring_view message_class)
{
    constexpr std::wstring_view meeting = L"IPM.Schedule.Meeting.";
    if (message_class.starts_with(L"IPM.Task")) {
        return "REQUEST";
    }
    if (!message_class.starts_with(meeting)) {
        return {};
    }
    const std::wstring_view kind = message_class.substr(meeting.size());
    return kind.starts_with(L"Resp") ? "REPLY" : kind.starts_with(L"Cancel") ? "CANCEL" : "REQUEST";
}

/// Returns the message's content type with its smime-type parameter if it declares the message as an S/MIME envelope;
/// otherwise null.
content_type_ptr envelope_type(IMessage& message)
{
    constexpr const char* kind_name = "smime-type";
    const std::uint32_t tag = named_tag(message, PS_INTERNET_HEADERS, L"content-type", PT_UNICODE);
    const std::string told = tag == 0 ? std::string() : utf8(text_property(message, tag));
    const content_type_ptr type(told.empty() ? nullptr
                                             : g_mime_content_type_parse(nullptr, without_controls(told).c_str()));
    const bool enveloped = type && (g_mime_content_type_is_type(type.get(), "application", "pkcs7-mime") ||
                                    g_mime_content_type_is_type(type.get(), "application", "x-pkcs7-mime"));
    if (!enveloped) {
        return nullptr;
    }
    content_type_ptr result(g_mime_content_type_new("application", g_mime_content_type_get_media_subtype(type.get())));
    if (const std::string kind = text_of(g_mime_content_type_get_parameter(type.get(), kind_name));
        is_plain_word(kind)) {
        g_mime_content_type_set_parameter(result.get(), kind_name, kind.c_str());
    }
    return result;
}

/// One opened attachment.
struct opened_attachment
{
    ComPtr<IAttach> object;
    std::uint32_t number = 0;
    std::uint32_t method = 0;
    std::string mime_tag;
    std::string name;
    std::string content_id;
    bool hidden = false;
};

opened_attachment open_at(IMessage& message, std::uint32_t number)
{
    opened_attachment result;
    result.number = number;
    result.object = open_attachment(message, number);
    IAttach& object = *result.object;
    result.method = number_property(object, PR_ATTACH_METHOD).value_or(NO_ATTACHMENT);
    result.mime_tag = utf8(text_property(object, PR_ATTACH_MIME_TAG_W));
    result.content_id = utf8(text_property(object, PR_ATTACH_CONTENT_ID_W));
    result.hidden = flag_property(object, PR_ATTACHMENT_HIDDEN);
    result.name = without_controls(attachment_name(object));
    return result;
}

using part_list = std::vector<gobject_ptr<GMimeObject>>;

gobject_ptr<GMimeObject> gather(part_maker& parts, const char* subtype, const part_list& found)
{
    auto result = parts.multipart(subtype);
    for (const auto& part : found) {
        add_part(*result, *part);
    }
    return result;
}

} // namespace

/// The parts of one message.
class document_composer::message_parts
{
public:
    message_parts(document_composer& owner, IMessage& message, int depth)
        : owner_(owner)
        , message_(message)
        , depth_(depth)
        , class_(text_property(message, PR_MESSAGE_CLASS_W))
    {}

    gobject_ptr<GMimeObject> make()
    {
        const std::vector<std::uint32_t> numbers = attachment_numbers(message_);
        add_bodies();
        if (numbers.size() == 1 && choices_.empty()) {
            if (auto envelope = make_envelope(numbers.front())) {
                order_.numbers.emplace_back(numbers.front());
                return envelope;
            }
        }
        std::string method = calendar_method(class_);
        for (const std::uint32_t number : numbers) {
            const opened_attachment attachment = open_at(message_, number);
            if (is_calendar(attachment) && !method.empty()) {
                choices_.push_back(make_calendar(attachment, std::exchange(method, {})));
                order_.numbers.emplace_back(number);
            } else if (is_image(attachment)) {
                images_.push_back(make_part(attachment, "inline"));
                image_numbers_.push_back(number);
            } else {
                files_.push_back(make_part(attachment, "attachment"));
                file_numbers_.push_back(number);
            }
        }
        put_in_order();
        return join();
    }

    /// Returns the attachments in the order of their parts.
    [[nodiscard]] document_order order() const { return order_; }

private:
    /// The calendars come first, since they are among the bodies.
    void put_in_order()
    {
        for (const auto* list : {&image_numbers_, &file_numbers_}) {
            order_.numbers.insert(order_.numbers.end(), list->begin(), list->end());
        }
        for (std::uint32_t at = 0; at < order_.numbers.size(); ++at) {
            if (const auto found = inside_.find(*order_.numbers[at]); found != inside_.end()) {
                order_.inside.emplace(at, std::move(found->second));
            }
        }
    }

    void add_bodies()
    {
        if (ComPtr<IStream> plain = property_stream(message_, PR_BODY_W)) {
            choices_.push_back(owner_.parts_.body("plain", "utf-8", utf8_content(stream_content(std::move(plain)))));
        }
        if (ComPtr<IStream> html = property_stream(message_, PR_HTML)) {
            const std::uint32_t page = number_property(message_, PR_INTERNET_CPID).value_or(0);
            add_html(charset_of_page(page), stream_content(std::move(html)));
        } else if (ComPtr<IStream> text = property_stream(message_, tag::body_html)) {
            add_html("utf-8", utf8_content(stream_content(std::move(text))));
        }
    }

    void add_html(const std::string& charset, content_ptr content)
    {
        has_html_ = true;
        choices_.push_back(owner_.parts_.body("html", charset, std::move(content)));
    }

    /// Combines bodies, images and files in one part, which also exists for an empty message.
    gobject_ptr<GMimeObject> join()
    {
        gobject_ptr<GMimeObject> body;
        if (!choices_.empty()) {
            body = choices_.size() == 1 ? std::move(choices_.front()) : gather(owner_.parts_, "alternative", choices_);
        }
        if (!images_.empty()) {
            const glib_text type(g_mime_content_type_get_mime_type(g_mime_object_get_content_type(body.get())));
            images_.insert(images_.begin(), std::move(body));
            body = gather(owner_.parts_, "related", images_);
            g_mime_object_set_content_type_parameter(body.get(), "type", type.get());
        }
        if (files_.empty()) {
            return body ? std::move(body) : owner_.parts_.body("plain", "utf-8", text_content({}));
        }
        if (body) {
            files_.insert(files_.begin(), std::move(body));
        }
        return gather(owner_.parts_, "mixed", files_);
    }

    [[nodiscard]] bool is_image(const opened_attachment& attachment) const
    {
        return has_html_ && attachment.hidden && attachment.method == ATTACH_BY_VALUE &&
               is_plain_word(attachment.content_id);
    }

    static bool is_calendar(const opened_attachment& attachment)
    {
        return attachment.method == ATTACH_BY_VALUE &&
               winapi::compare_no_case(attachment.mime_tag, "text/calendar") == 0;
    }

    /// A message that consists of an envelope only remains one.
    gobject_ptr<GMimeObject> make_envelope(std::uint32_t number)
    {
        if (!class_.starts_with(L"IPM.Note.SMIME")) {
            return nullptr;
        }
        const content_type_ptr type = envelope_type(message_);
        const opened_attachment attachment = open_at(message_, number);
        if (!type || attachment.method != ATTACH_BY_VALUE) {
            return nullptr;
        }
        auto part = owner_.parts_.file(type.get(), contents_of(attachment));
        g_mime_object_set_disposition(part.get(), "attachment");
        describe(attachment, naming::in_both, *part);
        return part;
    }

    gobject_ptr<GMimeObject> make_calendar(const opened_attachment& attachment, const std::string& method)
    {
        const content_type_ptr type(g_mime_content_type_new("text", "calendar"));
        auto part = owner_.parts_.file(type.get(), contents_of(attachment));
        g_mime_object_set_content_type_parameter(part.get(), "charset", "utf-8");
        g_mime_object_set_content_type_parameter(part.get(), "method", method.c_str());
        describe(attachment, naming::in_type, *part);
        return part;
    }

    gobject_ptr<GMimeObject> make_part(const opened_attachment& attachment, const char* disposition)
    {
        gobject_ptr<GMimeObject> part;
        if (attachment.method == ATTACH_EMBEDDED_MSG) {
            part = make_message(attachment);
        }
        const bool is_file = !part;
        if (is_file) {
            const content_type_ptr type(g_mime_content_type_parse(nullptr, type_of_file(attachment.mime_tag).c_str()));
            part = owner_.parts_.file(type.get(), contents_of(attachment));
        }
        g_mime_object_set_disposition(part.get(), disposition);
        describe(attachment, is_file ? naming::in_both : naming::in_disposition, *part);
        return part;
    }

    /// Returns null if the attachment contains no message, regardless of its method.
    gobject_ptr<GMimeObject> make_message(const opened_attachment& attachment)
    {
        const ComPtr<IMessage> inner = message_inside(*attachment.object);
        if (!inner) {
            return nullptr;
        }
        const auto document = owner_.compose(*inner, inside_[attachment.number], depth_ + 1);
        return owner_.parts_.message(document.get());
    }

    static content_ptr contents_of(const opened_attachment& attachment)
    {
        ComPtr<IStream> stream = property_stream(*attachment.object, PR_ATTACH_DATA_BIN);
        return stream ? stream_content(std::move(stream)) : text_content({});
    }

    /// The name of a part that contains a message is stored in the disposition only.
    void describe(const opened_attachment& attachment, naming where, GMimeObject& part)
    {
        if (!attachment.name.empty()) {
            set_part_name(part, attachment.name, where);
        }
        if (is_plain_word(attachment.content_id)) {
            g_mime_object_set_content_id(&part, attachment.content_id.c_str());
        }
    }

    document_composer& owner_;
    IMessage& message_;
    int depth_;
    std::wstring class_;
    part_list choices_; ///< forms of the body
    part_list images_;  ///< displayed by the HTML
    part_list files_;
    std::vector<std::uint32_t> image_numbers_;
    std::vector<std::uint32_t> file_numbers_;
    document_order order_;
    std::map<std::uint32_t, document_order> inside_; ///< by number
    bool has_html_ = false;
};

document_composer::document_composer(bool include_bcc, std::shared_ptr<stream_failure> failure)
    : parts_(std::move(failure))
    , include_bcc_(include_bcc)
{}

gobject_ptr<GMimeMessage> document_composer::compose(IMessage& message, document_order& order, int depth)
{
    if (depth >= deepest_embedded) {
        throw std::runtime_error("the messages inside one another are too many");
    }
    gobject_ptr<GMimeMessage> document(g_mime_message_new(FALSE));
    write_headers(message, include_bcc_, document.get());
    message_parts parts(*this, message, depth);
    const auto content = parts.make();
    order = parts.order();
    g_mime_message_set_mime_part(document.get(), content.get());
    return document;
}

} // namespace host
