// The layout that plug-ins are built against. When a test here fails, a plug-in built before would read other
// members or call other operations than it means: raise ALIDADE_DRIVER_LAYOUT_VERSION, and record the new
// figures under the new number. The figures and the slots are those of 64-bit Linux, where this file is
// built.

#include "alidade/driver/Driver.h"
#include "alidade/driver/SettingTable.h"
#include "foundation/platform/Text.h"

#include <gtest/gtest.h>
#include <map>

using namespace alidade;

namespace {

using Layout = std::map<std::string, std::size_t>;

/// Bytes, by layout version.
const std::map<DWORD, Layout> kRecorded = {
    {1,
     {
         {"m_imageLock", 16},
         {"m_dwLastGrab", 40},
         {"m_image", 48},
         {"m_imageSize", 144},
         {"m_pfnNewImage", 152},
         {"m_pNewImageArg", 160},
         {"m_pCamera", 168},
         {"m_pComm", 184},
         {"m_bClientsWoken", 200},
         {"sizeof IFrameGrabberInterface", 208},
         {"sizeof CCriticalSection", 24},
         {"sizeof CString", 32},
         {"sizeof TRefPointer", 16},
         {"sizeof TList", 88},
         {"sizeof CProfileSection", 208},
         {"sizeof CMFCPropertyGridProperty", 128},
         {"sizeof IFGCamera", 32},
         {"sizeof IFGComm", 8},
     }},
};

/// Notes which operation was called.
class CNotingDriver : public IFrameGrabberInterface {
public:
    ~CNotingDriver() override { Note("destructor"); }
    int WriteLogV(DWORD, const wchar_t*, va_list, int) override { return Note("WriteLogV wide"); }
    int WriteLogV(DWORD, const char*, va_list, int) override { return Note("WriteLogV narrow"); }
    void SetNewImageCallback(NewImageCallback, void*) override { Note("SetNewImageCallback"); }
    int InitFrameGrabber(const CProfileSection&, CString&) override { return Note("InitFrameGrabber"); }
    int CloseFrameGrabber() override { return Note("CloseFrameGrabber"); }
    int StartCapture() override { return Note("StartCapture"); }
    int StopCapture() override { return Note("StopCapture"); }
    int Reserved8() override { return Note("Reserved8"); }
    int Reserved9() override { return Note("Reserved9"); }

    static inline std::string s_called;

private:
    static int Note(const char* name)
    {
        s_called = name;
        return 1;
    }
};

template <class Function>
Function Slot(void* object, int index)
{
    return reinterpret_cast<Function>((*static_cast<void***>(object))[index]);
}

Layout MeasureLayout()
{
    CNotingDriver driver;
    const auto* base = reinterpret_cast<const char*>(static_cast<IFrameGrabberInterface*>(&driver));
    const auto offset = [&](const auto& member) {
        return static_cast<std::size_t>(reinterpret_cast<const char*>(&member) - base);
    };
    return {
        {"m_imageLock", offset(driver.m_imageLock)},
        {"m_dwLastGrab", offset(driver.m_dwLastGrab)},
        {"m_image", offset(driver.m_image)},
        {"m_imageSize", offset(driver.m_imageSize)},
        {"m_pfnNewImage", offset(driver.m_pfnNewImage)},
        {"m_pNewImageArg", offset(driver.m_pNewImageArg)},
        {"m_pCamera", offset(driver.m_pCamera)},
        {"m_pComm", offset(driver.m_pComm)},
        {"m_bClientsWoken", offset(driver.m_bClientsWoken)},
        {"sizeof IFrameGrabberInterface", sizeof(IFrameGrabberInterface)},
        {"sizeof CCriticalSection", sizeof(CCriticalSection)},
        {"sizeof CString", sizeof(CString)},
        {"sizeof TRefPointer", sizeof(TRefPointer<IFGComm, int, int>)},
        {"sizeof TList", sizeof(TList<CString, int, int>)},
        {"sizeof CProfileSection", sizeof(CProfileSection)},
        {"sizeof CMFCPropertyGridProperty", sizeof(CMFCPropertyGridProperty)},
        {"sizeof IFGCamera", sizeof(IFGCamera)},
        {"sizeof IFGComm", sizeof(IFGComm)},
    };
}

} // namespace

TEST(DriverLayout, MembersLieWhereTheLayoutVersionSays)
{
    const auto recorded = kRecorded.find(ALIDADE_DRIVER_LAYOUT_VERSION);
    ASSERT_NE(recorded, kRecorded.end())
        << "record the figures of layout version " << ALIDADE_DRIVER_LAYOUT_VERSION;
    const Layout measured = MeasureLayout();
    for (const auto& [name, bytes] : recorded->second) {
        EXPECT_EQ(measured.at(name), bytes) << name << ": raise ALIDADE_DRIVER_LAYOUT_VERSION";
    }
    EXPECT_EQ(measured.size(), recorded->second.size());
}

TEST(DriverLayout, OperationsStandInTheirSlots)
{
    // The destructor takes the slots 0 and 1.
    auto* driver = new CNotingDriver;
    void* object = static_cast<IFrameGrabberInterface*>(driver);
    const CProfileSection settings;
    CString message;
    std::vector<std::string> called;
    const auto note = [&] { called.push_back(std::exchange(CNotingDriver::s_called, "")); };

    Slot<int (*)(void*, DWORD, const wchar_t*, void*, int)>(object, 2)(object, 0, L"", nullptr, -1), note();
    Slot<int (*)(void*, DWORD, const char*, void*, int)>(object, 3)(object, 0, "", nullptr, -1), note();
    Slot<void (*)(void*, IFrameGrabberInterface::NewImageCallback, void*)>(object, 4)(object, nullptr,
                                                                                      nullptr),
        note();
    Slot<int (*)(void*, const CProfileSection&, CString&)>(object, 5)(object, settings, message), note();
    for (int index = 6; index <= 10; ++index) {
        Slot<int (*)(void*)>(object, index)(object), note();
    }
    Slot<void (*)(void*)>(object, 1)(object), note(); // the one that deletes

    const std::vector<std::string> expected = {
        "WriteLogV wide", "WriteLogV narrow", "SetNewImageCallback", "InitFrameGrabber", "CloseFrameGrabber",
        "StartCapture",   "StopCapture",      "Reserved8",           "Reserved9",        "destructor",
    };
    EXPECT_EQ(called, expected) << "raise ALIDADE_DRIVER_LAYOUT_VERSION";
}

TEST(DriverLayout, ListsInsertThroughTheirFirstOperation)
{
    // What a plug-in calls of a list goes through the list's table as the plug-in knows it.
    TList<CString, int, int> list;
    void* object = &list;
    auto* item = new CString(L"item");
    EXPECT_EQ((Slot<int (*)(void*, CString*, int)>(object, 2)(object, item, -1)), 0);
    EXPECT_EQ((Slot<CString* (*)(void*, int)>(object, 3)(object, -1)), item);
    delete item;
}
