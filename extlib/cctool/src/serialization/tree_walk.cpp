#include "extlib/cctool/src/serialization/tree_walk.h"

#include "extlib/cctool/src/serialization/simple_values.h"

#include <span>
#include <stdexcept>
#include <vector>

namespace cctool::Serialization::StlDTree::detail {

namespace {

constexpr std::uint64_t highest_array_count = 0x0FFFFFFFFFFFFFFF;
constexpr std::size_t count_size = sizeof(std::uint64_t);
constexpr std::size_t type_size = sizeof(std::uint32_t);
constexpr std::size_t tag_size = sizeof(std::uint32_t);

/// Reads elements into an array or container, and into those nested in it. The elements of all that are not complete
/// are on one stack, so that a count takes no memory ahead of its elements: a large count costs an attacker nothing.
class TreeReading
{
public:
    TreeReading(Arena& arena, Reader& reader)
        : arena_(arena)
        , reader_(reader)
    {
        elements_.reserve(64);
        open_.reserve(8);
    }

    template <typename Nested>
    bool Run(Nested& root)
    {
        if (!Enter(root)) {
            return false;
        }
        while (!open_.empty()) {
            if (open_.back().left == 0) {
                Leave();
            } else if (!ReadElement()) {
                return false;
            }
        }
        return true;
    }

private:
    /// An array or container that expects more elements.
    struct Open
    {
        ArrayValue* array;
        ContainerValue* container; ///< null for an array
        std::uint64_t left;
        std::size_t begin; ///< of its elements on the stack

        Open(ArrayValue* of_array, ContainerValue* of_container, std::uint64_t count, std::size_t place) noexcept
            : array(of_array)
            , container(of_container)
            , left(count)
            , begin(place)
        {}
    };

    bool Enter(ArrayValue& array)
    {
        std::uint64_t count = 0;
        if (!reader_.Read(count)) {
            return false;
        }
        if (count > highest_array_count) {
            throw std::length_error("vector<T> too long");
        }
        open_.emplace_back(&array, nullptr, count, elements_.size());
        return true;
    }

    bool Enter(ContainerValue& container)
    {
        std::uint64_t count = 0;
        if (!reader_.Read(count)) {
            return false;
        }
        open_.emplace_back(nullptr, &container, count, elements_.size());
        return true;
    }

    void Leave()
    {
        const Open& complete = open_.back();
        const auto read = std::span<const Entry>(elements_).subspan(complete.begin);
        if (complete.container != nullptr) {
            complete.container->Assign(read);
        } else {
            complete.array->Assign(read);
        }
        elements_.resize(complete.begin);
        open_.pop_back();
    }

    bool ReadElement()
    {
        Open& open = open_.back();
        --open.left;
        std::uint32_t tag = 0;
        std::uint32_t code = 0;
        if ((open.container != nullptr && !reader_.Read(tag)) || !reader_.Read(code)) {
            return false;
        }
        switch (static_cast<TypeCode>(code)) {
        case TypeCode::Bool:
            return ReadSimple<bool>(tag);
        case TypeCode::Unsigned16:
            return ReadSimple<std::uint16_t>(tag);
        case TypeCode::Signed32:
            return ReadSimple<std::int32_t>(tag);
        case TypeCode::Unsigned32:
            return ReadSimple<std::uint32_t>(tag);
        case TypeCode::Array: {
            auto& array = arena_.Make<ArrayValue>(arena_);
            elements_.emplace_back(tag, &array);
            return Enter(array);
        }
        case TypeCode::Container: {
            auto& container = arena_.Make<ContainerValue>(arena_);
            elements_.emplace_back(tag, &container);
            return Enter(container);
        }
        default: {
            Value* const value = CreateValue(arena_, static_cast<TypeCode>(code));
            elements_.emplace_back(tag, value);
            return value != nullptr && value->Deserialize(reader_);
        }
        }
    }

    /// The types of settings, without a virtual call.
    template <typename T>
    bool ReadSimple(std::uint32_t tag)
    {
        auto& value = arena_.Make<SimpleValueImpl<T>>(arena_);
        elements_.emplace_back(tag, &value);
        return value.Deserialize(reader_);
    }

    Arena& arena_;
    Reader& reader_;
    std::vector<Entry> elements_;
    std::vector<Open> open_;
};

/// Visits a tree in the order of its serialised form. Visitor: bool Count(size), bool Tag(tag), bool Type(type),
/// bool Leaf(value), bool EmptySlot(); false ends the visit.
template <typename Visitor>
class TreeVisit
{
public:
    explicit TreeVisit(Visitor& visitor) noexcept
        : visitor_(visitor)
    {}

    template <typename Elements>
    bool Run(const Elements& root)
    {
        if (!Enter(root)) {
            return false;
        }
        while (!open_.empty()) {
            Open& open = open_.back();
            if (open.left == 0) {
                open_.pop_back();
                continue;
            }
            --open.left;
            if (open.item != nullptr) {
                if (!Visit(*open.item++)) {
                    return false;
                }
                continue;
            }
            const auto& [tag, value] = *open.entry++;
            if (!visitor_.Tag(tag) || !Visit(value)) {
                return false;
            }
        }
        return true;
    }

private:
    /// An array or container that has more elements.
    struct Open
    {
        Value* const* item; ///< of an array, otherwise null
        const Entry* entry;
        std::size_t left;
    };

    bool Enter(std::span<Value* const> items)
    {
        open_.push_back({items.data(), nullptr, items.size()});
        return visitor_.Count(items.size());
    }

    bool Enter(std::span<const Entry> entries)
    {
        open_.push_back({nullptr, entries.data(), entries.size()});
        return visitor_.Count(entries.size());
    }

    bool Visit(const Value* value)
    {
        if (value == nullptr) {
            return visitor_.EmptySlot();
        }
        const TypeCode type = value->Type();
        if (!visitor_.Type(type)) {
            return false;
        }
        switch (type) {
        case TypeCode::Array:
            return Enter(static_cast<const ArrayValue&>(*value).Elements());
        case TypeCode::Container:
            return Enter(static_cast<const ContainerValue&>(*value).Elements());
        default:
            return visitor_.Leaf(*value);
        }
    }

    Visitor& visitor_;
    std::vector<Open> open_;
};

struct Measure
{
    std::size_t size = 0;

    bool Add(std::size_t bytes) noexcept
    {
        size += bytes;
        return true;
    }
    bool Count(std::size_t) noexcept { return Add(count_size); }
    bool Tag(std::uint32_t) noexcept { return Add(tag_size); }
    bool Type(TypeCode) noexcept { return Add(type_size); }
    bool Leaf(const Value& value) { return Add(value.SerializedSize()); }
    bool EmptySlot() noexcept { return Add(type_size); }
};

struct Writing
{
    Writer& writer;

    bool Count(std::size_t count) noexcept { return writer.Write(std::uint64_t{count}); }
    bool Tag(std::uint32_t tag) noexcept { return writer.Write(tag); }
    bool Type(TypeCode type) noexcept { return writer.Write(static_cast<std::uint32_t>(type)); }
    bool Leaf(const Value& value) { return value.Serialize(writer); }
    bool EmptySlot() noexcept { return false; }
};

template <typename Nested>
std::size_t SizeOf(const Nested& root)
{
    Measure measure;
    TreeVisit<Measure>(measure).Run(root.Elements());
    return measure.size;
}

template <typename Nested>
bool WriteAll(const Nested& root, Writer& writer)
{
    Writing writing{writer};
    return TreeVisit<Writing>(writing).Run(root.Elements());
}

} // namespace

bool ReadTree(ArrayValue& root, Reader& reader)
{
    return TreeReading(root.Memory(), reader).Run(root);
}

bool ReadTree(ContainerValue& root, Reader& reader)
{
    return TreeReading(root.Memory(), reader).Run(root);
}

std::size_t TreeSize(const ArrayValue& root)
{
    return SizeOf(root);
}

std::size_t TreeSize(const ContainerValue& root)
{
    return SizeOf(root);
}

bool WriteTree(const ArrayValue& root, Writer& writer)
{
    return WriteAll(root, writer);
}

bool WriteTree(const ContainerValue& root, Writer& writer)
{
    return WriteAll(root, writer);
}

} // namespace cctool::Serialization::StlDTree::detail
