#include "acquisition/InitVision.h"

#include "acquisition/FrameGrabber.h"
#include "foundation/bus/IPClient.h"
#include "foundation/platform/Module.h"
#include "foundation/platform/Text.h"

#include <atomic>
#include <filesystem>
#include <string>

namespace alidade {
namespace {

std::atomic<CIPClient*> g_client{nullptr};
std::atomic<CProfile*> g_profile{nullptr};
std::atomic<CSimpleLog*> g_log{nullptr};

void ReplaceAll(CString& text, const CString& from, const CString& to)
{
    for (std::size_t at = text.find(from); at != text.npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

/// The folder "FG" beside this library. A library in a build tree's output folder finds the plug-ins of the
/// "bin" folder that the outputs are gathered in, if there is one.
CString DefaultDriverFolder()
{
    namespace fs = std::filesystem;
    const fs::path own = GetModulePath(reinterpret_cast<const void*>(&InitVision)).parent_path();
    const wchar_t separator = static_cast<wchar_t>(fs::path::preferred_separator);
    const CString s(1, separator);
    CString gathered = FromPath(own) + s;
    for (const wchar_t* output : {L"DebugUnicode", L"ReleaseUnicode", L"Debug", L"Release"}) {
        ReplaceAll(gathered, s + output, s + L"bin");
    }
    ReplaceAll(gathered, s + L"x64" + s, s);
    gathered += L"FG";
    std::error_code failed;
    return fs::is_directory(ToPath(gathered), failed) ? gathered : FromPath(own / "FG");
}

} // namespace

int InitVision(CIPClient* client, CProfile* profile, CSimpleLog* log, const wchar_t* driverFolder)
{
    CFrameGrabber::LoadFrameGrabberDll(L"./FG/", nullptr);
    const CString folder =
        driverFolder != nullptr && *driverFolder != L'\0' ? driverFolder : DefaultDriverFolder();
    CFrameGrabber::LoadFrameGrabberDll(folder.c_str(), nullptr);
    if (client == nullptr) {
        return 0;
    }
    g_client = client;
    g_profile = profile != nullptr ? profile : client->GetProfile();
    g_log = log != nullptr ? log : client->GetLog();
    CProfileSection::SetDiagnosticLog(g_log);
    return 1;
}

CIPClient* GetVisionClient()
{
    return g_client;
}

CProfile* GetVisionProfile()
{
    return g_profile;
}

CSimpleLog* GetVisionLog()
{
    return g_log;
}

} // namespace alidade
