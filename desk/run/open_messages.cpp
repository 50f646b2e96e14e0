#include "desk/run/open_messages.h"

#include "desk/run/fail_on.h"
#include "desk/run/snapshot.h"
#include "mail/files/path_text.h"

#include <algorithm>
#include <exception>

namespace host {

namespace {

std::size_t widest_name(const std::vector<message_place>& places, std::size_t terminal)
{
    constexpr std::size_t other_columns = 60;
    constexpr std::size_t least = 20;
    std::size_t widest = least;
    for (const auto& place : places) {
        widest = std::max(widest, columns_of(place.name()));
    }
    return std::min(widest, std::max(least, terminal > other_columns ? terminal - other_columns : least));
}

/// Opens the messages of one run.
class open_run
{
public:
    open_run(const opening_plan& plan, const message_reader& read, message_opener& client, const console& where,
             opening_totals& totals)
        : plan_(plan)
        , read_(read)
        , client_(client)
        , where_(where)
        , totals_(totals)
    {}

    void open_all(const std::vector<message_place>& places)
    {
        const auto output =
            plan_.json ? make_json_report(where_) : make_table_report(where_, widest_name(places, where_.width));
        progress_bar bar(where_, places.size());
        std::size_t done = 0;
        for (const auto& place : places) {
            bar.show(done++);
            try {
                open_one(place, *output, bar);
            } catch (const std::exception& failure) {
                bar.clear();
                report(where_, place.name(), failure.what());
                ++totals_.unreadable;
                if (plan_.second) {
                    plan_.second->add_unreadable(place.name(), failure.what());
                }
            }
        }
        bar.clear();
        output->finish(totals_);
        if (plan_.second) {
            plan_.second->finish(totals_);
        }
    }

private:
    void open_one(const message_place& place, opening_report& output, progress_bar& bar)
    {
        auto stored = std::make_shared<message_record>(read_(place, store_));
        std::unique_ptr<message_copy> copy;
        for (std::uint32_t number = 1; number <= plan_.times; ++number) {
            if (number > 1 && plan_.reopen) {
                if (!copy) {
                    return; // there is no copy to open; this was reported
                }
                stored = read_copy(*copy, *stored);
            }
            reported_opening entry;
            entry.file = place.name();
            entry.number = number;
            entry.before = take_snapshot(*stored);
            if (stored->incomplete) {
                entry.warnings = stored->incomplete->warnings;
            }
            entry.result = client_.open(stored);
            entry.after = take_snapshot(entry.result.shown);
            entry.changes = describe_changes(entry.before, entry.after);
            count_opening(entry, totals_);
            bar.clear();
            if (number == 1 && !plan_.json) {
                for (const std::string& warning : entry.warnings) {
                    report(where_, place.name(), "not all of it could be read: " + warning);
                }
            }
            if (number == 1 && !entry.result.closed.empty()) {
                report(where_, place.name(), "its contents stay closed: " + entry.result.closed);
            }
            if (plan_.copies && (number == 1 || plan_.reopen)) {
                save(place, entry.result.shown, copy);
            }
            output.add(entry);
            if (plan_.second) {
                plan_.second->add(entry);
            }
        }
    }

    /// Reads the copy as a replacement for the message. The entry identifier of the message in its store is kept.
    [[nodiscard]] std::shared_ptr<message_record> read_copy(const message_copy& copy,
                                                            const message_record& former) const
    {
        auto result = std::make_shared<message_record>(copy.read(store_));
        if (const property_value* id = former.properties->find(PROP_ID(PR_ENTRYID))) {
            result->properties->set(PR_ENTRYID, *id);
        }
        return result;
    }

    /// Saves the message. `copy` is null on return if the message could not be saved.
    void save(const message_place& place, const message_record& message, std::unique_ptr<message_copy>& copy)
    {
        const bool first = !copy;
        try {
            if (first) {
                copy = plan_.copies->copy_of(place);
            }
            copy->write(message);
            totals_.saved += first ? 1 : 0;
        } catch (const std::exception& failure) {
            report(where_, place.name(), std::string("it cannot be saved: ") + failure.what());
            ++totals_.unsaved;
            copy.reset();
        }
    }

    const opening_plan& plan_;
    const message_reader& read_;
    message_opener& client_;
    const console& where_;
    opening_totals& totals_;
    std::shared_ptr<store_context> store_ = std::make_shared<store_context>();
};

} // namespace

std::vector<message_place> find_all_messages(const std::vector<std::string>& paths, const console& where,
                                             opening_totals& totals)
{
    std::vector<message_place> places;
    for (const std::string& path : paths) {
        try {
            const auto found = find_messages(path_of(path));
            places.insert(places.end(), found.begin(), found.end());
        } catch (const std::exception& failure) {
            report(where, path, failure.what());
            ++totals.unreadable;
        }
    }
    return places;
}

void open_messages(const std::vector<message_place>& places, const opening_plan& plan, const message_reader& read,
                   message_opener& client, const console& where, opening_totals& totals)
{
    totals.folder = plan.copies ? plan.copies->folder() : std::string();
    open_run(plan, read, client, where, totals).open_all(places);
}

} // namespace host
