#include "packaging/configure/configured_files.h"

#include "packaging/configure/agreed_port.h"
#include "packaging/configure/configuration_files.h"
#include "packaging/configure/configuration_texts.h"
#include "packaging/configure/installed_service.h"
#include "tool/system/conversions.h"

#include <optional>
#include <stdexcept>

namespace packaging {

namespace {

/// Removes the options again if the service does not accept them.
void have_verified(const configured_files& files, const std::string& engines, const std::wstring& program)
{
    try {
        if (!accepts_configuration(program, files.options().wstring())) {
            throw std::invalid_argument("ENGINE: the service refuses \"" + engines + '"');
        }
    } catch (const std::exception&) {
        remove_unless_changed(files.options());
        throw;
    }
}

} // namespace

configured_files::configured_files(const std::filesystem::path& folder)
    : folder_(folder.lexically_normal())
{
    if (!folder_.has_filename()) {
        folder_ = folder_.parent_path();
    }
}

std::filesystem::path configured_files::options() const
{
    return folder_ / L"service.conf";
}

std::filesystem::path configured_files::settings() const
{
    return folder_ / L"settings.json";
}

std::filesystem::path configured_files::logs() const
{
    return folder_ / L"logs";
}

void configure_service(const configured_files& files, const broker::access_rules& rules, const std::string& port,
                       const std::string& engines, const std::wstring& program)
{
    give_to_administrators(files.folder());
    if (is_present(files.options(), rules)) {
        return;
    }
    const auto settings = present_contents(files.settings(), rules);
    const auto of_addin = settings ? port_of_addin(*settings) : std::nullopt;
    const auto log = winapi::conv_to_char((files.logs() / L"service.log").wstring(), winapi::code_page_utf8);
    const auto text = service_configuration(agreed_port(port, of_addin, "settings.json"), engines, log);
    write_unless_present(files.options(), text, rules);
    have_verified(files, engines, program);
}

void configure_broker(const configured_files& files, const broker::access_rules& rules, const std::string& port)
{
    give_to_administrators(files.folder());
    if (is_present(files.settings(), rules)) {
        return;
    }
    const auto options = present_contents(files.options(), rules);
    const auto of_service = options ? port_of_service(*options) : std::nullopt;
    write_unless_present(files.settings(), broker_settings(agreed_port(port, of_service, "service.conf")), rules);
}

} // namespace packaging
