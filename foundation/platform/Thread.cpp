#include "foundation/platform/Thread.h"

#include "foundation/platform/Text.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace alidade {

#ifdef _WIN32

void NameThisThread(const char* name)
{
    // Found at run time: older systems do not have it.
    using SetDescription = HRESULT(WINAPI*)(HANDLE, PCWSTR);
    const auto set = reinterpret_cast<SetDescription>(reinterpret_cast<void*>(
        ::GetProcAddress(::GetModuleHandleW(L"kernel32.dll"), "SetThreadDescription")));
    if (set != nullptr) {
        set(::GetCurrentThread(), ToWide(name).c_str());
    }
}

std::uint64_t GetThisThreadNumber()
{
    return ::GetCurrentThreadId();
}

#else

void NameThisThread(const char* name)
{
    ::pthread_setname_np(::pthread_self(), CStringA(name).substr(0, 15).c_str());
}

std::uint64_t GetThisThreadNumber()
{
    return static_cast<std::uint64_t>(::syscall(SYS_gettid));
}

#endif

} // namespace alidade
