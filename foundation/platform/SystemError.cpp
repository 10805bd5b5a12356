#include "foundation/platform/SystemError.h"

#include "foundation/platform/Text.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <system_error>
#endif

namespace alidade {

#ifdef _WIN32

CString SystemErrorText(int code)
{
    wchar_t text[512];
    const ::DWORD length =
        ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                         static_cast<::DWORD>(code), 0, text, std::size(text), nullptr);
    if (length == 0) {
        return Format(L"System error %d", code);
    }
    return CString(Trim(std::wstring_view(text, length)));
}

#else

CString SystemErrorText(int code)
{
    return ToWide(std::system_category().message(code));
}

#endif

} // namespace alidade
