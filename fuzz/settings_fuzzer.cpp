#include "cctool/error.h"
#include "desk/settings/settings_json.h"
#include "settings/settings_blob.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <stdexcept>

/// Reads a settings blob. The record that was read must be read back from its blob as an equal one, and have a JSON
/// form.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace DOVA::Settings;
    WebTrafficMonitorSettings settings;
    try {
        settings = SettingsFromBlob(std::span(data, size));
    } catch (const cctool::Error& refused) {
        (void)refused.what();
        return 0;
    } catch (const std::length_error&) {
        return 0;
    }
    const auto fail = [](const char* what) {
        std::fprintf(stderr, "%s\n", what);
        std::abort();
    };
    if (!(SettingsFromBlob(BlobFromSettings(settings)) == settings)) {
        fail("settings are not those that were written");
    }
    // Unpaired surrogates are replaced on the way to JSON, so only a record that came from JSON must come back equal. A
    // record that is equal at once is not converted again: JSON is most of the cost of a run.
    const WebTrafficMonitorSettings from_json = SettingsFromJson(JsonFromSettings(settings));
    if (!(from_json == settings) && !(SettingsFromJson(JsonFromSettings(from_json)) == from_json)) {
        fail("settings are not those that were told as JSON");
    }
    return 0;
}
