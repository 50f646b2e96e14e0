#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

namespace test {

/// An empty folder of this process, removed with all it holds in the end.
class body_folder
{
public:
    explicit body_folder(const std::string& purpose);
    body_folder(const body_folder&) = delete;
    body_folder& operator=(const body_folder&) = delete;
    ~body_folder();

    /// The path with its last separator.
    [[nodiscard]] std::wstring text() const;
    [[nodiscard]] static std::wstring separator();
    [[nodiscard]] std::size_t count() const;

private:
    std::filesystem::path path_;
};

} // namespace test
