#include "outlook/qdmailprotect/com/localised_strings.h"
#include "outlook/qdmailprotect/com/own_module.h"
#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t NoText = 663;

/// Returns the path of a module in the folder of the sample localisation library.
std::wstring beside_the_sample()
{
    return (fs::path(SATELLITE_FILE).parent_path() / L"any.dll").wstring();
}

constexpr std::uint32_t FirstOfBlock = 800; // texts are stored in blocks of 16

/// Adds a block of texts to a library, numbered starting at FirstOfBlock.
void add_texts(const fs::path& library, std::vector<std::wstring> texts)
{
    texts.resize(16);
    std::wstring block; // each preceded by its length
    for (const std::wstring& text : texts) {
        block.append(1, static_cast<wchar_t>(text.size())).append(text);
    }
    const HANDLE update = ::BeginUpdateResourceW(library.c_str(), FALSE);
    ASSERT_NE(update, nullptr);
    EXPECT_NE(::UpdateResourceW(update, RT_STRING, MAKEINTRESOURCEW(FirstOfBlock / 16 + 1),
                                MAKELANGID(LANG_NEUTRAL, SUBLANG_NEUTRAL), block.data(),
                                static_cast<DWORD>(block.size() * sizeof(wchar_t))),
              FALSE);
    EXPECT_NE(::EndUpdateResourceW(update, FALSE), FALSE);
}

TEST(localised_strings, without_a_library_are_the_modules_own)
{
    LocalisedStrings strings;
    const auto english = EnglishTexts();
    for (const std::uint32_t id :
         {StringResources::ModifiedSubject, StringResources::BodyLabel, StringResources::SubjectLabel}) {
        EXPECT_FALSE(strings.Load(id).empty());
        EXPECT_EQ(strings.Load(id), english->Load(id)) << "the resource and the built-in text are one";
    }
    EXPECT_EQ(strings.Load(NoText), L"");
}

TEST(localised_strings, beside_no_library_are_the_modules_own)
{
    LocalisedStrings strings;
    strings.LoadLibraryBeside(L"C:\\no such folder\\postwarden.dll");
    EXPECT_FALSE(strings.HasLibrary());
    EXPECT_EQ(strings.Load(StringResources::BodyLabel), L"Body:");
}

TEST(localised_strings, with_a_library_are_its_texts_first)
{
    LocalisedStrings strings;
    strings.LoadLibraryBeside(beside_the_sample());
    ASSERT_TRUE(strings.HasLibrary());
    EXPECT_EQ(strings.Load(StringResources::ModifiedSubject),
              L"[Morvelane Ostrand 10.1] Es wurde ein sch\u00E4dliches oder anderes Objekt gefunden. Die E-Mail wurde "
              L"ge\u00E4ndert.");
    EXPECT_EQ(strings.Load(StringResources::BodyLabel), L"Text:");
    EXPECT_EQ(strings.Load(StringResources::SubjectLabel), L"Betreff:");
    EXPECT_EQ(strings.Load(NoText), L"") << "found in neither";
    strings.FreeLibrary();
    EXPECT_FALSE(strings.HasLibrary());
    EXPECT_EQ(strings.Load(StringResources::SubjectLabel), L"Subject:");
}

TEST(localised_strings, take_what_the_library_lacks_from_the_module)
{
    const host::test::temporary_folder own;
    const fs::path& folder = own.path();
    LocalisedStrings strings; // frees the library before the folder is removed
    // A system library that contains texts, but none with these numbers.
    wchar_t system[MAX_PATH];
    ASSERT_NE(GetSystemDirectoryW(system, MAX_PATH), 0U);
    fs::copy_file(fs::path(system) / L"version.dll", folder / LocalisedStrings::LibraryName);
    strings.LoadLibraryBeside((folder / L"postwarden.dll").wstring());
    ASSERT_TRUE(strings.HasLibrary());
    EXPECT_EQ(strings.Load(StringResources::BodyLabel), L"Body:");
}

TEST(localised_strings, count_up_to_512_characters)
{
    const host::test::temporary_folder own;
    const fs::path& folder = own.path();
    const fs::path library = folder / LocalisedStrings::LibraryName;
    fs::copy_file(SATELLITE_FILE, library);
    add_texts(library, {std::wstring(512, L'a'), std::wstring(513, L'b')});
    LocalisedStrings strings;
    strings.LoadLibraryBeside((folder / L"postwarden.dll").wstring());
    ASSERT_TRUE(strings.HasLibrary());
    EXPECT_EQ(strings.Load(FirstOfBlock), std::wstring(512, L'a'));
    EXPECT_EQ(strings.Load(FirstOfBlock + 1), std::wstring(512, L'b'));
}

TEST(localised_strings, are_sought_behind_the_last_separator)
{
    EXPECT_EQ(BesidePath(L"C:\\a\\b.dll", L"c"), L"C:\\a\\c");
    EXPECT_EQ(BesidePath(L"C:\\a/b.dll", L"c"), L"C:\\a/c");
    EXPECT_EQ(BesidePath(L"b.dll", L"c"), L"c");
}

} // namespace
