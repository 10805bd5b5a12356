#include "foundation/platform/Module.h"

#include "foundation/platform/SystemError.h"
#include "foundation/platform/Text.h"

#include <system_error>

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#include <link.h>
#endif

namespace alidade {
namespace {

namespace fs = std::filesystem;

/// A bare file name means a file in the current folder, not one on the system's search path; empty when
/// there is no such file.
fs::path FileOf(const fs::path& path, CString* error)
{
    std::error_code failed;
    if (!fs::exists(path, failed)) {
        if (error != nullptr) {
            const std::error_code missing = std::make_error_code(std::errc::no_such_file_or_directory);
            *error = FromPath(path) + L": " + ToWide(missing.message());
        }
        return {};
    }
    return fs::absolute(path, failed);
}

} // namespace

#ifdef _WIN32

HMODULE LoadModule(const fs::path& path, CString* error)
{
    const fs::path file = FileOf(path, error);
    if (file.empty()) {
        return nullptr;
    }
    // The library's own folder is searched for what it needs, and a broken file raises no message box.
    ::DWORD oldMode = 0;
    ::SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &oldMode);
    ::HMODULE module = ::LoadLibraryExW(file.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    const int code = static_cast<int>(::GetLastError());
    ::SetThreadErrorMode(oldMode, nullptr);
    if (module == nullptr && error != nullptr) {
        *error = FromPath(path) + L": " + SystemErrorText(code);
    }
    return module;
}

void UnloadModule(HMODULE module)
{
    if (module != nullptr) {
        ::FreeLibrary(static_cast<::HMODULE>(module));
    }
}

void* GetModuleSymbol(HMODULE module, const char* name)
{
    if (module == nullptr) {
        return nullptr;
    }
    return reinterpret_cast<void*>(::GetProcAddress(static_cast<::HMODULE>(module), name));
}

fs::path GetModulePath(const void* address)
{
    ::HMODULE module = nullptr;
    if (address == nullptr || // which the system takes for the program
        !::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                  GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                              static_cast<const wchar_t*>(address), &module)) {
        return {};
    }
    std::wstring name(32768, L'\0'); // the longest path that the system knows
    name.resize(::GetModuleFileNameW(module, name.data(), static_cast<::DWORD>(name.size())));
    return name;
}

#else

HMODULE LoadModule(const fs::path& path, CString* error)
{
    const fs::path file = FileOf(path, error);
    if (file.empty()) {
        return nullptr;
    }
    void* module = ::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr && error != nullptr) {
        const char* text = ::dlerror();
        *error = ToWide(text != nullptr ? text : "unknown error");
    }
    return module;
}

void UnloadModule(HMODULE module)
{
    if (module != nullptr) {
        ::dlclose(module);
    }
}

void* GetModuleSymbol(HMODULE module, const char* name)
{
    return module != nullptr ? ::dlsym(module, name) : nullptr;
}

fs::path GetModulePath(const void* address)
{
    Dl_info info{};
    link_map* map = nullptr;
    if (::dladdr1(address, &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) == 0 || map == nullptr) {
        return {};
    }
    // The program itself has no name in the loader's list, and the name that it was called by may be
    // relative.
    const bool isProgram = map->l_name == nullptr || *map->l_name == '\0';
    std::error_code failed;
    const fs::path path = fs::canonical(isProgram ? "/proc/self/exe" : map->l_name, failed);
    return failed ? fs::path(info.dli_fname) : path;
}

#endif

} // namespace alidade
