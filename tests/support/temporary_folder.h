#pragma once

#include <atomic>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <string_view>

namespace host::test {

/// A folder that is removed with its object.
class temporary_folder
{
public:
    temporary_folder()
        : path_(std::filesystem::temp_directory_path() /
                ("host_test_" + std::to_string(std::random_device{}()) + "_" + std::to_string(++counter_)))
    {
        std::filesystem::create_directory(path_);
    }
    temporary_folder(const temporary_folder&) = delete;
    temporary_folder& operator=(const temporary_folder&) = delete;
    ~temporary_folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    std::filesystem::path write(const std::string& name, std::string_view contents) const
    {
        std::ofstream(path_ / name, std::ios::binary) << contents;
        return path_ / name;
    }

private:
    static inline std::atomic<int> counter_ = 0;
    std::filesystem::path path_;
};

} // namespace host::test
