#pragma once

#include "settings/field.h"
#include "settings/nested_records.h"
#include "settings/setting.h"

#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

namespace DOVA::Settings {

/// The common beginning of the product's settings of all scans.
struct BaseSettings
{
    Setting<bool> UseTrustedZoneSettings{true};
    Setting<std::int32_t> ScanType{1};
    Setting<std::vector<std::wstring>> ScanExtensionMasks;
    Setting<bool> ScanSfxArchived{true};
    Setting<bool> ScanPacked{true};
    Setting<bool> ScanOle{true};
    Setting<bool> UseTimeLimit{true};
    Setting<std::uint32_t> TimeLimit{60};
    Setting<bool> UseExcludeThreats;
    Setting<std::vector<std::wstring>> ExcludeThreats;

    static constexpr auto Fields()
    {
        using Record = BaseSettings;
        // clang-format off
        return std::tuple(
            Field{1, L"UseTrustedZoneSettings", 0, &Record::UseTrustedZoneSettings},
            Field{2, L"ScanType", 0, &Record::ScanType},
            Field{3, L"ScanExtensionMasks", 0, &Record::ScanExtensionMasks},
            Field{4, L"ScanSfxArchived", 0, &Record::ScanSfxArchived},
            Field{5, L"ScanPacked", 0, &Record::ScanPacked},
            Field{6, L"ScanOle", 0, &Record::ScanOle},
            Field{7, L"UseTimeLimit", 0, &Record::UseTimeLimit},
            Field{8, L"TimeLimit", 0, &Record::TimeLimit},
            Field{9, L"UseExcludeThreats", 1, &Record::UseExcludeThreats},
            Field{10, L"ExcludeThreats", 1, &Record::ExcludeThreats});
        // clang-format on
    }
};

/// The product's settings of its web traffic monitor, with their defaults. The record serves a larger component; the
/// table marks the fields that the add-in reads. Copies are deep. The members are in the order of the table.
struct WebTrafficMonitorSettings // NOLINT(clang-analyzer-optin.performance.Padding)
{
    BaseSettings Base;
    Setting<bool> EnableHttps{true};
    Setting<bool> EnableWmuf{true};
    Setting<bool> EnableAntiPhishing{true};
    Setting<bool> ScanArchived{true};
    Setting<bool> ScanPlainMail{true};
    Setting<Action> InfectedAction{Action{1}, Action{1}};
    Setting<Action> SuspiciousAction{Action{1}, Action{1}};
    Setting<bool> UseAdvancedActions;
    Setting<std::vector<ActionsOnVerdict>> AdvancedActions;
    Setting<bool> UseSizeLimit{true};
    Setting<std::uint32_t> SizeLimit{0x1400000}; ///< bytes
    Setting<bool> EnableFinalByteScanningMode{true};
    Setting<std::uint32_t> FinalByteScanningModeSizeThreshold{1024};
    Setting<bool> UseHeuristicAnalyzer{true};
    Setting<std::int32_t> HeuristicAnalyzerLevel{2};
    Setting<bool> UseTmn{true};
    Setting<std::uint32_t> ServerPort{1345};
    Setting<std::wstring> Uri{L"webscan"}; ///< service path without the leading "/"
    Setting<std::int32_t> ProxyMode{3};
    Setting<bool> UseExtProxyServer;
    Setting<std::uint32_t> ExtProxyServerPort;
    Setting<std::wstring> ExtProxyServerAddress;
    Setting<bool> UseContentCategories;
    Setting<std::vector<ContentCategory>> ContentCategories;
    Setting<bool> UseCertificates{true};
    Setting<std::vector<std::wstring>> CertificateList;
    Setting<bool> UseOutlookPlugin{true};
    Setting<bool> BlockExecInAttach{true};
    Setting<bool> BlockArchivedExecInAttach{true};
    Setting<std::uint32_t> ProxyPort{1347};
    Setting<std::vector<std::uint32_t>> ControlledPorts;
    Setting<std::vector<std::wstring>> ExcludedAddresses;
    Setting<std::vector<SearchPattern>> CertificateSearchPatterns;
    Setting<std::int32_t> AntiPhishingHeuristicAnalyzerLevel{2};
    Setting<std::int32_t> WebCategorizerHeuristicAnalyzerLevel{2};
    Setting<bool> UseUrlRules{true};
    Setting<std::vector<UrlRule>> UrlRules;
    Setting<bool> UseAPSilentDetect;
    Setting<bool> BlockUntrustedCert{true};
    Setting<std::vector<std::uint32_t>> ExcludedPorts;
    Setting<std::int32_t> UsePortMode{2};
    Setting<std::uint32_t> TlsVersion{7};
    Setting<bool> UseExcludeProcesses;
    Setting<std::vector<std::wstring>> ExcludeProcesses;
    Setting<bool> UseSandbox;
    Setting<std::int32_t> MailHeuristicType;

    static constexpr auto Fields()
    {
        using Record = WebTrafficMonitorSettings;
        // clang-format off
        return std::tuple(
            Field{1, L"Base", 0, &Record::Base},
            Field{2, L"EnableHttps", 0, &Record::EnableHttps},
            Field{3, L"EnableWmuf", 0, &Record::EnableWmuf},
            Field{4, L"EnableAntiPhishing", 0, &Record::EnableAntiPhishing},
            Field{5, L"ScanArchived", 0, &Record::ScanArchived},
            Field{6, L"ScanPlainMail", 0, &Record::ScanPlainMail},
            Field{7, L"InfectedAction", 0, &Record::InfectedAction},
            Field{8, L"SuspiciousAction", 0, &Record::SuspiciousAction},
            Field{9, L"UseAdvancedActions", 0, &Record::UseAdvancedActions},
            Field{10, L"AdvancedActions", 0, &Record::AdvancedActions},
            Field{11, L"UseSizeLimit", 0, &Record::UseSizeLimit, true},
            Field{12, L"SizeLimit", 0, &Record::SizeLimit, true},
            Field{13, L"EnableFinalByteScanningMode", 0, &Record::EnableFinalByteScanningMode},
            Field{14, L"FinalByteScanningModeSizeThreshold", 0, &Record::FinalByteScanningModeSizeThreshold},
            Field{16, L"UseHeuristicAnalyzer", 1, &Record::UseHeuristicAnalyzer},
            Field{17, L"HeuristicAnalyzerLevel", 1, &Record::HeuristicAnalyzerLevel},
            Field{18, L"UseTmn", 1, &Record::UseTmn},
            Field{19, L"ServerPort", 1, &Record::ServerPort, true},
            Field{20, L"Uri", 1, &Record::Uri, true},
            Field{21, L"ProxyMode", 1, &Record::ProxyMode},
            Field{22, L"UseExtProxyServer", 1, &Record::UseExtProxyServer},
            Field{23, L"ExtProxyServerPort", 1, &Record::ExtProxyServerPort},
            Field{24, L"ExtProxyServerAddress", 1, &Record::ExtProxyServerAddress},
            Field{25, L"UseContentCategories", 2, &Record::UseContentCategories},
            Field{26, L"ContentCategories", 2, &Record::ContentCategories},
            Field{27, L"UseCertificates", 2, &Record::UseCertificates},
            Field{28, L"CertificateList", 2, &Record::CertificateList},
            Field{29, L"UseOutlookPlugin", 2, &Record::UseOutlookPlugin, true},
            Field{30, L"BlockExecInAttach", 2, &Record::BlockExecInAttach, true},
            Field{31, L"BlockArchivedExecInAttach", 2, &Record::BlockArchivedExecInAttach},
            Field{32, L"ProxyPort", 2, &Record::ProxyPort},
            Field{33, L"ControlledPorts", 2, &Record::ControlledPorts},
            Field{34, L"ExcludedAddresses", 2, &Record::ExcludedAddresses},
            Field{35, L"CertificateSearchPatterns", 3, &Record::CertificateSearchPatterns},
            Field{36, L"AntiPhishingHeuristicAnalyzerLevel", 4, &Record::AntiPhishingHeuristicAnalyzerLevel},
            Field{37, L"WebCategorizerHeuristicAnalyzerLevel", 4, &Record::WebCategorizerHeuristicAnalyzerLevel},
            Field{38, L"UseUrlRules", 4, &Record::UseUrlRules},
            Field{39, L"UrlRules", 4, &Record::UrlRules},
            Field{40, L"UseAPSilentDetect", 5, &Record::UseAPSilentDetect},
            Field{41, L"BlockUntrustedCert", 6, &Record::BlockUntrustedCert},
            Field{42, L"ExcludedPorts", 7, &Record::ExcludedPorts},
            Field{43, L"UsePortMode", 7, &Record::UsePortMode},
            Field{44, L"TlsVersion", 7, &Record::TlsVersion},
            Field{45, L"UseExcludeProcesses", 8, &Record::UseExcludeProcesses},
            Field{46, L"ExcludeProcesses", 8, &Record::ExcludeProcesses},
            Field{47, L"UseSandbox", 9, &Record::UseSandbox},
            Field{48, L"MailHeuristicType", 9, &Record::MailHeuristicType});
        // clang-format on
    }
};

} // namespace DOVA::Settings
