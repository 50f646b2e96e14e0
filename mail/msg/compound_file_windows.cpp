#include "mail/msg/compound_file.h"
#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "store/unreadable_message.h"
#include "tool/system/conversions.h"
#include "tool/system/system_message.h"

#include <array>
#include <memory>
#include <stdexcept>
#include <string>

namespace host::msg {

namespace {

constexpr DWORD read_mode = STGM_READ | STGM_SHARE_EXCLUSIVE;
constexpr DWORD write_mode = STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE;

struct task_memory_free
{
    void operator()(void* memory) const noexcept { CoTaskMemFree(memory); }
};

std::string to_utf8(const wchar_t* text)
{
    return winapi::conv_to_char(text, winapi::code_page_utf8);
}

std::wstring to_wide(const std::string& text)
{
    return winapi::conv_to_wide(text, winapi::code_page_utf8);
}

void expect_read(HRESULT result)
{
    if (FAILED(result)) {
        throw unreadable_message("a part of it cannot be read");
    }
}

/// The low-order part of a storage code is the number of the system error.
void expect_written(HRESULT result)
{
    if (FAILED(result)) {
        std::string reason = winapi::system_message(static_cast<std::uint32_t>(HRESULT_CODE(result)));
        while (reason.ends_with('\n') || reason.ends_with('\r')) {
            reason.pop_back();
        }
        throw std::runtime_error(
            reason.empty() ? "the system refuses it: 0x" + winapi::hex32(static_cast<std::uint32_t>(result)) : reason);
    }
}

bytes_ptr load_stream(IStorage* parent, const wchar_t* name)
{
    ComPtr<IStream> stream;
    expect_read(parent->OpenStream(name, nullptr, read_mode, 0, Receive(stream)));
    scratch contents; // a copy, because an open storage would prevent the file from being replaced
    std::array<char, 65536> block{};
    for (;;) {
        ULONG got = 0;
        expect_read(stream->Read(block.data(), block.size(), &got));
        if (got == 0) {
            return contents.freeze();
        }
        contents.append({block.data(), got});
    }
}

storage_ptr load(IStorage* storage)
{
    auto tree = std::make_shared<storage_tree>();
    STATSTG own{};
    expect_read(storage->Stat(&own, STATFLAG_NONAME));
    tree->class_id = own.clsid;
    ComPtr<IEnumSTATSTG> children;
    expect_read(storage->EnumElements(0, nullptr, 0, Receive(children)));
    for (;;) {
        STATSTG child{};
        ULONG count = 0;
        expect_read(children->Next(1, &child, &count));
        if (count == 0) {
            return tree;
        }
        const std::unique_ptr<wchar_t, task_memory_free> name(child.pwcsName);
        if (child.type == STGTY_STREAM) {
            tree->streams.push_back({to_utf8(name.get()), load_stream(storage, name.get())});
        } else {
            ComPtr<IStorage> inner;
            expect_read(storage->OpenStorage(name.get(), nullptr, read_mode, nullptr, 0, Receive(inner)));
            tree->storages.push_back({to_utf8(name.get()), load(inner.get())});
        }
    }
}

void save_stream(IStream* target, const bytes& contents)
{
    std::array<char, 65536> block{};
    for (std::uint64_t offset = 0; offset < contents.size();) {
        const std::size_t got = contents.read(offset, block.data(), block.size());
        if (got == 0) {
            throw std::runtime_error("a part of the message could not be read");
        }
        ULONG written = 0;
        expect_written(target->Write(block.data(), static_cast<ULONG>(got), &written));
        if (written != got) {
            expect_written(STG_E_MEDIUMFULL);
        }
        offset += got;
    }
}

void save(IStorage* target, const storage_tree& contents)
{
    expect_written(target->SetClass(contents.class_id));
    for (const auto& stream : contents.streams) {
        ComPtr<IStream> child;
        expect_written(target->CreateStream(to_wide(stream.name).c_str(), write_mode, 0, 0, Receive(child)));
        save_stream(child.get(), *stream.contents);
    }
    for (const auto& storage : contents.storages) {
        ComPtr<IStorage> child;
        expect_written(target->CreateStorage(to_wide(storage.name).c_str(), write_mode, 0, 0, Receive(child)));
        save(child.get(), *storage.contents);
    }
    expect_written(target->Commit(STGC_DEFAULT));
}

} // namespace

storage_ptr load_storage(const std::filesystem::path& file, const bytes_ptr&, const compound_structure&)
{
    ComPtr<IStorage> root;
    expect_read(StgOpenStorageEx(file.c_str(), STGM_READ | STGM_SHARE_DENY_WRITE, STGFMT_STORAGE, 0, nullptr, nullptr,
                                 IID_IStorage, Receive(root)));
    return load(root.get());
}

void save_storage(const storage_tree& contents, const std::filesystem::path& file)
{
    ComPtr<IStorage> root;
    expect_written(
        StgCreateStorageEx(file.c_str(), write_mode, STGFMT_STORAGE, 0, nullptr, nullptr, IID_IStorage, Receive(root)));
    save(root.get(), contents);
}

} // namespace host::msg
