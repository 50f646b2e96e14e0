#pragma once

#include "outlook/qdmailprotect/disinfection/string_resources.h"

#include <platform/handles.h>

/// Texts from string resources: those of the localisation library if it is present and contains the text, otherwise
/// those of the add-in's own module.
class LocalisedStrings final : public StringResources
{
public:
    /// The file name of the localisation library, which is located in the add-in's own folder. The library contains
    /// translated string resources and no code.
    static constexpr const wchar_t* LibraryName = L"postwarden_loc.dll";
    /// A longer text is truncated to this number of characters.
    static constexpr std::size_t LongestText = 512;

    /// Loads the localisation library from the folder of the module at `modulePath`. The library is optional.
    void LoadLibraryBeside(const std::wstring& modulePath);
    void FreeLibrary() noexcept { library_.reset(); }
    [[nodiscard]] bool HasLibrary() const noexcept { return static_cast<bool>(library_); }

    [[nodiscard]] std::wstring Load(std::uint32_t id) const override;

private:
    winapi::module_handle library_;
};
