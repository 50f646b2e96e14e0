// The message system for a machine without a mail client, as far as an add-in uses it: counted initialisation and
// uninitialisation, and buffers with linked pieces that have the same lifetime. The system's mapi32 forwards its calls
// to this library once it is registered as the default mail client's.
#include <windows.h>

#include <atomic>
#include <cstddef>
#include <mapix.h>

namespace {

/// Header of every block of memory that is returned. The blocks linked to one buffer form a list that starts there.
struct alignas(std::max_align_t) piece
{
    piece* next;
};

std::atomic<LONG> started{0};

void* memory_of(piece* header)
{
    return header + 1;
}

piece* header_of(void* memory)
{
    return static_cast<piece*>(memory) - 1;
}

piece* make_piece(ULONG size)
{
    auto* header = static_cast<piece*>(HeapAlloc(GetProcessHeap(), 0, sizeof(piece) + size));
    if (header) {
        header->next = nullptr;
    }
    return header;
}

} // namespace

extern "C" {

HRESULT WINAPI MAPIInitialize(LPVOID)
{
    ++started;
    return S_OK;
}

void WINAPI MAPIUninitialize()
{
    --started;
}

SCODE WINAPI MAPIAllocateBuffer(ULONG size, LPVOID* buffer)
{
    if (!buffer) {
        return E_INVALIDARG;
    }
    piece* header = make_piece(size);
    *buffer = header ? memory_of(header) : nullptr;
    return header ? S_OK : E_OUTOFMEMORY;
}

SCODE WINAPI MAPIAllocateMore(ULONG size, LPVOID owner, LPVOID* buffer)
{
    if (!owner || !buffer) {
        return E_INVALIDARG;
    }
    piece* header = make_piece(size);
    *buffer = header ? memory_of(header) : nullptr;
    if (!header) {
        return E_OUTOFMEMORY;
    }
    piece* first = header_of(owner);
    header->next = first->next;
    first->next = header;
    return S_OK;
}

ULONG WINAPI MAPIFreeBuffer(LPVOID buffer)
{
    piece* next = buffer ? header_of(buffer) : nullptr;
    while (next) {
        piece* freed = next;
        next = next->next;
        HeapFree(GetProcessHeap(), 0, freed);
    }
    return S_OK;
}

/// Returns the number of MAPIInitialize calls without a matching MAPIUninitialize.
LONG WINAPI StartsInForce()
{
    return started;
}

} // extern "C"
