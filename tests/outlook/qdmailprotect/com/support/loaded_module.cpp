#include "tests/outlook/qdmailprotect/com/support/loaded_module.h"

#include "outlook/qdmailprotect/com/extensibility.h"

namespace test {

namespace fs = std::filesystem;

module_copy::module_copy(const std::wstring& folder_name, bool with_texts)
    : folder_(fs::temp_directory_path() / folder_name)
{
    fs::create_directories(folder_);
    fs::copy_file(MODULE_FILE, path(), fs::copy_options::overwrite_existing);
    if (with_texts) {
        fs::copy_file(SATELLITE_FILE, folder_ / L"postwarden_loc.dll", fs::copy_options::overwrite_existing);
    }
}

module_copy::~module_copy()
{
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

loaded_module::loaded_module(const std::wstring& path)
    : module_(::LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH))
{}

HRESULT loaded_module::class_object(REFCLSID id, ComPtr<IClassFactory>& factory) const
{
    using function = HRESULT(WINAPI*)(REFCLSID, REFIID, void**);
    return exported<function>("DllGetClassObject")(id, IID_IClassFactory, Receive(factory));
}

HRESULT loaded_module::create(REFIID iid, void** object) const
{
    ComPtr<IClassFactory> factory;
    const HRESULT result = class_object(CLSID_Connect, factory);
    return FAILED(result) ? result : factory->CreateInstance(nullptr, iid, object);
}

HRESULT loaded_module::can_unload_now() const
{
    using function = HRESULT(WINAPI*)();
    return exported<function>("DllCanUnloadNow")();
}

int run_program(std::wstring command_line)
{
    STARTUPINFOW start{};
    start.cb = sizeof start;
    PROCESS_INFORMATION started{};
    if (::CreateProcessW(nullptr, command_line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start,
                         &started) == FALSE) {
        return -1;
    }
    const winapi::kernel_handle process(started.hProcess);
    const winapi::kernel_handle thread(started.hThread);
    ::WaitForSingleObject(process.get(), INFINITE);
    DWORD code = 0;
    ::GetExitCodeProcess(process.get(), &code);
    return static_cast<int>(code);
}

} // namespace test
