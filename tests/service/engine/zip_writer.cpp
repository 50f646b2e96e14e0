#include "tests/service/engine/zip_writer.h"

#include <cstdint>
#include <initializer_list>
#include <stdexcept>
#include <zlib.h>

namespace test {

namespace {

void put16(std::string& out, std::uint32_t value)
{
    out += static_cast<char>(value);
    out += static_cast<char>(value >> 8U);
}

void put32(std::string& out, std::uint32_t value)
{
    put16(out, value);
    put16(out, value >> 16U);
}

std::string deflated(std::string_view content)
{
    z_stream stream{};
    if (::deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, -MAX_WBITS, MAX_MEM_LEVEL, Z_DEFAULT_STRATEGY) !=
        Z_OK) {
        throw std::runtime_error("cannot compress");
    }
    std::string input(content);
    std::string output(::deflateBound(&stream, static_cast<uLong>(input.size())), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(input.data());
    stream.avail_in = static_cast<uInt>(input.size());
    stream.next_out = reinterpret_cast<Bytef*>(output.data());
    stream.avail_out = static_cast<uInt>(output.size());
    const int result = ::deflate(&stream, Z_FINISH);
    output.resize(stream.total_out);
    ::deflateEnd(&stream);
    if (result != Z_STREAM_END) {
        throw std::runtime_error("cannot compress");
    }
    return output;
}

} // namespace

std::string zip_archive(std::string_view name, std::string_view content, zip_method method)
{
    const std::string data = method == zip_method::stored ? std::string(content) : deflated(content);
    // The fields that the two headers of a file have in common.
    std::string shared;
    put16(shared, 20); // required version
    put16(shared, 0);
    put16(shared, method == zip_method::stored ? 0 : 8);
    put16(shared, 0);      // time
    put16(shared, 0x5B75); // date
    put32(shared, static_cast<std::uint32_t>(
                      ::crc32(0, reinterpret_cast<const Bytef*>(content.data()), static_cast<uInt>(content.size()))));
    put32(shared, static_cast<std::uint32_t>(data.size()));
    put32(shared, static_cast<std::uint32_t>(content.size()));
    put16(shared, static_cast<std::uint32_t>(name.size()));
    put16(shared, 0); // extra field

    std::string archive = "PK\x03\x04" + shared;
    archive.append(name).append(data);
    const std::size_t directory = archive.size();
    archive += "PK\x01\x02";
    put16(archive, 20);
    archive += shared;
    put16(archive, 0); // comment
    put16(archive, 0); // disk
    put16(archive, 0);
    put32(archive, 0);
    put32(archive, 0); // offset of the file's own header
    archive.append(name);
    const std::size_t directory_size = archive.size() - directory;
    archive += "PK\x05\x06";
    for (const std::uint32_t value : {0, 0, 1, 1}) {
        put16(archive, value);
    }
    put32(archive, static_cast<std::uint32_t>(directory_size));
    put32(archive, static_cast<std::uint32_t>(directory));
    put16(archive, 0);
    return archive;
}

} // namespace test
