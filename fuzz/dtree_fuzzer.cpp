#include "cctool/serialization/container.h"
#include "cctool/serialization/errors.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>

namespace {

using namespace cctool::Serialization;

[[noreturn]] void Complain(const char* what)
{
    std::fprintf(stderr, "%s\n", what);
    std::abort();
}

Bytes BlobOf(const IBinaryContainer& tree)
{
    Bytes blob;
    if (!tree.GetBlob(blob, false)) {
        Complain("a tree that was read cannot be written");
    }
    return blob;
}

} // namespace

/// Reads a tree. Its blob must be read back as the same blob, which is no larger than the input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::shared_ptr<IBinaryContainer> tree;
    try {
        tree = ContainerFromBinary(data, size);
    } catch (const InvalidDataError&) {
        return 0;
    } catch (const std::length_error&) {
        return 0;
    }
    const Bytes blob = BlobOf(*tree);
    tree.reset();
    if (blob.size() > size) {
        Complain("a tree grew by being read");
    }
    if (BlobOf(*ContainerFromBinary(blob.data(), blob.size())) != blob) {
        Complain("a tree is not the one that was written");
    }
    return 0;
}
