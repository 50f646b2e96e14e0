#include "doctor/addin_keys.h"
#include "doctor/addin_rows.h"
#include "tests/doctor/findings.h"

#include <map>
#include <utility>

namespace addin_rows_test {

using namespace doctor;

const std::string office = "Software\\Microsoft\\Office\\16.0\\Outlook";
const std::string resiliency = office + "\\Resiliency";
const std::string policies = "Software\\Policies\\Microsoft\\Office\\16.0\\Outlook\\Resiliency";

using place = std::pair<hive, std::string>;

/// A registry in memory.
struct stand_in_registry final : registry_view
{
    std::map<place, std::map<std::string, std::string>> texts;
    std::map<place, std::map<std::string, std::uint32_t>> numbers;
    std::map<place, std::vector<registry_value>> lists;

    bool has_key(hive root, const std::string& path) override
    {
        return texts.contains({root, path}) || numbers.contains({root, path});
    }
    std::vector<std::string> subkeys(hive root, const std::string& path) override
    {
        std::vector<std::string> names{"Common", "1.x"};
        const auto add = [&](const auto& keys) {
            for (const auto& [key, ignored] : keys) {
                const std::string begin = path + "\\";
                if (key.first == root && key.second.starts_with(begin)) {
                    names.push_back(
                        key.second.substr(begin.size(), key.second.find('\\', begin.size()) - begin.size()));
                }
            }
        };
        add(texts);
        add(numbers);
        add(lists);
        return names;
    }
    std::optional<std::string> text(hive root, const std::string& path, const std::string& name) override
    {
        return found_in(texts, root, path, name);
    }
    std::optional<std::uint32_t> number(hive root, const std::string& path, const std::string& name) override
    {
        return found_in(numbers, root, path, name);
    }
    std::vector<registry_value> values(hive root, const std::string& path) override { return lists[{root, path}]; }

private:
    template <typename Value>
    static std::optional<Value> found_in(const std::map<place, std::map<std::string, Value>>& keys, hive root,
                                         const std::string& path, const std::string& name)
    {
        const auto key = keys.find({root, path});
        if (key == keys.end() || !key->second.contains(name)) {
            return {};
        }
        return key->second.at(name);
    }
};

struct stand_in_files final : program_files
{
    std::map<std::string, program_file> files;

    program_file look(const std::string& path) override { return files[path]; }
};

std::vector<std::uint8_t> utf16(const std::string& text)
{
    std::vector<std::uint8_t> bytes{1, 0, 0, 0, 7}; // the client's list has numbers ahead of the texts
    for (const char c : text) {
        bytes.push_back(static_cast<std::uint8_t>(c));
        bytes.push_back(0);
    }
    return bytes;
}

class addin_rows : public testing::Test
{
protected:
    void SetUp() override
    {
        registry.numbers[{hive::machine, addins_key}]["LoadBehavior"] = 3;
        registry.texts[{hive::machine, class_key}][""] = "C:\\p\\postwarden.dll";
        files.files["C:\\p\\postwarden.dll"] = {true, machine_type::x64, "1.2.3.0"};
    }

    stand_in_registry registry;
    stand_in_files files;
};

TEST_F(addin_rows, find_the_registration_for_the_machine)
{
    EXPECT_THAT(addin_of_machine(registry), is_finding(row_state::ok, "LoadBehavior 3", ""));
    registry.numbers[{hive::machine, addins_key}]["LoadBehavior"] = 2;
    EXPECT_THAT(addin_of_machine(registry), is_finding(row_state::failed, "LoadBehavior 2", "to 3 under HKLM\\"));
    registry.numbers[{hive::machine, addins_key}].clear();
    EXPECT_THAT(addin_of_machine(registry), is_finding(row_state::failed, "LoadBehavior missing", "HKLM"));
    registry.numbers.clear();
    EXPECT_THAT(addin_of_machine(registry), is_finding(row_state::failed, "not in the list", "regsvr32"));
}

TEST_F(addin_rows, find_a_missing_class)
{
    registry.texts.clear();
    EXPECT_THAT(addin_of_machine(registry), is_finding(row_state::failed, "class is not registered", "regsvr32"));
    registry.texts[{hive::user, class_key}][""] = "C:\\u\\postwarden.dll";
    EXPECT_THAT(addin_of_machine(registry), is_finding(row_state::warning, "current user only", "for the machine"));
}

TEST_F(addin_rows, find_entries_of_the_user)
{
    EXPECT_THAT(addin_of_user(registry), is_finding(row_state::ok, "nothing of the current user", ""));
    registry.texts[{hive::user, class_key}][""] = "c:\\P\\postwarden.DLL";
    EXPECT_THAT(addin_of_user(registry), is_finding(row_state::ok, "registered for the current user", ""));
    registry.texts[{hive::user, class_key}][""] = "C:\\u\\postwarden.dll";
    EXPECT_THAT(addin_of_user(registry), is_finding(row_state::warning, "C:\\u\\postwarden.dll", "regsvr32 /u"));
    registry.numbers[{hive::user, addins_key}]["LoadBehavior"] = 0;
    EXPECT_THAT(addin_of_user(registry), is_finding(row_state::failed, "LoadBehavior 0", "to 3 under HKCU\\"));
}

TEST_F(addin_rows, find_the_lists_of_disabled_addins)
{
    EXPECT_THAT(disabled_lists(registry), is_finding(row_state::ok, "in no list", ""));
    auto& crashed = registry.lists[{hive::user, resiliency + "\\CrashingAddinList"}];
    auto& disabled = registry.lists[{hive::user, resiliency + "\\DisabledItems"}];
    crashed = disabled = {{"A1", utf16("C:\\other.dll")}, {"B2", {}}, {"C3", {'p', 0}}};
    EXPECT_THAT(disabled_lists(registry), is_finding(row_state::ok, "in no list", ""));
    crashed.push_back({"D4", utf16("c:\\p\\PostWarden.dll")});
    EXPECT_THAT(disabled_lists(registry), is_finding(row_state::warning, "CrashingAddinList", "Start the client"));
    disabled.push_back({"D4", utf16("c:\\p\\PostWarden.dll")});
    EXPECT_THAT(disabled_lists(registry),
                is_finding(row_state::failed, "16.0\\Outlook\\Resiliency\\DisabledItems", "remove the entry"));
    disabled = {{"D4", utf16("qdmailprotect.connect")}};
    EXPECT_THAT(disabled_lists(registry), is_finding(row_state::failed, "DisabledItems", "remove the entry"));
    disabled = {{"qdmailprotect.connect", {1, 0, 0, 0}}};
    EXPECT_THAT(disabled_lists(registry), is_finding(row_state::failed, "DisabledItems", "remove the entry"));
}

TEST_F(addin_rows, find_the_policy)
{
    EXPECT_THAT(addin_policy(registry), is_finding(row_state::not_applicable, "no policy", ""));
    registry.numbers[{hive::user, resiliency + "\\DoNotDisableAddinList"}][addin_name] = 1;
    EXPECT_THAT(addin_policy(registry), is_finding(row_state::ok, "DoNotDisableAddinList", ""));
    registry.numbers[{hive::user, policies}]["RestrictToList"] = 1;
    EXPECT_THAT(addin_policy(registry), is_finding(row_state::failed, "listed add-ins only", "with the value 1"));
    auto& policy = registry.texts[{hive::user, policies + "\\AddinList"}][addin_name];
    policy = "1";
    EXPECT_THAT(addin_policy(registry), is_finding(row_state::ok, "always enabled", ""));
    policy = "0";
    EXPECT_THAT(addin_policy(registry), is_finding(row_state::failed, "always disabled", "to 1"));
    policy = "2";
    EXPECT_THAT(addin_policy(registry), is_finding(row_state::ok, "DoNotDisableAddinList", ""));
}

TEST_F(addin_rows, look_at_the_module)
{
    const auto found = [this] { return addin_module(registry, files, "1.2.3"); };
    auto& file = files.files["C:\\p\\postwarden.dll"];
    EXPECT_THAT(found(), is_finding(row_state::ok, "C:\\p\\postwarden.dll, version 1.2.3.0", ""));
    file.version = "1.2.4.0";
    EXPECT_THAT(found(), is_finding(row_state::warning, "1.2.4.0; this program has version 1.2.3", "same package"));
    file.version = "";
    EXPECT_THAT(found(), is_finding(row_state::warning, "version unknown", "same package"));
    file.machine = machine_type::x86;
    EXPECT_THAT(found(), is_finding(row_state::failed, "32-bit", "64-bit module"));
    file.machine.reset();
    EXPECT_THAT(found(), is_finding(row_state::failed, "no module", "64-bit module"));
    file.exists = false;
    EXPECT_THAT(found(), is_finding(row_state::failed, "does not exist", "Install the add-in again"));
    registry.texts.clear();
    EXPECT_THAT(found(), is_finding(row_state::failed, "no module is registered", "regsvr32"));
}

TEST_F(addin_rows, look_at_the_module_that_the_user_loads)
{
    registry.texts[{hive::user, class_key}][""] = "\"C:\\u\\postwarden.dll\"";
    files.files["C:\\u\\postwarden.dll"] = {true, machine_type::x64, "1.2.3.0"};
    EXPECT_THAT(addin_module(registry, files, "1.2.3"),
                is_finding(row_state::ok, "C:\\u\\postwarden.dll, version", ""));
}

TEST_F(addin_rows, compare_module_and_client)
{
    const auto found = [this] { return client_bitness(registry, files); };
    EXPECT_THAT(found(), is_finding(row_state::not_applicable, "no mail client", ""));
    auto& bitness = registry.texts[{hive::machine, office}]["Bitness"];
    bitness = "x64";
    EXPECT_THAT(found(), is_finding(row_state::ok, "client is 64-bit (x64), the module is 64-bit (x64)", ""));
    bitness = "x86";
    EXPECT_THAT(found(), is_finding(row_state::failed, "client is 32-bit", "64-bit mail client"));
    registry.texts[{hive::machine, client_key}][""] = "\"C:\\o\\OUTLOOK.EXE\"";
    files.files["C:\\o\\OUTLOOK.EXE"] = {true, machine_type::x64, ""};
    EXPECT_THAT(found(), is_finding(row_state::ok, "client is 64-bit (x64)", ""));
    files.files["C:\\p\\postwarden.dll"].machine = machine_type::arm64;
    EXPECT_THAT(found(), is_finding(row_state::failed, "the module is 64-bit (ARM64)", "regsvr32"));
    files.files["C:\\p\\postwarden.dll"] = {};
    EXPECT_THAT(found(), is_finding(row_state::failed, "there is no module", "regsvr32"));
}

TEST_F(addin_rows, find_a_32_bit_client_where_the_system_hides_it)
{
    registry.texts[{hive::machine, "Software\\WOW6432Node\\Microsoft\\Office\\15.0\\Outlook"}]["Bitness"] = "x86";
    EXPECT_THAT(client_bitness(registry, files), is_finding(row_state::failed, "32-bit", "64-bit mail client"));
}

TEST_F(addin_rows, find_hardened_scanning)
{
    EXPECT_THAT(hardened_mode(registry), is_finding(row_state::warning, "off", "HardenedScanning to 1"));
    auto& number = registry.numbers[{hive::machine, environment_key}]["HardenedScanning"];
    number = 0;
    EXPECT_THAT(hardened_mode(registry), is_finding(row_state::warning, "off", "HardenedScanning to 1"));
    number = 7;
    EXPECT_THAT(hardened_mode(registry), is_finding(row_state::ok, "on", ""));
}

} // namespace addin_rows_test
