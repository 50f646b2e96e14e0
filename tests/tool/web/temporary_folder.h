#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

namespace test {

/// An empty folder of this process, removed at the end with all its contents.
class temporary_folder
{
public:
    explicit temporary_folder(const std::string& purpose);
    temporary_folder(const temporary_folder&) = delete;
    temporary_folder& operator=(const temporary_folder&) = delete;
    ~temporary_folder();

    /// Returns the path with its trailing separator.
    [[nodiscard]] std::wstring text() const;
    [[nodiscard]] static std::wstring separator();
    [[nodiscard]] std::size_t count() const;

private:
    std::filesystem::path path_;
};

} // namespace test
