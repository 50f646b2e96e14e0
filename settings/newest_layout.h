#pragma once

#include "cctool/serialization/blob_reader.h"
#include "settings/task_settings_ser.h"

/// Reads records out of blobs as the product of the same version writes them: every field of the newest layout and
/// nothing else, in ascending order. All other blobs are the tree's.
namespace DOVA::Settings {

/// Reads the entries of a container into a record. Returns false for any other layout; the record then contains some of
/// the values. Numbers of elements take no memory ahead of the elements.
template <FieldRecord Record>
[[nodiscard]] bool ReadNewestLayout(cctool::Serialization::BlobReader& reader, std::uint64_t entries, Record& record);

namespace detail {

template <typename T>
[[nodiscard]] bool ReadNext(cctool::Serialization::BlobReader& reader, T& value)
{
    return reader.Read(value);
}

template <typename T>
[[nodiscard]] bool ReadNext(cctool::Serialization::BlobReader& reader, std::vector<T>& list);

template <FieldRecord Record>
[[nodiscard]] bool ReadNext(cctool::Serialization::BlobReader& reader, Record& record)
{
    std::uint64_t entries = 0;
    return reader.EnterContainer(entries) && ReadNewestLayout(reader, entries, record);
}

template <typename T>
[[nodiscard]] bool ReadNext(cctool::Serialization::BlobReader& reader, std::vector<T>& list)
{
    std::uint64_t count = 0;
    if (!reader.EnterArray(count)) {
        return false;
    }
    list.clear();
    for (; count > 0; --count) {
        if (!ReadNext(reader, list.emplace_back())) {
            return false;
        }
    }
    return true;
}

template <typename T>
[[nodiscard]] bool ReadNext(cctool::Serialization::BlobReader& reader, Setting<T>& setting)
{
    std::uint64_t parts = 0;
    return reader.EnterArray(parts) && parts == 3 && ReadNext(reader, setting.default_) &&
           ReadNext(reader, setting.value) && ReadNext(reader, setting.isSet);
}

} // namespace detail

template <FieldRecord Record>
bool ReadNewestLayout(cctool::Serialization::BlobReader& reader, std::uint64_t entries, Record& record)
{
    constexpr std::uint64_t fields = std::tuple_size_v<decltype(Record::Fields())>;
    const auto read = [&](const auto& field) {
        return reader.ReadTag(field.tag) && detail::ReadNext(reader, record.*field.member);
    };
    std::uint64_t parts = 0;
    std::uint16_t major = 0;
    std::uint16_t minor = 0;
    return entries == fields + 1 &&
           std::apply([&](const auto&... each) { return (... && read(each)); }, Record::Fields()) &&
           reader.ReadTag(cctool::Serialization::version_info_tag.id) && reader.EnterArray(parts) && parts == 2 &&
           reader.Read(major) && reader.Read(minor) && major == known_major && minor >= LatestMinor<Record>();
}

} // namespace DOVA::Settings
