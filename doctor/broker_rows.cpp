#include "doctor/broker_rows.h"

#include "outlook/qdmailprotect/mapi/com_error.h"
#include "settings/settings_blob.h"
#include "tool/system/conversions.h"

#include <exception>

namespace doctor {

namespace {

/// Returns the meaning of the failures by which COM finds no broker.
std::string words_of(std::uint32_t result)
{
    switch (result) {
    case 0x800401F3: // CO_E_CLASSSTRING
    case 0x80040154: // REGDB_E_CLASSNOTREG
        return "no settings broker is registered";
    case 0x8007007E: // ERROR_MOD_NOT_FOUND
    case 0x80070002: // ERROR_FILE_NOT_FOUND
        return "the module of the settings broker does not exist";
    case 0x80070005: // E_ACCESSDENIED
        return "the settings broker denies access";
    case 0x80080005: // CO_E_SERVER_EXEC_FAILURE
        return "the settings broker does not start";
    default:
        return "the settings broker fails with error 0x" + winapi::hex32(result);
    }
}

std::string port_and_path(const DOVA::Settings::WebTrafficMonitorSettings& settings)
{
    return "port " + std::to_string(settings.ServerPort.Effective()) + ", path /" +
           winapi::conv_to_char(settings.Uri.Effective(), winapi::code_page_utf8);
}

} // namespace

broker_answer ask(SettingsBroker& broker)
{
    try {
        const auto visit = broker.Begin();
        visit->Connect();
        return {DOVA::Settings::SettingsFromBlob(visit->Load()), {}};
    } catch (const ComError& failure) {
        return {{}, words_of(static_cast<std::uint32_t>(failure.Error()))};
    } catch (const std::exception& failure) {
        return {{}, std::string("the answer of the settings broker is no settings record: ") + failure.what()};
    }
}

finding broker_row(const broker_answer& answer)
{
    if (!answer.settings) {
        return failed(answer.failure,
                      "Install the settings broker, or repair it. Without it the add-in uses its default "
                      "settings: port 1345, path /webscan.");
    }
    return ok("answers with a settings record");
}

finding settings_row(const broker_answer& answer)
{
    if (!answer.settings) {
        return not_applicable("no settings; the default ones are in force");
    }
    const auto& settings = *answer.settings;
    const std::string found = port_and_path(settings);
    if (!settings.UseOutlookPlugin.Effective()) {
        return failed(found + "; the add-in is switched off", "Set UseOutlookPlugin in the settings.");
    }
    if (settings.UseSizeLimit.Effective()) {
        const std::uint32_t limit = settings.SizeLimit.Effective();
        const std::string limited = found + "; objects over " + std::to_string(limit) + " bytes are not scanned";
        constexpr std::uint32_t small = 1U << 20U;
        if (limit < small) {
            return warning(limited, "Raise SizeLimit: attachments of ordinary mail are larger.");
        }
        return ok(limited);
    }
    return ok(found + "; no size limit");
}

} // namespace doctor
