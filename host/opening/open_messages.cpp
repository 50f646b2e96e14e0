#include "host/opening/open_messages.h"

#include "host/opening/snapshot.h"

#include <algorithm>
#include <exception>

namespace host {

namespace {

std::size_t widest_name(const std::vector<message_place>& places, std::size_t terminal)
{
    constexpr std::size_t other_columns = 50;
    constexpr std::size_t least = 20;
    std::size_t widest = least;
    for (const auto& place : places) {
        widest = std::max(widest, columns_of(place.name()));
    }
    return std::min(widest, std::max(least, terminal > other_columns ? terminal - other_columns : least));
}

void open_one(message_opener& client, const message_place& place, const message_reader& read, std::uint32_t times,
              opening_report& output, progress_bar& bar)
{
    const auto stored = std::make_shared<message_record>(read(place, std::make_shared<store_context>()));
    for (std::uint32_t number = 1; number <= times; ++number) {
        reported_opening entry;
        entry.file = place.name();
        entry.number = number;
        entry.before = take_snapshot(*stored);
        entry.result = client.open(stored);
        entry.after = take_snapshot(entry.result.shown);
        bar.clear();
        output.add(entry);
    }
}

} // namespace

std::vector<message_place> find_all_messages(const std::vector<std::string>& paths, const console& where,
                                             std::size_t& unreadable)
{
    std::vector<message_place> places;
    for (const std::string& path : paths) {
        try {
            const auto found = find_messages(path);
            places.insert(places.end(), found.begin(), found.end());
        } catch (const std::exception& failure) {
            report(where, path, failure.what());
            ++unreadable;
        }
    }
    return places;
}

void open_messages(const std::vector<message_place>& places, std::uint32_t times, bool json, const message_reader& read,
                   message_opener& client, const console& where, std::size_t& unreadable)
{
    const auto output = json ? make_json_report(where) : make_table_report(where, widest_name(places, where.width));
    progress_bar bar(where, places.size());
    std::size_t done = 0;
    for (const auto& place : places) {
        bar.show(done++);
        try {
            open_one(client, place, read, times, *output, bar);
        } catch (const std::exception& failure) {
            bar.clear();
            report(where, place.name(), failure.what());
            ++unreadable;
        }
    }
    bar.clear();
    output->finish(unreadable);
}

} // namespace host
