#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

namespace test {

/// An empty folder of this process, removed at the end with all its contents.
class body_folder
{
public:
    explicit body_folder(const std::string& purpose);
    body_folder(const body_folder&) = delete;
    body_folder& operator=(const body_folder&) = delete;
    ~body_folder();

    /// Returns the path with its trailing separator.
    [[nodiscard]] std::wstring text() const;
    [[nodiscard]] static std::wstring separator();
    [[nodiscard]] std::size_t count() const;

private:
    std::filesystem::path path_;
};

} // namespace test
