// Finding driver plug-ins, and making grabbers from them.

#include "acquisition/FrameGrabber.h"

#include "acquisition/CameraCreator.h"
#include "acquisition/DriverGuard.h"
#include "acquisition/FrameGrabberDummy.h"
#include "acquisition/GrabberSettings.h"
#include "foundation/platform/Module.h"
#include "foundation/platform/Text.h"
#include "foundation/utility/Path.h"
#include "foundation/utility/Strings.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <cwchar>
#include <filesystem>
#include <memory>
#include <new>
#include <set>
#include <type_traits>
#include <vector>

namespace alidade {
namespace {

namespace fs = std::filesystem;
using Record = CFrameGrabber::T_FRAME_GRABBER_DATA;

constexpr const wchar_t* kPluginPattern = L"FG.*.zbr.64R.dll";
constexpr const char* kBuiltInName = "Dummy";

/// The drivers known to the process.
TList<Record, int, int>& Records()
{
    static TList<Record, int, int> records(true);
    return records;
}

Record* FindRecord(const auto& matches)
{
    for (Record* record : Records()) {
        if (matches(*record)) {
            return record;
        }
    }
    return nullptr;
}

/// Unloads the library when the plug-in is not taken.
struct CLoadedModule {
    HMODULE handle;
    explicit CLoadedModule(const fs::path& path) : handle(LoadModule(path)) {}
    ~CLoadedModule() { UnloadModule(handle); }
    CLoadedModule(const CLoadedModule&) = delete;
    CLoadedModule& operator=(const CLoadedModule&) = delete;
};

/// Asks a plug-in for its name, with room to notice one that writes past the size it was given.
bool ReadName(HMODULE module, char (&name)[64])
{
    const auto getName = GetModuleFunction<GetFrameGrabberNameFunction>(module, "GetFrameGrabberName");
    if (getName == nullptr) {
        return false;
    }
    std::vector<char> buffer(4096, '\x7F');
    constexpr int size = sizeof(name);
    if (!GuardDriver([&] { return getName(buffer.data(), size), 1; })) {
        return false;
    }
    const void* end = std::memchr(buffer.data(), '\0', sizeof(name));
    const bool inBounds =
        std::all_of(buffer.begin() + size, buffer.end(), [](char c) { return c == '\x7F'; });
    if (end == nullptr || buffer[0] == '\0' || !inBounds) {
        return false;
    }
    std::memset(name, 0, sizeof(name));
    std::strcpy(name, buffer.data());
    return true;
}

bool LayoutFits(HMODULE module)
{
    const auto version =
        GetModuleFunction<GetFrameGrabberLayoutVersionFunction>(module, "GetFrameGrabberLayoutVersion");
    DWORD found = 0;
    return version == nullptr ||
           (GuardDriver([&] { return found = version(), 1; }) && found == ALIDADE_DRIVER_LAYOUT_VERSION);
}

/// Loads one plug-in; what cannot be used is passed over. False when no memory can be had.
bool TakePlugin(const fs::path& path)
{
    const CString text = FromPath(path);
    const auto isKnown = [&](const Record& r) {
        return CompareNoCase(std::wstring_view(r.szPath), text) == 0;
    };
    if (FindRecord(isKnown) != nullptr || text.size() >= std::extent_v<decltype(Record::szPath)>) {
        return true;
    }
    std::unique_ptr<Record> record(new (std::nothrow) Record{});
    if (record == nullptr) {
        return false;
    }
    std::wcscpy(record->szPath, text.c_str());
    CLoadedModule module(path);
    if (module.handle == nullptr || !LayoutFits(module.handle) || !ReadName(module.handle, record->szName)) {
        return true;
    }
    if (FindRecord([&](const Record& r) { return std::strcmp(r.szName, record->szName) == 0; }) != nullptr) {
        return true; // the first one found stays
    }
    record->pfnGetFrameGrabber = GetModuleFunction<GetFrameGrabberFunction>(module.handle, "GetFrameGrabber");
    record->pfnGetFrameGrabberProperties =
        GetModuleFunction<GetFrameGrabberPropertiesFunction>(module.handle, "GetFrameGrabberProperties");
    if (record->pfnGetFrameGrabber == nullptr || record->pfnGetFrameGrabberProperties == nullptr) {
        return true;
    }
    record->hModule = module.handle;
    if (Records().Insert(record.get()) < 0) {
        return false;
    }
    record.release();
    module.handle = nullptr;
    return true;
}

/// All entries of a folder by name, so that the first plug-in of a name is the same on every file system.
std::vector<fs::path> SortedEntries(const fs::path& folder)
{
    std::vector<fs::path> entries;
    std::error_code failed;
    for (fs::directory_iterator entry(folder, failed), end; !failed && entry != end;
         entry.increment(failed)) {
        entries.push_back(entry->path());
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

/// @param visited  the folders of this scan, without links: one that leads back to them is not followed
bool ScanFolder(const fs::path& folder, const wchar_t* pattern, std::set<fs::path>& visited)
{
    std::error_code unknown;
    if (!visited.insert(fs::weakly_canonical(folder, unknown)).second) {
        return true;
    }
    // What a plug-in needs beside it is found while its folder is the current one.
    const CPushDirectory current(FromPath(folder).c_str());
    for (const fs::path& path : SortedEntries(folder)) {
        std::error_code failed;
        if (fs::is_directory(path, failed)) {
            if (!ScanFolder(path, pattern, visited)) {
                return false;
            }
            continue;
        }
        TList<CString, int, int> captures;
        if (fs::is_regular_file(path, failed) &&
            FilterString(FromPath(path.filename()).c_str(), pattern, captures, 0) && !TakePlugin(path)) {
            return false;
        }
    }
    return true;
}

IFrameGrabberInterface* MakeDummy()
{
    return new (std::nothrow) CFrameGrabberDummy;
}

bool EnsureBuiltIn()
{
    if (FindRecord([](const Record& r) { return std::strcmp(r.szName, kBuiltInName) == 0; }) != nullptr) {
        return true;
    }
    auto* record = new (std::nothrow) Record{};
    if (record == nullptr) {
        return false;
    }
    std::strcpy(record->szName, kBuiltInName);
    record->pfnGetFrameGrabber = MakeDummy;
    record->pfnGetFrameGrabberProperties = CFrameGrabberDummy::AppendDriverProperties;
    return Records().Insert(record) >= 0;
}

/// A driver by name; a factory that fails or throws lets the next record of that name try.
IFrameGrabberInterface* MakeDriver(const CStringA& name)
{
    CS lock(Records().GetLock());
    for (const Record* record : Records()) {
        if (name != record->szName || record->pfnGetFrameGrabber == nullptr) {
            continue;
        }
        IFrameGrabberInterface* driver = nullptr;
        GuardDriver([&] { return (driver = record->pfnGetFrameGrabber()) != nullptr; });
        if (driver != nullptr) {
            return driver;
        }
    }
    return nullptr;
}

} // namespace

std::vector<const IFGCamera::CDYNAMIC_CREATE*>& GetCameraCreators()
{
    static auto creators = [] {
        std::vector<const IFGCamera::CDYNAMIC_CREATE*> empty;
        empty.reserve(100);
        return empty;
    }();
    return creators;
}

int CFrameGrabber::LoadFrameGrabberDll(const wchar_t* folder, const wchar_t* pattern)
{
    std::error_code failed;
    CString text = folder != nullptr ? folder : L"";
    while (!text.empty() && (text.back() == L'\\' || text.back() == L'/')) {
        text.pop_back();
    }
    const fs::path path = fs::weakly_canonical(ToPath(text), failed);
    CS lock(Records().GetLock());
    std::set<fs::path> visited;
    const bool scanned = text.empty() || failed || !fs::is_directory(path, failed) ||
                         ScanFolder(path, pattern != nullptr ? pattern : kPluginPattern, visited);
    return EnsureBuiltIn() && scanned;
}

int CFrameGrabber::UnloadFrameGrabberDll()
{
    CS lock(Records().GetLock());
    while (Record* record = Records().Last()) {
        UnloadModule(std::exchange(record->hModule, nullptr));
        int index = -1;
        Records().Find(record, index);
        Records().Delete(index);
    }
    return 1;
}

void CFrameGrabber::GetFrameGrabberList(TList<CString, int, int>& names)
{
    names.DeleteAll();
    {
        CS lock(Records().GetLock());
        for (const Record* record : Records()) {
            names.Insert(new CString(ToWide(record->szName)));
        }
    }
    names.Sort();
}

void CFrameGrabber::GetFrameGrabberProperties(const wchar_t* name,
                                              TList<CMFCPropertyGridProperty, int, int>& properties)
{
    properties.DeleteAll();
    TList<CString, int, int> cameras;
    GetCameraInterfaceList(cameras);
    const CStringA narrow = ToNarrow(name != nullptr ? name : L"");
    CS lock(Records().GetLock());
    const Record* record = FindRecord([&](const Record& r) { return narrow == r.szName; });
    if (record != nullptr && record->pfnGetFrameGrabberProperties != nullptr) {
        GuardDriver([&] { return record->pfnGetFrameGrabberProperties(properties, cameras), 1; });
    }
}

void CFrameGrabber::GetCameraInterfaceList(TList<CString, int, int>& names)
{
    names.DeleteAll();
    for (const IFGCamera::CDYNAMIC_CREATE* creator : GetCameraCreators()) {
        names.Insert(new CString(ToWide(creator->GetName())));
    }
}

TRefPointer<CFrameGrabber> CFrameGrabber::GetFrameGrabber(const wchar_t* name,
                                                          const CProfileSection& settings, CString& message)
{
    IFrameGrabberInterface* driver = name != nullptr ? MakeDriver(ToNarrow(name)) : nullptr;
    if (driver == nullptr) {
        return {};
    }
    TRefPointer<CFrameGrabber> grabber(new CFrameGrabber(driver));
    const auto table = GetGrabberSettingTable();
    grabber->m_bFlipX = ReadBoolean(settings, table[GRABBER_FLIP_X]);
    grabber->m_bFlipY = ReadBoolean(settings, table[GRABBER_FLIP_Y]);
    const long turn = std::wcstol(ReadText(settings, table[GRABBER_ROTATE]), nullptr, 10);
    grabber->m_nRotate = turn > 0 ? 1 : turn < 0 ? -1 : 0;
    grabber->m_bRotateArbitrary = ReadBoolean(settings, table[GRABBER_ROTATE_ARBITRARY]);
    const double angle = ReadDouble(settings, table[GRABBER_ROTATION_ANGLE]);
    grabber->m_dRotationAngle = std::isfinite(angle) ? angle : 0.0;
    grabber->m_bRotateClip = ReadBoolean(settings, table[GRABBER_ROTATE_CLIP]);
    grabber->m_rotationMatrix.release();
    grabber->m_rotationScratch.release();
    if (!grabber->InitFrameGrabber(settings, message)) {
        return {};
    }
    if (!grabber->m_pCamera && driver->m_pCamera) {
        grabber->m_pCamera = driver->m_pCamera;
    }
    return grabber;
}

} // namespace alidade
