#pragma once

namespace doctor {

inline constexpr const char* addin_name = "QDMailProtect.Connect";
inline constexpr const char* module_name = "postwarden.dll";
inline constexpr const char* addins_key = "Software\\Microsoft\\Office\\Outlook\\Addins\\QDMailProtect.Connect";
inline constexpr const char* class_key =
    "Software\\Classes\\CLSID\\{73701B94-160C-49E1-91DF-B8CEAAD06DC1}\\InprocServer32";
inline constexpr const char* office_key = "Software\\Microsoft\\Office";
inline constexpr const char* policies_key = "Software\\Policies\\Microsoft\\Office";
inline constexpr const char* office_32_key = "Software\\WOW6432Node\\Microsoft\\Office";
inline constexpr const char* client_key = "Software\\Microsoft\\Windows\\CurrentVersion\\App Paths\\OUTLOOK.EXE";
inline constexpr const char* environment_key = "Software\\MorvelaneLab\\TRAL\\11.0\\Environment";

} // namespace doctor
