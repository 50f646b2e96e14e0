#include "bench/checked_state.h"
#include "bench/once.h"
#include "cctool/serialization/container.h"
#include "settings/settings_blob.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using cctool::Serialization::Bytes;
using cctool::Serialization::ContainerFromBinary;
using DOVA::Settings::BlobFromSettings;
using DOVA::Settings::SettingsFromBlob;
using DOVA::Settings::WebTrafficMonitorSettings;

/// Returns settings that a product could have: with `entries` entries in each of the lists that administrators fill.
WebTrafficMonitorSettings SettingsWithLists(std::int64_t entries)
{
    WebTrafficMonitorSettings settings;
    settings.ServerPort = {1345, 1400, true};
    for (std::int64_t entry = 0; entry < entries; ++entry) {
        const std::wstring name = L"host-" + std::to_wstring(entry) + L".example.org";
        settings.ExcludedAddresses.value.push_back(name);
        settings.ExcludeProcesses.value.push_back(L"C:\\Program Files\\Example\\" + name + L".exe");
        settings.UrlRules.value.push_back({true, 1, L"*://" + name + L"/*", L"rule of " + name});
        settings.ControlledPorts.value.push_back(static_cast<std::uint32_t>(1024 + entry));
    }
    return settings;
}

/// As many entries as the benchmark's argument says, and few when it runs only once.
std::int64_t EntriesOf(const benchmark::State& state)
{
    constexpr std::int64_t few = 500;
    return bench::usual_or_once(state.range(0), std::min(state.range(0), few));
}

void CountBytes(benchmark::State& state, std::size_t size)
{
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
    state.counters["blob"] = static_cast<double>(size);
}

/// Whether the tree is written as those bytes.
bool IsWrittenAs(const cctool::Serialization::IBinaryContainer& tree, const Bytes& blob)
{
    Bytes written;
    return tree.GetBlob(written, false) && written == blob;
}

/// The bytes alone: what reading and writing a blob are measured against.
void CopyBlob(benchmark::State& state)
{
    const Bytes blob = BlobFromSettings(SettingsWithLists(EntriesOf(state)));
    Bytes target(blob.size());
    for (auto _ : state) {
        std::memcpy(target.data(), blob.data(), blob.size());
        benchmark::DoNotOptimize(target.data());
        benchmark::ClobberMemory();
    }
    bench::expect(state, target == blob, "other bytes");
    CountBytes(state, blob.size());
}

void DecodeTree(benchmark::State& state)
{
    const Bytes blob = BlobFromSettings(SettingsWithLists(EntriesOf(state)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(ContainerFromBinary(blob.data(), blob.size()));
    }
    bench::expect(state, IsWrittenAs(*ContainerFromBinary(blob.data(), blob.size()), blob), "another tree");
    CountBytes(state, blob.size());
}

void EncodeTree(benchmark::State& state)
{
    const Bytes blob = BlobFromSettings(SettingsWithLists(EntriesOf(state)));
    const auto tree = ContainerFromBinary(blob.data(), blob.size());
    Bytes target;
    for (auto _ : state) {
        benchmark::DoNotOptimize(tree->GetBlob(target, false));
    }
    bench::expect(state, target == blob, "another blob");
    CountBytes(state, blob.size());
}

/// One text or binary value of many bytes: the cost of bytes rather than of values.
template <typename Value>
std::shared_ptr<cctool::Serialization::IBinaryContainer> TreeOfOneValue(const Value& value)
{
    auto tree = cctool::Serialization::CreateEmptyContainer();
    if constexpr (std::is_same_v<Value, Bytes>) {
        tree->SetBinary(1, value);
    } else {
        tree->Set(1, value);
    }
    return tree;
}

void DecodeTreeOf(benchmark::State& state, std::size_t least_size,
                  const std::shared_ptr<cctool::Serialization::IBinaryContainer>& tree)
{
    Bytes blob;
    bench::expect(state, tree->GetBlob(blob, false) && blob.size() > least_size, "no blob of the value");
    for (auto _ : state) {
        benchmark::DoNotOptimize(ContainerFromBinary(blob.data(), blob.size()));
    }
    bench::expect(state, IsWrittenAs(*ContainerFromBinary(blob.data(), blob.size()), blob), "another tree");
    CountBytes(state, blob.size());
}

constexpr std::size_t many = 1U << 20U;

void DecodeBinary(benchmark::State& state)
{
    DecodeTreeOf(state, many, TreeOfOneValue(Bytes(many, 'x')));
}

void DecodeWideText(benchmark::State& state)
{
    DecodeTreeOf(state, many, TreeOfOneValue(std::wstring(many / 2, L'x')));
}

void LoadSettings(benchmark::State& state)
{
    const WebTrafficMonitorSettings settings = SettingsWithLists(EntriesOf(state));
    const Bytes blob = BlobFromSettings(settings);
    for (auto _ : state) {
        benchmark::DoNotOptimize(SettingsFromBlob(blob));
    }
    bench::expect(state, SettingsFromBlob(blob) == settings, "other settings");
    CountBytes(state, blob.size());
}

void MakeBlob(benchmark::State& state)
{
    const WebTrafficMonitorSettings settings = SettingsWithLists(EntriesOf(state));
    Bytes blob;
    for (auto _ : state) {
        blob = BlobFromSettings(settings);
    }
    bench::expect(state, SettingsFromBlob(blob) == settings, "other settings");
    CountBytes(state, blob.size());
}

void CompareEqualSettings(benchmark::State& state)
{
    const WebTrafficMonitorSettings settings = SettingsWithLists(EntriesOf(state));
    const WebTrafficMonitorSettings same = settings;
    for (auto _ : state) {
        if (!bench::expect(state, settings == same, "equal settings differ")) {
            break;
        }
    }
}

// The settings of a new product, of a busy one, and of one whose lists are never cleaned up.
BENCHMARK(CopyBlob)->Arg(0)->Arg(50)->Arg(5000)->Unit(benchmark::kMicrosecond);
BENCHMARK(DecodeTree)->Arg(0)->Arg(50)->Arg(5000)->Unit(benchmark::kMicrosecond);
BENCHMARK(EncodeTree)->Arg(0)->Arg(50)->Arg(5000)->Unit(benchmark::kMicrosecond);
BENCHMARK(DecodeBinary)->Unit(benchmark::kMicrosecond);
BENCHMARK(DecodeWideText)->Unit(benchmark::kMicrosecond);
BENCHMARK(LoadSettings)->Arg(0)->Arg(50)->Arg(5000)->Unit(benchmark::kMicrosecond);
BENCHMARK(MakeBlob)->Arg(0)->Arg(50)->Arg(5000)->Unit(benchmark::kMicrosecond);
BENCHMARK(CompareEqualSettings)->Arg(0)->Arg(50)->Arg(5000)->Unit(benchmark::kMicrosecond);

} // namespace
