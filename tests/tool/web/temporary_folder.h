#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

namespace test {

/// An empty folder of this process, removed with all it holds in the end.
class temporary_folder
{
public:
    explicit temporary_folder(const std::string& purpose);
    temporary_folder(const temporary_folder&) = delete;
    temporary_folder& operator=(const temporary_folder&) = delete;
    ~temporary_folder();

    /// The path with its last separator.
    [[nodiscard]] std::wstring text() const;
    [[nodiscard]] static std::wstring separator();
    [[nodiscard]] std::size_t count() const;

private:
    std::filesystem::path path_;
};

} // namespace test
