#include "settings/settings_blob.h"

#include "settings/newest_layout.h"
#include "settings/task_settings_ser.h"

namespace DOVA::Settings {

WebTrafficMonitorSettings SettingsFromBlob(std::span<const std::uint8_t> blob)
{
    WebTrafficMonitorSettings settings;
    cctool::Serialization::BlobReader reader(blob.data(), blob.size());
    std::uint64_t entries = 0;
    if (reader.ReadCount(entries) && ReadNewestLayout(reader, entries, settings)) {
        return settings;
    }
    const auto tree = cctool::Serialization::ContainerFromBinary(blob.data(), blob.size());
    settings = {};
    Deserialize(settings, *tree);
    return settings;
}

std::vector<std::uint8_t> BlobFromSettings(const WebTrafficMonitorSettings& settings)
{
    const auto tree = cctool::Serialization::CreateEmptyContainer();
    Serialize(settings, *tree);
    std::vector<std::uint8_t> blob;
    if (!tree->GetBlob(blob, false)) {
        throw cctool::Serialization::InvalidDataError({"settings/settings_blob", __LINE__}); // no slot is left empty
    }
    return blob;
}

} // namespace DOVA::Settings
