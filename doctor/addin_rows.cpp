#include "doctor/addin_rows.h"

#include "doctor/addin_keys.h"
#include "tool/system/ascii.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <vector>

namespace doctor {

namespace {

constexpr std::uint32_t loaded_at_start = 3;
constexpr const char* install_remedy =
    "Install the add-in with the installer, or register it with regsvr32, as an administrator.";

/// Returns the client's versions below a key, such as "16.0".
std::vector<std::string> versions_below(registry_view& registry, hive root, const std::string& key)
{
    std::vector<std::string> versions;
    for (const std::string& name : registry.subkeys(root, key)) {
        if (name.find_first_not_of("0123456789.") == std::string::npos && name.find('.') != std::string::npos) {
            versions.push_back(name);
        }
    }
    return versions;
}

std::string joined(std::string_view key, std::string_view version, std::string_view rest)
{
    return std::string(key).append("\\").append(version).append("\\Outlook").append(rest);
}

/// Returns true if UTF-16 text in the bytes contains an ASCII text, in either case. The text may begin at any byte.
bool contains_text(const std::vector<std::uint8_t>& bytes, std::string_view text)
{
    for (std::size_t place = 0; place + 2 * text.size() <= bytes.size(); ++place) {
        std::size_t same = 0;
        while (same < text.size() && bytes[place + 2 * same + 1] == 0 &&
               winapi::ascii_lower(static_cast<char>(bytes[place + 2 * same])) == winapi::ascii_lower(text[same])) {
            ++same;
        }
        if (same == text.size()) {
            return true;
        }
    }
    return false;
}

/// Returns true if a list of the client contains the add-in: as the name of a value, or within one.
bool is_listed(registry_view& registry, const std::string& key)
{
    const auto entries = registry.values(hive::user, key);
    return std::any_of(entries.begin(), entries.end(), [](const registry_value& entry) {
        return winapi::same_no_case(entry.name, addin_name) || contains_text(entry.bytes, addin_name) ||
               contains_text(entry.bytes, module_name);
    });
}

/// Returns the finding about an entry of the list of add-ins.
finding entry_finding(registry_view& registry, hive root, const std::string& whose)
{
    const auto behaviour = registry.number(root, addins_key, "LoadBehavior");
    const std::string text = "LoadBehavior " + (behaviour ? std::to_string(*behaviour) : "missing");
    if (behaviour == loaded_at_start) {
        return ok("listed for " + whose + ", " + text);
    }
    return failed("listed for " + whose + ", but not loaded at start: " + text,
                  "Set LoadBehavior to 3 under " + std::string(root == hive::machine ? "HKLM\\" : "HKCU\\") +
                      addins_key + ". The client sets it to 2 when somebody disables the add-in.");
}

/// Returns the path of the module, of the user's registration if there is one, as COM does.
std::string module_path(registry_view& registry)
{
    const auto of_user = registry.text(hive::user, class_key, "");
    return of_user ? *of_user : registry.text(hive::machine, class_key, "").value_or("");
}

std::string unquoted(std::string path)
{
    std::erase(path, '"');
    return path;
}

/// Returns the machine of the client's program; no value if there is no client.
std::optional<machine_type> client_machine(registry_view& registry, program_files& files)
{
    if (const auto path = registry.text(hive::machine, client_key, "")) {
        if (const auto machine = files.look(unquoted(*path)).machine) {
            return machine;
        }
    }
    for (const char* const key : {office_key, office_32_key}) {
        for (const std::string& version : versions_below(registry, hive::machine, key)) {
            const auto bitness = registry.text(hive::machine, joined(key, version, ""), "Bitness");
            if (bitness) {
                return winapi::same_no_case(*bitness, "x64") ? machine_type::x64 : machine_type::x86;
            }
        }
    }
    return {};
}

} // namespace

finding addin_of_machine(registry_view& registry)
{
    const bool has_class = registry.text(hive::machine, class_key, "").has_value();
    if (!registry.has_key(hive::machine, addins_key)) {
        return failed("not in the list of add-ins of this machine", install_remedy);
    }
    finding entry = entry_finding(registry, hive::machine, "the machine");
    if (entry.state == row_state::ok && !has_class) {
        if (registry.text(hive::user, class_key, "")) {
            return warning(entry.found + "; its class is registered for the current user only",
                           "Register the class for the machine, so that it is loaded for the other users too.");
        }
        return failed(entry.found + ", but its class is not registered", install_remedy);
    }
    return entry;
}

finding addin_of_user(registry_view& registry)
{
    if (registry.has_key(hive::user, addins_key)) {
        finding entry = entry_finding(registry, hive::user, "the current user, ahead of the machine");
        if (entry.state != row_state::ok) {
            return entry;
        }
    }
    const auto of_user = registry.text(hive::user, class_key, "");
    const auto of_machine = registry.text(hive::machine, class_key, "");
    if (of_user && of_machine && !winapi::same_no_case(*of_user, *of_machine)) {
        return warning("a module of the current user takes the place of the machine's: " + *of_user,
                       "Remove it by regsvr32 /u /n /i:user, unless it is meant to be tried.");
    }
    if (of_user) {
        return ok("the class is registered for the current user: " + *of_user);
    }
    return ok("nothing of the current user replaces the registration for the machine");
}

finding disabled_lists(registry_view& registry)
{
    std::string noted;
    for (const std::string& version : versions_below(registry, hive::user, office_key)) {
        const std::string resiliency = joined(office_key, version, "\\Resiliency");
        if (is_listed(registry, resiliency + "\\DisabledItems")) {
            return failed("disabled by the client: HKCU\\" + resiliency + "\\DisabledItems",
                          "Enable it in the client under File, Options, Add-ins, Disabled Items, or remove the entry. "
                          "Look for the cause first: see the row verdict-time.");
        }
        if (is_listed(registry, resiliency + "\\CrashingAddinList")) {
            noted = "the client noted a crash: HKCU\\" + resiliency + "\\CrashingAddinList";
        }
    }
    if (!noted.empty()) {
        return warning(noted, "Start the client once more. If the entry remains, look at the log of the add-in.");
    }
    return ok("in no list of disabled add-ins of the current user");
}

finding addin_policy(registry_view& registry)
{
    for (const std::string& version : versions_below(registry, hive::user, policies_key)) {
        const std::string resiliency = joined(policies_key, version, "\\Resiliency");
        const std::string shown = "HKCU\\" + resiliency;
        const auto policy = registry.text(hive::user, resiliency + "\\AddinList", addin_name);
        if (policy == "1") {
            return ok("always enabled by " + shown + "\\AddinList");
        }
        if (policy == "0") {
            return failed("always disabled by " + shown + "\\AddinList", "Set the value of the policy to 1.");
        }
        if (!policy && registry.number(hive::user, resiliency, "RestrictToList").value_or(0) != 0) {
            return failed("blocked: " + shown + " allows listed add-ins only",
                          "Add the add-in to the policy \"List of managed add-ins\" with the value 1.");
        }
    }
    for (const std::string& version : versions_below(registry, hive::user, office_key)) {
        const std::string list = joined(office_key, version, "\\Resiliency\\DoNotDisableAddinList");
        if (registry.number(hive::user, list, addin_name)) {
            return ok("the user keeps it enabled: HKCU\\" + list);
        }
    }
    return not_applicable("no policy: the client may disable the add-in if it is slow");
}

finding addin_module(registry_view& registry, program_files& files, const std::string& version)
{
    const std::string path = unquoted(module_path(registry));
    if (path.empty()) {
        return failed("no module is registered", install_remedy);
    }
    const program_file file = files.look(path);
    if (!file.exists) {
        return failed(path + " does not exist", "Install the add-in again, or correct its registration.");
    }
    if (file.machine != machine_type::x64) {
        return failed(path + " is " + (file.machine ? words_of(*file.machine) : "no module"),
                      "Register the 64-bit module of the installer.");
    }
    const std::string found = path + ", version " + (file.version.empty() ? "unknown" : file.version);
    const std::string number = version.substr(0, version.find(' ')); // without the commit
    if (file.version != number && file.version != number + ".0") {
        return warning(found + "; this program has version " + number,
                       "Install add-in, service and this program from the same package.");
    }
    return ok(found);
}

finding client_bitness(registry_view& registry, program_files& files)
{
    const auto client = client_machine(registry, files);
    if (!client) {
        return not_applicable("no mail client is installed for this machine");
    }
    const std::string path = unquoted(module_path(registry));
    const auto module = path.empty() ? std::nullopt : files.look(path).machine;
    const std::string found = "the client is " + words_of(*client) +
                              (module ? ", the module is " + words_of(*module) : std::string(", there is no module"));
    if (*client != machine_type::x64) {
        return failed(found, "The add-in requires a 64-bit mail client: install that.");
    }
    if (module != client) {
        return failed(found, install_remedy);
    }
    return ok(found);
}

finding hardened_mode(registry_view& registry)
{
    if (registry.number(hive::machine, environment_key, "HardenedScanning").value_or(0) != 0) {
        return ok("hardened scanning is on");
    }
    return warning("hardened scanning is off",
                   "The sender of a mail can prevent its scan. Set HardenedScanning to 1 under HKLM\\" +
                       std::string(environment_key) + ", and restart the mail client.");
}

} // namespace doctor
