// Settings blobs: read, written and compared, beside the bytes alone and beside protobuf.

#include "bench/contest.h"
#include "bench/once.h"
#include "bench/settings_peer.h"
#include "cctool/serialization/container.h"
#include "settings/settings_blob.h"

#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

using cctool::Serialization::Bytes;
using cctool::Serialization::ContainerFromBinary;
using cctool::Serialization::IBinaryContainer;
using DOVA::Settings::BlobFromSettings;
using DOVA::Settings::SettingsFromBlob;
using DOVA::Settings::WebTrafficMonitorSettings;

/// Returns settings that a product could have: with `entries` entries in each of the lists that administrators fill.
WebTrafficMonitorSettings SettingsWithLists(std::size_t entries)
{
    WebTrafficMonitorSettings settings;
    settings.ServerPort = {1345, 1400, true};
    for (std::size_t entry = 0; entry < entries; ++entry) {
        const std::wstring name = L"host-" + std::to_wstring(entry) + L".example.org";
        settings.ExcludedAddresses.value.push_back(name);
        settings.ExcludeProcesses.value.push_back(L"C:\\Program Files\\Example\\" + name + L".exe");
        settings.UrlRules.value.push_back({true, 1, L"*://" + name + L"/*", L"rule of " + name});
        settings.ControlledPorts.value.push_back(static_cast<std::uint32_t>(1024 + entry));
    }
    return settings;
}

/// Does a piece of work as often as a contender is asked to.
template <typename Work>
bench::contender Repeated(std::string name, Work work)
{
    return {std::move(name),
            [work](std::uint64_t count) {
                for (; count > 0; --count) {
                    work();
                }
            },
            {}};
}

/// The bytes alone: what reading and writing a blob are measured against.
bench::rival Copy(const Bytes& blob)
{
    return {Repeated("a copy of the bytes",
                     [&blob, target = std::make_shared<Bytes>(blob.size())] {
                         std::memcpy(target->data(), blob.data(), blob.size());
                         bench::keep(*target);
                     }),
            bench::ratio::cost, 0};
}

/// The tree is written as those bytes.
void CheckTree(const IBinaryContainer& tree, const Bytes& blob)
{
    Bytes written;
    bench::require(tree.GetBlob(written, false) && written == blob, "another tree was read");
}

bench::contender Decoding(const Bytes& blob)
{
    CheckTree(*ContainerFromBinary(blob.data(), blob.size()), blob);
    return Repeated("the tree", [&blob] {
        const auto tree = ContainerFromBinary(blob.data(), blob.size());
        bench::require(tree->HasElement(1), "an empty tree was read");
    });
}

/// A settings record in both forms, and how each is read and written.
class Case
{
public:
    /// `goal`: the greatest part of the peer's time that reading may take, 0 if there is no goal.
    Case(std::size_t entries, double goal)
        : goal_(goal)
        , settings_(SettingsWithLists(entries))
        , blob_(BlobFromSettings(settings_))
        , message_(bench::peer::bytes_of(settings_))
        , last_pattern_(entries == 0 ? 0 : settings_.UrlRules.value.back().UrlPattern.size())
    {}

    void Hold(bench::contests& all, const std::string& size) const
    {
        const std::string name = "settings blob of " + size;
        auto rivals = Parsing();
        rivals.push_back(Copy(blob_));
        all.hold({name + ": decode", Decoding(blob_), rivals});
        all.hold({name + ": load", Loading(), rivals});
        HoldWriting(all, name);
        const WebTrafficMonitorSettings same = settings_;
        const auto compare = [this, &same] { bench::require(settings_ == same, "equal settings differ"); };
        const Bytes same_bytes = blob_;
        const auto compare_bytes = [this, &same_bytes] { bench::require(blob_ == same_bytes, "equal bytes differ"); };
        all.hold({name + ": compare",
                  Repeated("the record", compare),
                  {{Repeated("comparison of the bytes", compare_bytes), bench::ratio::cost, 0}}});
    }

private:
    [[nodiscard]] bench::contender Loading() const
    {
        bench::require(SettingsFromBlob(blob_) == settings_, "other settings were loaded");
        return Repeated("the record", [this] {
            const WebTrafficMonitorSettings loaded = SettingsFromBlob(blob_);
            bench::require(loaded.UrlRules.value.size() == settings_.UrlRules.value.size(), "rules are missing");
        });
    }

    [[nodiscard]] std::vector<bench::rival> Parsing() const
    {
        if (!bench::peer::is_there()) {
            return {};
        }
        const auto parse = [this](auto how) {
            return [this, how](std::uint64_t count) {
                bench::require(how(message_, count) == last_pattern_, "the peer read other settings");
            };
        };
        return {{{"protobuf", parse(bench::peer::parse), {}}, bench::ratio::cost, goal_},
                {{"protobuf in an arena", parse(bench::peer::parse_in_arena), {}}, bench::ratio::cost, 0}};
    }

    void HoldWriting(bench::contests& all, const std::string& name) const
    {
        const auto tree = ContainerFromBinary(blob_.data(), blob_.size());
        std::vector<bench::rival> rivals;
        if (bench::peer::is_there()) {
            const auto serialise = [this](std::uint64_t count) {
                bench::require(bench::peer::serialise(message_, count) == message_.size(), "the peer wrote less");
            };
            rivals.push_back({{"protobuf", serialise, {}}, bench::ratio::cost, 0});
        }
        rivals.push_back(Copy(blob_));
        const auto encode = [this, &tree] {
            Bytes target;
            bench::require(tree->GetBlob(target, false) && target.size() == blob_.size(), "another blob was written");
        };
        CheckTree(*tree, blob_);
        all.hold({name + ": encode", Repeated("the tree", encode), rivals});
        const auto make = [this] {
            bench::require(BlobFromSettings(settings_).size() == blob_.size(), "another blob was made");
        };
        all.hold({name + ": make", Repeated("the record", make), rivals});
    }

    double goal_;
    WebTrafficMonitorSettings settings_;
    Bytes blob_;
    std::string message_;
    std::size_t last_pattern_;
};

/// One text or binary value of many bytes: the cost of bytes rather than of values.
template <typename Set>
void HoldOneValue(bench::contests& all, const std::string& work, const Set& set)
{
    const auto tree = cctool::Serialization::CreateEmptyContainer();
    set(*tree);
    Bytes blob;
    bench::require(tree->GetBlob(blob, false), "no blob of the value");
    all.hold({work, Decoding(blob), {Copy(blob)}});
}

constexpr std::size_t many = 1U << 20U;

} // namespace

int main(int count, char** arguments)
{
    return bench::run_contests(count, arguments, [](bench::contests& all) {
        // The settings of a new product, of a busy one, and of one whose lists are never cleaned up.
        Case(0, 0).Hold(all, "2 KB");
        Case(50, 1.0).Hold(all, "20 KB");
        Case(bench::usual_or_once<std::size_t>(5000, 500), 0).Hold(all, "2 MB");
        HoldOneValue(all, "binary value of 1 MiB: decode",
                     [](IBinaryContainer& tree) { tree.SetBinary(1, Bytes(many, 'x')); });
        HoldOneValue(all, "text of 1 MiB: decode",
                     [](IBinaryContainer& tree) { tree.Set(1, std::wstring(many / 2, L'x')); });
    });
}
