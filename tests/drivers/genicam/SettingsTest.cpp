#include "GenICamSettings.h"
#include "PixelFormat.h"
#include "SocketBuffer.h"
#include "foundation/platform/Text.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

namespace alidade {
namespace {

TEST(GenICamSettings, AnEmptySectionAndEmptyTextsGiveTheDefaults)
{
    CProfileSection empty;
    CProfileSection blank;
    for (const T_DRIVER_SETTING& row : GetGenICamSettingTable()) {
        blank.SetItemValue(row.key, L"  ");
    }
    blank.SetItemValue(L"GenICam.Width", L"wide"); // no number: as if it were not there
    for (const CProfileSection* section : {&empty, &blank}) {
        T_GENICAM_SETTINGS settings;
        CStringA message;
        ASSERT_TRUE(ReadGenICamSettings(*section, settings, message)) << message;
        EXPECT_EQ(settings.strDeviceId, "");
        EXPECT_EQ(settings.pPixelFormat, nullptr);
        EXPECT_FALSE(settings.width || settings.height || settings.offsetX || settings.offsetY);
        EXPECT_TRUE(settings.exposure.IsKept());
        EXPECT_TRUE(settings.gain.IsKept());
        EXPECT_EQ(settings.dFrameRate, 0);
        EXPECT_FALSE(settings.bTrigger);
        EXPECT_EQ(settings.nBuffers, 10);
        EXPECT_EQ(settings.nPacketSize, 0);
        EXPECT_TRUE(settings.bPacketResend);
        EXPECT_TRUE(settings.bPacketSocket);
        EXPECT_EQ(settings.dwFrameTimeout, 1000u);
        EXPECT_TRUE(settings.features.empty());
    }
}

TEST(GenICamSettings, ValuesAreRead)
{
    CProfileSection section;
    section.SetItemValue(L"GenICam.DeviceId", L" Acme-1 ");
    section.SetItemValue(L"GenICam.PixelFormat", L"bayerrg12p");
    section.SetItemValue(L"GenICam.ExposureTime", L"auto");
    section.SetItemValue(L"GenICam.Gain", L"1.5");
    section.SetItemValue(L"GenICam.TriggerMode", L"on");
    section.SetItemValue(L"GenICam.PacketResend", L"no");
    section.SetItemValue(L"GenICam.Features", L" A = 1 ;; B=x=y; C ;D=");
    T_GENICAM_SETTINGS settings;
    CStringA message;
    ASSERT_TRUE(ReadGenICamSettings(section, settings, message)) << message;
    EXPECT_EQ(settings.strDeviceId, "Acme-1");
    EXPECT_EQ(settings.pPixelFormat, FindPixelFormat("BayerRG12p"));
    EXPECT_TRUE(settings.exposure.bAuto);
    EXPECT_EQ(settings.gain.value, 1.5);
    EXPECT_TRUE(settings.bTrigger);
    EXPECT_FALSE(settings.bPacketResend);
    ASSERT_EQ(settings.features.size(), 4u);
    EXPECT_EQ(settings.features[0].strName + "|" + *settings.features[0].value, "A|1");
    EXPECT_EQ(settings.features[1].strName + "|" + *settings.features[1].value, "B|x=y");
    EXPECT_EQ(settings.features[2].strName, "C");
    EXPECT_FALSE(settings.features[2].value);
    EXPECT_EQ(settings.features[3].value, "");
}

TEST(GenICamSettings, TheSocketBufferHoldsSeveralFrames)
{
    EXPECT_GE(ChooseSocketBuffer(4u << 20), 4 * (4 << 20));
    EXPECT_GE(ChooseSocketBuffer(1), 1 << 20);
    EXPECT_GT(ChooseSocketBuffer(kMaxFrameBytes), 0) << "it fits an int";
}

TEST(GenICamDocument, ListsEachSettingWithItsDefaultAndEachPixelFormat)
{
    std::ifstream file(GENICAM_DOCUMENT);
    ASSERT_TRUE(file) << GENICAM_DOCUMENT;
    std::stringstream stream;
    stream << file.rdbuf();
    const std::string text = stream.str();
    for (const T_DRIVER_SETTING& row : GetGenICamSettingTable()) {
        const CString wide =
            Format(*row.defaultValue != 0 ? L"| `%s` | %s | `%s` | " : L"| `%s` | %s | empty%s | ", row.key,
                   row.type, row.defaultValue);
        const std::string wanted = ToNarrow(wide);
        EXPECT_NE(text.find(wanted), std::string::npos) << "no line begins: " << wanted;
    }
    for (std::size_t at = text.find("`GenICam."); at != text.npos; at = text.find("`GenICam.", at + 1)) {
        const CString key = ToWide(text.substr(at + 1, text.find('`', at + 1) - at - 1));
        bool known = false;
        for (const T_DRIVER_SETTING& row : GetGenICamSettingTable()) {
            known = known || key == row.key;
        }
        EXPECT_TRUE(known) << "there is no setting " << ToNarrow(key);
    }
    for (const T_PIXEL_FORMAT& format : GetPixelFormats()) {
        const std::string name = format.szName;
        // The four mosaics share a line.
        const std::string wanted = name.starts_with("Bayer") ? "Bayer**" + name.substr(7) : name;
        EXPECT_NE(text.find("`" + wanted + "`"), std::string::npos) << wanted;
    }
}

} // namespace
} // namespace alidade
