#pragma once

#include <algorithm>
#include <cstdint>
#include <tuple>

namespace DOVA::Settings {

/// One field of a record: its place in the tree, and the member that contains it.
template <typename Record, typename T>
struct Field
{
    std::uint32_t tag;
    const wchar_t* name;
    std::uint16_t sinceMinor; ///< the minor version of the record's layout that introduced it
    T Record::*member;
    bool readByAddin = false; ///< true if the add-in's checks use it; all other fields are only carried
};

template <typename Record, typename T>
Field(std::uint32_t, const wchar_t*, std::uint16_t, T Record::*) -> Field<Record, T>;
template <typename Record, typename T>
Field(std::uint32_t, const wchar_t*, std::uint16_t, T Record::*, bool) -> Field<Record, T>;

/// A record with a table of fields: Record::Fields() returns a tuple of Field in the order in which they are read,
/// written and compared. Code that processes all fields iterates over this table.
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

/// Returns the minor version of a record's layout that introduced its newest field.
template <FieldRecord Record>
[[nodiscard]] constexpr std::uint16_t LatestMinor()
{
    std::uint16_t latest = 0;
    ForEachField<Record>([&](const auto& field) { latest = std::max(latest, field.sinceMinor); });
    return latest;
}

/// Compares field by field in order and stops at the first difference.
template <FieldRecord Record>
[[nodiscard]] bool operator==(const Record& left, const Record& right)
{
    return std::apply([&](const auto&... fields) { return (... && (left.*fields.member == right.*fields.member)); },
                      Record::Fields());
}

} // namespace DOVA::Settings
