#pragma once

#include "outlook/qdmailprotect/disinfection/string_resources.h"

#include <platform/handles.h>

/// The texts as string resources: of the localisation library, where there is one and it has the text, else of the
/// add-in's own module.
class LocalisedStrings final : public StringResources
{
public:
    /// The localisation library's file name; it stands in the add-in's own folder. It holds translated string
    /// resources and no code.
    static constexpr const wchar_t* LibraryName = L"postwarden_loc.dll";
    /// Of a longer text this many characters count.
    static constexpr std::size_t LongestText = 512;

    /// Loads the localisation library beside the module at `modulePath`. There may be none.
    void LoadLibraryBeside(const std::wstring& modulePath);
    void FreeLibrary() noexcept { library_.reset(); }
    [[nodiscard]] bool HasLibrary() const noexcept { return static_cast<bool>(library_); }

    [[nodiscard]] std::wstring Load(std::uint32_t id) const override;

private:
    winapi::module_handle library_;
};
