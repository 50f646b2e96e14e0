#pragma once

#include "tool/web/io_data.h"
#include "tool/web/io_property.h"

#include <platform/handles.h>

#include <cstdint>
#include <memory>
#include <string>

namespace web {

/// A store in a temporary file that nobody else can write to and that is gone when the object is, also after a
/// crash. Where the system allows it the file has no name any more from the start. All failures raise
/// error::win32exception with the platform's code; reading at the end is a short count.
class io_file final : public io_data, public io_property
{
public:
    /// Makes the file. Its name is `directory`, taken as it is and so to be given with its last separator, and a
    /// text that is unique on this machine.
    explicit io_file(const std::wstring& directory);
    io_file(const io_file&) = delete;
    io_file& operator=(const io_file&) = delete;
    ~io_file() override;

    std::uint64_t read(std::uint64_t offset, void* destination, std::uint64_t count) override;
    std::uint64_t write(std::uint64_t offset, const void* source, std::uint64_t count) override;
    std::uint64_t append(const void* source, std::uint64_t count) override;
    void swap(io_data& other) override;
    void size(std::uint64_t new_size) override;
    /// A size that does not fit 32 bits raises with code 13.
    [[nodiscard]] std::uint64_t size() override;

    [[nodiscard]] std::uint32_t kind() const override { return file_kind; }
    [[nodiscard]] std::unique_ptr<data_view> view() override;
    bool memory_range(std::byte*& base, std::uint64_t& size) override;
    bool file_name(std::wstring& name) override;

    /// The name of a new file: the directory, the high and low half of the platform's counter in hexadecimal with a
    /// dot between, "#", and a number that no other file of this process has.
    [[nodiscard]] static std::wstring make_name(const std::wstring& directory, std::uint64_t counter);

private:
    winapi::file_handle write_handle_;
    winapi::file_handle read_handle_;
    std::wstring directory_;
    std::wstring name_;
};

} // namespace web
