#pragma once

#include "cctool/serialization/container.h"
#include "cctool/serialization/errors.h"
#include "settings/field.h"
#include "settings/setting.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

/// Converts records of settings to and from trees. A record becomes a container that begins with its version, a Setting
/// an array of its three parts, a list an array. For a value that is absent or of a wrong type, the error of the tree's
/// getter is thrown.
namespace DOVA::Settings {

/// The highest major version of a layout that is accepted, and the one that is written.
inline constexpr std::uint16_t known_major = 1;

/// Reads a record's fields from a tree. Fields that the tree's minor version does not have keep their values. Throws
/// cctool::Serialization::IncompatibleVersionError for a major version of 0 or above known_major, of this record or of
/// a nested one. After an error the record contains the fields read so far.
template <FieldRecord Record>
void Deserialize(Record& record, const cctool::Serialization::IContainer& tree);

/// Writes a record's fields into an empty tree, in the layout of a minor version: later fields are omitted. Nested
/// records are written in their latest layouts.
template <FieldRecord Record>
void Serialize(const Record& record, cctool::Serialization::IContainer& tree,
               std::uint16_t minor = LatestMinor<Record>());

namespace detail {

// A tree is a container with tags as keys here, or an array with indices as keys.

template <typename Tree, typename Key, typename T>
void Read(const Tree& tree, const Key& key, T& value)
{
    tree.Get(key, value);
}

template <typename Tree, typename Key, FieldRecord Record>
void Read(const Tree& tree, const Key& key, Record& record)
{
    Deserialize(record, *tree.GetContainer(key));
}

template <typename Tree, typename Key, typename T>
void Read(const Tree& tree, const Key& key, std::vector<T>& list);

template <typename Tree, typename Key, typename T>
void Read(const Tree& tree, const Key& key, Setting<T>& setting)
{
    const auto parts = tree.GetArray(key);
    Read(*parts, std::size_t{0}, setting.default_);
    Read(*parts, std::size_t{1}, setting.value);
    Read(*parts, std::size_t{2}, setting.isSet);
}

template <typename Tree, typename Key, typename T>
void Read(const Tree& tree, const Key& key, std::vector<T>& list)
{
    const auto items = tree.GetArray(key);
    std::vector<T> fresh; // grows with each valid item: a record takes far more memory than its bytes in a blob
    for (std::size_t index = 0; index < items->Size(); ++index) {
        T item{};
        Read(*items, index, item);
        fresh.push_back(std::move(item));
    }
    list = std::move(fresh);
}

template <typename Tree, typename Key, typename T>
void Write(Tree& tree, Key key, const T& value)
{
    tree.Set(key, value);
}

template <typename Tree, typename Key, FieldRecord Record>
void Write(Tree& tree, Key key, const Record& record)
{
    Serialize(record, *tree.AddContainer(key));
}

template <typename Tree, typename Key, typename T>
void Write(Tree& tree, Key key, const std::vector<T>& list);

template <typename Tree, typename Key, typename T>
void Write(Tree& tree, Key key, const Setting<T>& setting)
{
    const auto parts = tree.AddArray(key, 3);
    Write(*parts, std::size_t{0}, setting.default_);
    Write(*parts, std::size_t{1}, setting.value);
    Write(*parts, std::size_t{2}, setting.isSet);
}

template <typename Tree, typename Key, typename T>
void Write(Tree& tree, Key key, const std::vector<T>& list)
{
    const auto items = tree.AddArray(key, list.size());
    for (std::size_t index = 0; index < list.size(); ++index) {
        Write(*items, index, list[index]);
    }
}

} // namespace detail

template <FieldRecord Record>
void Deserialize(Record& record, const cctool::Serialization::IContainer& tree)
{
    using cctool::Serialization::IncompatibleVersionError;
    constexpr const char* source_path = "settings/task_settings_ser.h";

    cctool::Serialization::VersionPair version;
    tree.GetVersion(cctool::Serialization::version_info_tag, version);
    const auto [major, minor] = version;
    if (major > known_major) {
        throw IncompatibleVersionError({source_path, __LINE__});
    }
    if (major == 0) {
        throw IncompatibleVersionError({source_path, __LINE__});
    }
    ForEachField<Record>([&record, &tree, present = minor](const auto& field) {
        if (field.sinceMinor <= present) {
            detail::Read(tree, cctool::Serialization::TagId{field.tag, field.name}, record.*field.member);
        }
    });
}

template <FieldRecord Record>
void Serialize(const Record& record, cctool::Serialization::IContainer& tree, std::uint16_t minor)
{
    tree.SetVersion(cctool::Serialization::version_info_tag, {known_major, minor});
    ForEachField<Record>([&](const auto& field) {
        if (field.sinceMinor <= minor) {
            detail::Write(tree, field.tag, record.*field.member);
        }
    });
}

} // namespace DOVA::Settings
