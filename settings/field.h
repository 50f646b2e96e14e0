#pragma once

#include <algorithm>
#include <cstdint>
#include <tuple>

namespace DOVA::Settings {

/// One field of a record: its place in the tree, and the member that holds it.
template <typename Record, typename T>
struct Field
{
    std::uint32_t tag;
    const wchar_t* name;
    std::uint16_t sinceMinor; ///< the minor version of the record's layout that brought it
    T Record::*member;
    bool readByAddin = false; ///< the checks of the add-in look at it; all others are only carried
};

template <typename Record, typename T>
Field(std::uint32_t, const wchar_t*, std::uint16_t, T Record::*) -> Field<Record, T>;
template <typename Record, typename T>
Field(std::uint32_t, const wchar_t*, std::uint16_t, T Record::*, bool) -> Field<Record, T>;

/// A record has its table of fields as Record::Fields(), a tuple of Field in the order in which they are read, written
/// and compared. Whatever handles all fields walks this table.
template <typename Record>
concept FieldRecord = requires
{
    Record::Fields();
};

/// Calls `visit(field)` for each field in order.
template <FieldRecord Record, typename Visit>
constexpr void ForEachField(Visit&& visit)
{
    std::apply([&](const auto&... fields) { (visit(fields), ...); }, Record::Fields());
}

/// The minor version of a record's layout that brought its newest field.
template <FieldRecord Record>
[[nodiscard]] constexpr std::uint16_t LatestMinor()
{
    std::uint16_t latest = 0;
    ForEachField<Record>([&](const auto& field) { latest = std::max(latest, field.sinceMinor); });
    return latest;
}

/// Compares field by field in order and ends at the first difference.
template <FieldRecord Record>
[[nodiscard]] bool operator==(const Record& left, const Record& right)
{
    return std::apply([&](const auto&... fields) { return (... && (left.*fields.member == right.*fields.member)); },
                      Record::Fields());
}

} // namespace DOVA::Settings
