// Openings of messages through the whole logic: scanned each time, beside the bare scan, and with the verdict stored on
// the message, beside the message store's own part.

#include "bench/contest.h"
#include "bench/pooled_scans.h"
#include "bench/sink_peer.h"
#include "desk/cli/mail_client.h"
#include "desk/cli/service_link.h"
#include "mail/mime/reading/message_reader.h"
#include "outlook/qdmailprotect/check/mail_checker.h"
#include "outlook/qdmailprotect/mapi/outlook_items.h"
#include "store/bytes.h"
#include "store/item.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

/// A user who reads mail, with a service that lets everything through.
class reader
{
public:
    reader()
        : peer_(bench::sink_peer::kind::icap)
    {
        MailCheckerServices services;
        services.link = host::service_link(peer_.port(), L"bench").get();
        checker_ = std::make_shared<MailChecker>(std::move(services));
        checker_->Init(false, 1, "bench", "S-1-5-21-0-0-0-1000");
        client_ = std::make_unique<host::mail_client>(checker_);
    }
    reader(const reader&) = delete;
    reader& operator=(const reader&) = delete;
    ~reader()
    {
        client_.reset();
        checker_->Close();
    }

    host::opening open(const std::shared_ptr<host::message_record>& message) { return client_->open(message); }
    [[nodiscard]] const bench::sink_peer& peer() const noexcept { return peer_; }

private:
    bench::sink_peer peer_;
    std::shared_ptr<MailChecker> checker_;
    std::unique_ptr<host::mail_client> client_;
};

constexpr std::size_t body_size = 4096;

std::shared_ptr<host::message_record> make_message(std::uint64_t number)
{
    std::string text = "From: Ada <ada@example.org>\r\nSubject: Figures\r\nMessage-ID: <" + std::to_string(number) +
                       "@example.org>\r\nMIME-Version: 1.0\r\nContent-Type: text/plain; charset=utf-8\r\n\r\n";
    text.append(body_size, 'x');
    return std::make_shared<host::message_record>(host::read_message(
        host::bytes_of(std::move(text)), std::to_string(number), std::make_shared<host::store_context>()));
}

void compare_scanned(bench::contests& all)
{
    const std::string work = "opening with a scan of 4 KiB";
    if (!all.is_wanted(work)) {
        return;
    }
    reader desk;
    std::uint64_t number = 1;
    desk.open(make_message(number)); // connects, and asks the peer for its health
    bench::require(desk.peer().health_questions() > 0, "the peer has not answered a health question");
    const auto master = make_message(0);
    std::vector<std::shared_ptr<host::message_record>> unread;
    const auto make_messages = [&](std::uint64_t count) {
        unread.clear();
        while (unread.size() < count) {
            // Copies share the body, as the bare scans scan one body; an identifier of their own keeps them unknown.
            auto copy = std::make_shared<host::message_record>(master->copy());
            copy->properties->set(PR_ENTRYID,
                                  host::property_value::of_binary(host::bytes_of(std::to_string(++number))));
            unread.push_back(std::move(copy));
        }
    };
    const auto open_messages = [&](std::uint64_t) {
        for (const auto& message : unread) {
            const host::opening opened = desk.open(message);
            bench::require(opened.result == S_OK && opened.verdict == ScanResult::Clean, "not judged clean");
        }
    };
    bench::pooled_scans bare(body_size);
    all.hold({work,
              {"whole openings", open_messages, make_messages},
              {{{"bare scans of the same body", [&](std::uint64_t count) { bare.scan(count); }, {}},
                bench::ratio::cost,
                1.3}}});
    bare.check();
    // A scan that fails counts as clean, so that only the peer knows what was scanned.
    bench::require(desk.peer().scans() == number, "not every message was scanned");
    bench::require(desk.peer().scanned_bytes() == number * body_size, "bodies of another size were scanned");
}

/// What the message store and a mail client without an add-in do for an opening, with the same properties read.
class bare_store
{
public:
    explicit bare_store(std::shared_ptr<host::message_record> message)
        : message_(std::move(message))
    {
        const auto object = MakeCom<host::message_object>(*message_, true, host::message_commit());
        GUID headers = PS_INTERNET_HEADERS;
        wchar_t content_type[] = L"content-type";
        MAPINAMEID name{};
        name.lpguid = &headers;
        name.ulKind = MNID_STRING;
        name.Kind.lpwstrName = content_type;
        add_named(*object, name, PT_UNICODE);
        GUID verdicts{0x876FC580, 0xB672, 0x40CF, {0xB8, 0x53, 0x5D, 0x1F, 0x00, 0x0D, 0x0F, 0xD6}};
        name.lpguid = &verdicts;
        name.ulKind = MNID_ID;
        name.Kind.lID = 1;
        add_named(*object, name, PT_LONG);
    }

    void open(std::uint64_t count) const
    {
        for (; count > 0; --count) {
            const auto object = MakeCom<host::message_object>(*message_, true, host::message_commit());
            const auto item = MakeCom<host::item>(host::item_kind::mail, object);
            ComPtr<OutlookItemInterface> typed;
            ComPtr<IUnknown> behind;
            ComPtr<IMessage> opened;
            bench::require(SUCCEEDED(Query(item.get(), IID_MailItem, typed)), "the item is not a mail");
            bench::require(SUCCEEDED(GetMapiObject(typed.get(), behind)), "the item has no message");
            bench::require(SUCCEEDED(Query(behind.get(), IID_IMessage, opened)), "the item has no message");
            std::uint32_t verdict = 0;
            for (const ULONG tag : tags_) {
                verdict = read(*opened, tag);
            }
            bench::require(verdict == static_cast<std::uint32_t>(ScanResult::Clean), "the verdict was not found");
            host::message_record shown = object->current().copy();
            bench::keep(shown);
        }
    }

private:
    void add_named(host::message_object& object, MAPINAMEID& name, ULONG type)
    {
        MAPINAMEID* names[] = {&name};
        SPropTagArray* found = nullptr;
        bench::require(SUCCEEDED(object.GetIDsFromNames(1, names, MAPI_CREATE, &found)), "a property has no name");
        tags_.push_back(CHANGE_PROP_TYPE(found->aulPropTag[0], type));
        MAPIFreeBuffer(found);
    }

    static std::uint32_t read(IMessage& message, ULONG tag)
    {
        SPropTagArray wanted{1, {tag}};
        ULONG count = 0;
        SPropValue* value = nullptr;
        bench::require(SUCCEEDED(message.GetProps(&wanted, MAPI_UNICODE, &count, &value)), "a property was not read");
        const MapiBuffer<SPropValue> kept(value);
        return kept->Value.ul;
    }

    std::shared_ptr<host::message_record> message_;
    std::vector<ULONG> tags_{PR_ENTRYID, PR_INTERNET_MESSAGE_ID_A, PR_SENDER_NAME_W, PR_SUBJECT_W,
                             PR_MESSAGE_DELIVERY_TIME};
};

void compare_stored(bench::contests& all)
{
    const std::string work = "opening with a stored verdict";
    if (!all.is_wanted(work)) {
        return;
    }
    reader desk;
    const auto first = desk.open(make_message(1));
    const auto judged = std::make_shared<host::message_record>(first.shown.copy());
    const auto before = desk.peer().received();
    bench::require(first.verdict == ScanResult::Clean && desk.peer().scans() == 1, "not judged at first");
    const bare_store floor(judged);
    const auto open_again = [&](std::uint64_t count) {
        for (; count > 0; --count) {
            bench::require(desk.open(judged).verdict == ScanResult::Clean, "the verdict was not found");
        }
    };
    all.hold({work,
              {"whole openings", open_again, {}},
              {{{"the message store alone, the same properties read",
                 [&](std::uint64_t count) { floor.open(count); },
                 {}}}}});
    bench::require(desk.peer().received() == before, "something went over the wire");
}

} // namespace

int main(int count, char** arguments)
{
    return bench::run_contests(count, arguments, [](bench::contests& all) {
        compare_scanned(all);
        compare_stored(all);
    });
}
