#include "view/ViewSettings.h"

namespace alidade {
namespace {

const T_VIEW_SETTING kTable[] = {
    {L"view.bDisplayRegion", L"boolean", L"1",
     L"Show where the shown part lies in the whole frame, when zoomed in", &T_VIEW_SETTINGS::bDisplayRegion,
     32803},
    {L"view.bDisplayGrid", L"boolean", L"0", L"Draw the grid", &T_VIEW_SETTINGS::bDisplayGrid, 32804},
    {L"view.bDisplaySlit", L"boolean", L"0", L"Draw the slit's rectangle", &T_VIEW_SETTINGS::bDisplaySlit,
     32842},
    {L"view.bDisplayFocusValue", L"boolean", L"0", L"Measure focus and show it in the status line",
     &T_VIEW_SETTINGS::bDisplayFocusValue, 32775},
    {L"view.bDisplaySelectedRegionSize", L"boolean", L"1", L"Write corners and size on the selected region",
     &T_VIEW_SETTINGS::bDisplaySelectedRegionSize, 32853},
    {L"view.bDisplayLabel", L"boolean", L"1", L"Draw the labels", &T_VIEW_SETTINGS::bDisplayLabel, 32776},
    {L"view.dGridInterval.x", L"double", L"0.015", L"Pitch of the grid in X, mm",
     &T_VIEW_SETTINGS::dGridIntervalX},
    {L"view.dGridInterval.y", L"double", L"0.015", L"Pitch of the grid in Y, mm",
     &T_VIEW_SETTINGS::dGridIntervalY},
    {L"view.dGridSize.x", L"double", L"0.015",
     L"Kept; the length of the ticks is taken from the other one, mm", &T_VIEW_SETTINGS::dGridSizeX},
    {L"view.dGridSize.y", L"double", L"0.015", L"Length of the grid's ticks, mm",
     &T_VIEW_SETTINGS::dGridSizeY},
    {L"view.bDisplayLaserCenterOffset", L"boolean", L"1", L"Draw the cross at the laser centre",
     &T_VIEW_SETTINGS::bDisplayLaserCenterOffset, 32806},
    {L"view.crOffset", L"integer", L"255", L"Colour of that cross and of the grid: 0x00BBGGRR as a number",
     &T_VIEW_SETTINGS::crOffset},
    {L"view.sizeOffset.cx", L"integer", L"200", L"Width of that cross, px of the screen",
     &T_VIEW_SETTINGS::sizeOffsetX},
    {L"view.sizeOffset.cy", L"integer", L"200", L"Height of that cross, px of the screen",
     &T_VIEW_SETTINGS::sizeOffsetY},
    {L"UILockPassword", L"text", L"", L"Password that guards what must not be changed; empty: no lock",
     &T_VIEW_SETTINGS::strUILockPassword},
    {kToolMenuKey, L"boolean", L"1", L"Show the tool menu bar", nullptr},
};

bool IsBoolean(const T_VIEW_SETTING& row)
{
    return std::wstring_view(row.type) == L"boolean";
}

} // namespace

std::span<const T_VIEW_SETTING> GetViewSettingTable()
{
    return kTable;
}

void SyncViewSettings(int store, CProfileSection& section, T_VIEW_SETTINGS& settings)
{
    for (const T_VIEW_SETTING& row : kTable) {
        if (const auto* number = std::get_if<int T_VIEW_SETTINGS::*>(&row.member)) {
            int& value = settings.**number;
            if (!IsBoolean(row)) {
                section.SyncItemValue(store, row.key, value);
            } else if (store != 0) {
                section.SetItemValueBoolean(row.key, value);
            } else {
                value = section.GetItemValueBoolean(row.key, value);
            }
        } else if (const auto* real = std::get_if<double T_VIEW_SETTINGS::*>(&row.member)) {
            section.SyncItemValue(store, row.key, settings.**real);
        } else if (const auto* text = std::get_if<CString T_VIEW_SETTINGS::*>(&row.member)) {
            section.SyncItemValue(store, row.key, settings.**text);
        }
    }
}

int* FindViewToggle(T_VIEW_SETTINGS& settings, int menuItem)
{
    for (const T_VIEW_SETTING& row : kTable) {
        const auto* member = std::get_if<int T_VIEW_SETTINGS::*>(&row.member);
        if (member != nullptr && menuItem != 0 && row.menuItem == menuItem) {
            return &(settings.**member);
        }
    }
    return nullptr;
}

} // namespace alidade
