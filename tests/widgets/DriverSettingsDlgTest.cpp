#include "widgets/DriverSettingsDlg.h"
#include "UiHarness.h"
#include "acquisition/FrameGrabber.h"
#include "acquisition/FrameGrabberDummy.h"

namespace alidade {
namespace {

CMFCPropertyGridProperty* FindProperty(CDriverSettingsDlg& dialog, const wchar_t* name)
{
    for (CMFCPropertyGridProperty* row : dialog.GetProperties()) {
        if (row->GetName() == name) {
            return row;
        }
    }
    return nullptr;
}

TEST(DriverSettingsDlg, EditsTheSettingsOfADriverByItsName)
{
    CFrameGrabber::LoadFrameGrabberDll(L"/there/is/no/such/folder", nullptr);
    CProfileSection settings;
    settings.SetItemValue(L"Dummy.FrameRate", L"30");
    settings.SetItemValue(L"Dummy.resolution", L"640x480");
    settings.SetItemValue(L"Image.FlipX", L"True");
    settings.SetItemValue(L"Dummy.Color", L""); // for some drivers another thing than the default
    CDriverSettingsDlg dialog(L"Dummy", settings);
    ASSERT_EQ(dialog.GetProperties().Count(), static_cast<int>(CFrameGrabberDummy::GetSettingTable().size()));
    ShowActive(dialog);
    EXPECT_EQ(FindProperty(dialog, L"Dummy.FrameRate")->GetValue(), L"30");

    dialog.GetGrid().Select(FindProperty(dialog, L"Dummy.FrameRate"));
    Type("12.5");
    Press(Qt::Key_Return);
    dialog.GetGrid().Select(FindProperty(dialog, L"Dummy.resolution"));
    Press(Qt::Key_F2);
    Press(Qt::Key_Delete);
    dialog.accept(); // with the edit open

    EXPECT_STREQ(dialog.GetSettings().GetItemValue(L"Dummy.FrameRate", L""), L"12.5");
    EXPECT_STREQ(dialog.GetSettings().GetItemValue(L"Image.FlipX", L""), L"True");
    // An empty value leaves the default to the driver, and so do rows that nobody touched.
    EXPECT_FALSE(dialog.GetSettings().HasItem(L"Dummy.resolution"));
    EXPECT_FALSE(dialog.GetSettings().HasItem(L"Dummy.Type"));
    EXPECT_STREQ(dialog.GetSettings().GetItemValue(L"Dummy.Color", L"?"), L"");
    EXPECT_STREQ(settings.GetItemValue(L"Dummy.FrameRate", L""), L"30");
}

TEST(DriverSettingsDlg, AnUnknownDriverHasNoRowsAndKeepsWhatThereIs)
{
    CProfileSection settings;
    settings.SetItemValue(L"Gone.Port", L"3");
    CDriverSettingsDlg dialog(L"Gone", settings);
    ShowActive(dialog);
    EXPECT_EQ(dialog.GetProperties().Count(), 0);
    dialog.accept();
    EXPECT_EQ(dialog.GetSettings(), settings);
}

} // namespace
} // namespace alidade
