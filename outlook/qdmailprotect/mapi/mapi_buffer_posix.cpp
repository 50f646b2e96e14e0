#include "outlook/qdmailprotect/mapi/mapi.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

/// Precedes every buffer. The additional buffers of an owner are linked into its chain.
struct alignas(std::max_align_t) Header
{
    Header* next;
};

Header* NewBlock(ULONG size)
{
    void* memory = std::malloc(sizeof(Header) + size);
    return memory ? new (memory) Header{nullptr} : nullptr;
}

} // namespace

SCODE MAPIAllocateBuffer(ULONG size, LPVOID* buffer)
{
    if (!buffer) {
        return MAPI_E_INVALID_PARAMETER;
    }
    Header* block = NewBlock(size);
    if (!block) {
        return MAPI_E_NOT_ENOUGH_MEMORY;
    }
    *buffer = block + 1;
    return S_OK;
}

SCODE MAPIAllocateMore(ULONG size, LPVOID owner, LPVOID* buffer)
{
    if (!owner || !buffer) {
        return MAPI_E_INVALID_PARAMETER;
    }
    Header* block = NewBlock(size);
    if (!block) {
        return MAPI_E_NOT_ENOUGH_MEMORY;
    }
    Header* first = static_cast<Header*>(owner) - 1;
    block->next = first->next;
    first->next = block;
    *buffer = block + 1;
    return S_OK;
}

ULONG MAPIFreeBuffer(LPVOID buffer)
{
    if (!buffer) {
        return 0;
    }
    Header* block = static_cast<Header*>(buffer) - 1;
    while (block) {
        Header* next = block->next;
        std::free(block);
        block = next;
    }
    return 0;
}
