#include "desk/run/open_messages.h"

#include "desk/run/fail_on.h"
#include "desk/run/interruption.h"
#include "desk/run/output_check.h"
#include "desk/run/progress.h"
#include "desk/run/snapshot.h"

#include <algorithm>
#include <exception>

namespace host {

namespace {

/// Returns the columns for the names of the messages.
std::size_t name_columns(std::size_t widest, std::size_t terminal)
{
    constexpr std::size_t other_columns = 60;
    constexpr std::size_t least = 20;
    return std::min(std::max(widest, least),
                    std::max(least, terminal > other_columns ? terminal - other_columns : least));
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

    void open_all(message_source& places)
    {
        const auto output = plan_.json
                                ? make_json_report(where_)
                                : make_table_report(where_, name_columns(plan_.expected.widest_name, where_.width));
        progress_line progress(where_, plan_.expected);
        progress.show(0, 0);
        std::uint64_t done = 0;
        interruption::set_progress(done, plan_.expected.messages.value_or(0), "messages");
        while (open_next(places, *output)) {
            totals_.done = ++done;
            interruption::set_progress(done, plan_.expected.messages.value_or(0), "messages");
            progress.show(done, places.position());
        }
        erase_progress(where_);
        output->finish(totals_);
        if (plan_.second) {
            plan_.second->finish(totals_);
        }
    }

private:
    /// Returns false if there is no further message, or if the run was stopped.
    bool open_next(message_source& places, opening_report& output)
    {
        std::string name;
        try {
            const auto place = places.next();
            totals_.stopped_by = interruption::signal();
            if (!place || totals_.stopped_by != 0) {
                return false;
            }
            name = place->name();
            open_one(*place, output);
        } catch (const output_failure&) {
            throw;
        } catch (const reading_given_up&) {
            totals_.stopped_by = interruption::signal();
        } catch (const unreadable_input& failure) {
            add_unreadable(failure.name(), failure.what());
        } catch (const std::exception& failure) {
            add_unreadable(name, failure.what());
        }
        return totals_.stopped_by == 0;
    }

    void add_unreadable(const std::string& name, const char* reason)
    {
        report(where_, name, reason);
        ++totals_.unreadable;
        if (plan_.second) {
            plan_.second->add_unreadable(name, reason);
        }
    }

    void open_one(const message_place& place, opening_report& output)
    {
        auto stored = std::make_shared<message_record>(read_(place, store_));
        std::unique_ptr<message_copy> copy;
        for (std::uint32_t number = 1; number <= plan_.times; ++number) {
            if (number > 1 && interruption::signal() != 0) {
                totals_.stopped_by = interruption::signal();
                return;
            }
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
            if (where_.out_is_terminal) {
                erase_progress(where_);
            }
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
            if (plan_.check_output) {
                plan_.check_output();
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

void open_messages(message_source& places, const opening_plan& plan, const message_reader& read, message_opener& client,
                   const console& where, opening_totals& totals)
{
    totals.folder = plan.copies ? plan.copies->folder() : std::string();
    open_run(plan, read, client, where, totals).open_all(places);
}

} // namespace host
