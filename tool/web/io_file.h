#pragma once

#include "tool/web/io_data.h"
#include "tool/web/io_property.h"

#include <platform/handles.h>

#include <cstdint>
#include <memory>
#include <string>

namespace web {

/// A store in a temporary file that no other program can write to and that is removed with the object, even after a
/// crash. Where the system allows it the file has no name from the start. All failures throw error::win32exception with
/// the platform's code; a read at the end returns a short count.
class io_file final : public io_data, public io_property
{
public:
    /// Makes the file. Its name consists of `directory`, which is used unchanged and therefore needs its trailing
    /// separator, and a text that is unique on this machine.
    explicit io_file(const std::wstring& directory);
    io_file(const io_file&) = delete;
    io_file& operator=(const io_file&) = delete;
    ~io_file() override;

    std::uint64_t read(std::uint64_t offset, void* destination, std::uint64_t count) override;
    std::uint64_t write(std::uint64_t offset, const void* source, std::uint64_t count) override;
    std::uint64_t append(const void* source, std::uint64_t count) override;
    void swap(io_data& other) override;
    void size(std::uint64_t new_size) override;
    /// Throws code 13 for a size that does not fit 32 bits.
    [[nodiscard]] std::uint64_t size() override;

    [[nodiscard]] std::uint32_t kind() const override { return file_kind; }
    [[nodiscard]] std::unique_ptr<data_view> view() override;
    bool memory_range(std::byte*& base, std::uint64_t& size) override;
    bool file_name(std::wstring& name) override;

    /// Returns the name of a new file: the directory, the high and low half of the platform's counter in hexadecimal
    /// with a dot between, "#", and a number that is unique in this process.
    [[nodiscard]] static std::wstring make_name(const std::wstring& directory, std::uint64_t counter);

private:
    winapi::file_handle write_handle_;
    winapi::file_handle read_handle_;
    std::wstring directory_;
    std::wstring name_;
};

} // namespace web
