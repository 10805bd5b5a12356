#include "tests/view/window/ViewHarness.h"
#include "tests/view/window/ViewMenu.h"

namespace alidade {
namespace {

/// Every key with a value that is neither its default nor another's.
constexpr struct {
    const wchar_t* key;
    const wchar_t* value;
} kValues[] = {
    {L"view.bDisplayRegion", L"False"},
    {L"view.bDisplayGrid", L"True"},
    {L"view.bDisplaySlit", L"True"},
    {L"view.bDisplayFocusValue", L"True"},
    {L"view.bDisplaySelectedRegionSize", L"False"},
    {L"view.bDisplayLabel", L"False"},
    {L"view.dGridInterval.x", L"0.25"},
    {L"view.dGridInterval.y", L"0.5"},
    {L"view.dGridSize.x", L"0.125"},
    {L"view.dGridSize.y", L"0.75"},
    {L"view.bDisplayLaserCenterOffset", L"False"},
    {L"view.crOffset", L"65280"},
    {L"view.sizeOffset.cx", L"31"},
    {L"view.sizeOffset.cy", L"47"},
    {L"UILockPassword", L"grüß = dich"},
    {L"view.ToolMenu", L"False"},
};

class ViewSettings : public ::testing::Test {
protected:
    CProfileSection& Section(const wchar_t* unit = L"Cam1")
    {
        return m_vision.m_profile.GetSection(L"CameraSettings").GetSubSection(unit);
    }
    /// What the file holds now.
    CString OnDisk(const wchar_t* key, const wchar_t* unit = L"Cam1") const
    {
        CProfile profile(m_vision.m_profile.GetPath().c_str());
        EXPECT_EQ(profile.Load(), 1);
        return profile.GetSection(L"CameraSettings").GetSubSection(unit).GetItemValue(key, L"-");
    }

    CVision m_vision;
};

TEST_F(ViewSettings, EveryKeyComesFromTheFileAndGoesBackToIt)
{
    for (const auto& row : kValues) {
        Section().SetItemValue(row.key, row.value);
    }
    CProfileSection& lens = Section().GetSubSection(L"Lens_9");
    lens.SetItemValue(L"CenterOffset.x", L"3.5");
    lens.GetSubSection(L"CTCameraToStage").SetItemValue(L"Scale", L"0.0625");
    ASSERT_EQ(m_vision.m_profile.Save(), 1);
    m_vision.m_profile.DeleteSection(L"CameraSettings");

    CViewUnderTest view;
    view->SetUnitName("Cam1");
    ASSERT_EQ(view->LoadSettings(1), 1);
    const T_VIEW_SETTINGS& settings = view->GetSettings();
    EXPECT_EQ(settings.bDisplayRegion, 0);
    EXPECT_EQ(settings.bDisplayGrid, 1);
    EXPECT_EQ(settings.bDisplaySlit, 1);
    EXPECT_EQ(settings.bDisplayFocusValue, 1);
    EXPECT_EQ(settings.bDisplaySelectedRegionSize, 0);
    EXPECT_EQ(settings.bDisplayLabel, 0);
    EXPECT_EQ(settings.dGridIntervalX, 0.25);
    EXPECT_EQ(settings.dGridIntervalY, 0.5);
    EXPECT_EQ(settings.dGridSizeX, 0.125);
    EXPECT_EQ(settings.dGridSizeY, 0.75);
    EXPECT_EQ(settings.bDisplayLaserCenterOffset, 0);
    EXPECT_EQ(settings.crOffset, 65280);
    EXPECT_EQ(settings.sizeOffsetX, 31);
    EXPECT_EQ(settings.sizeOffsetY, 47);
    EXPECT_EQ(settings.strUILockPassword, L"grüß = dich");
    EXPECT_EQ(view->IsToolMenuVisible(), 0);
    EXPECT_EQ(view->GetCTCameraToStage(9).GetScale(), 0.0625);
    EXPECT_EQ(view->GetTransforms().GetLaserCenter(9).x, 3.5);

    m_vision.m_profile.DeleteSection(L"CameraSettings");
    ASSERT_EQ(view->SaveSettings(), 1);
    EXPECT_EQ(std::size(kValues), GetViewSettingTable().size());
    for (const auto& row : kValues) {
        EXPECT_EQ(OnDisk(row.key), row.value) << ToNarrow(row.key);
    }
}

TEST_F(ViewSettings, ChangesAreInTheFileAtOnce)
{
    CViewUnderTest view;
    view.Attach(new CHandDriver, "Cam1");
    TriggerMenuItem(view, "Show Focus Value");
    EXPECT_EQ(OnDisk(L"view.bDisplayFocusValue"), L"True");
    EXPECT_EQ(OnDisk(L"view.ToolMenu"), L"True");

    QTest::mouseClick(view.Bar().GetDlgItem(MENU_BAR_HIDE), Qt::LeftButton);
    EXPECT_EQ(view->IsToolMenuVisible(), 0);
    EXPECT_EQ(OnDisk(L"view.ToolMenu"), L"False");
    EXPECT_EQ(view->ShowToolMenu(1), 1);
    EXPECT_EQ(OnDisk(L"view.ToolMenu"), L"True");

    CCoordTrans calibration;
    calibration.Set(0.5, 1, 0, 0, 1, 10, 20, 30, 40);
    EXPECT_EQ(view->SetCTCameraToStage(calibration, 3), 1);
    CProfile profile(m_vision.m_profile.GetPath().c_str());
    ASSERT_EQ(profile.Load(), 1);
    const CProfileSection& stored = profile.GetSection(L"CameraSettings")
                                        .GetSubSection(L"Cam1")
                                        .GetSubSection(L"Lens_3")
                                        .GetSubSection(L"CTCameraToStage");
    EXPECT_EQ(stored.GetItemValue(L"Scale", 0.0), 0.5);
    EXPECT_EQ(stored.GetItemValue(L"OffsetY", 0.0), 40.0);
}

TEST_F(ViewSettings, ViewsWithoutAUnitNameShareTheirs)
{
    CViewUnderTest first;
    first.Attach(new CHandDriver);
    TriggerMenuItem(first, "Show Focus Value");
    EXPECT_EQ(OnDisk(L"view.bDisplayFocusValue", L"Default"), L"True");
    CViewUnderTest second;
    second.Attach(new CHandDriver);
    EXPECT_EQ(second->GetSettings().bDisplayFocusValue, 1);
    CViewUnderTest named;
    named.Attach(new CHandDriver, "Cam1");
    EXPECT_EQ(named->GetSettings().bDisplayFocusValue, 0);
}

TEST_F(ViewSettings, AHiddenBarStaysHiddenAndOneNobodyHidIsShown)
{
    Section().SetItemValue(L"view.ToolMenu", L"False");
    {
        CViewUnderTest view;
        EXPECT_EQ(view->IsToolMenuVisible(), 1);
        const int height = view.Bar().GetCoveredHeight();
        EXPECT_GT(height, 10);
        auto& camera = view.Attach(new CHandDriver, "Cam1");
        EXPECT_TRUE(view.ShowGrey(camera, 60));
        EXPECT_EQ(view->IsToolMenuVisible(), 0);
        EXPECT_EQ(view.Bar().GetCoveredHeight(), 0);
        // The picture takes the strip that the bar left.
        EXPECT_TRUE(ServeUntil([&] {
            return CViewUnderTest::IsLike(view.ColourAt(0.5, 0.002), {60, 60, 60});
        }));
        EXPECT_EQ(view->SaveSettings(), 1);
        Section().DeleteItem(L"view.ToolMenu");
        EXPECT_EQ(view->LoadSettings(0), 1);
        EXPECT_EQ(view->IsToolMenuVisible(), 1);
    }
    // Before the bar has a window the key is nobody's.
    CCameraView bare;
    bare.SetUnitName("Cam1");
    Section().SetItemValue(L"view.ToolMenu", L"False");
    EXPECT_EQ(bare.LoadSettings(0), 1);
    EXPECT_EQ(bare.SaveSettings(), 1);
    EXPECT_EQ(OnDisk(L"view.ToolMenu"), L"False");
}

TEST_F(ViewSettings, ADamagedFileIsReadAsFarAsItIsGood)
{
    m_vision.m_folder.Write("settings.ini", "[CameraSettings/Cam1]\nview.bDisplayGrid=True\n\x01garbage\n"
                                            "view.dGridInterval.x=wide\nview.sizeOffset.cx=12\n");
    CViewUnderTest view;
    view->SetUnitName("Cam1");
    EXPECT_EQ(view->LoadSettings(1), 1);
    EXPECT_EQ(view->GetSettings().bDisplayGrid, 1);
    EXPECT_EQ(view->GetSettings().dGridIntervalX, 0.015);
    EXPECT_EQ(view->GetSettings().sizeOffsetX, 12);
}

} // namespace
} // namespace alidade
