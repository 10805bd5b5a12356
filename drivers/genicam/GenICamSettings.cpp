#include "GenICamSettings.h"

#include "PixelFormat.h"
#include "foundation/platform/Text.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace alidade {
namespace {

CString JoinFormatNames()
{
    CString names;
    for (const T_PIXEL_FORMAT& format : GetPixelFormats()) {
        names += (names.empty() ? L"" : L";") + ToWide(format.szName);
    }
    return names;
}

const wchar_t* FormatOptions()
{
    static const CString names = JoinFormatNames();
    return names.c_str();
}

using namespace genicam_key;

/// Reads single values by the table and keeps the text of the first one that is refused.
class CSettingReader {
public:
    CSettingReader(const CProfileSection& section, CStringA& message) : m_section(section), m_message(message)
    {
    }

    bool IsGood() const { return m_bGood; }

    CString Text(const wchar_t* key) const
    {
        const CString text(Trim(m_section.GetItemValue(key, L"")));
        return text.empty() ? CString(Row(key).defaultValue) : text;
    }

    bool Boolean(const wchar_t* key) const
    {
        const bool fallback = CompareNoCase(Row(key).defaultValue, L"True") == 0;
        return IsGiven(key) ? m_section.GetItemValueBoolean(key, fallback) != 0 : fallback;
    }

    /// A number from the range, or nothing when neither the section nor the table has one.
    std::optional<double> Number(const wchar_t* key, double least, double most)
    {
        std::optional<double> value = ParseNumber(Row(key).defaultValue);
        if (IsGiven(key)) {
            const double given = m_section.GetItemValue(key, std::numeric_limits<double>::quiet_NaN());
            if (!std::isnan(given)) {
                value = given;
            }
        }
        if (value && !(*value >= least && *value <= most)) {
            Refuse(key, Format("allowed is %.10g to %.10g", least, most));
            return std::nullopt;
        }
        return value;
    }

    std::optional<int> Integer(const wchar_t* key, int least, int most)
    {
        const std::optional<double> value = Number(key, least, most);
        if (value && *value != std::floor(*value)) {
            Refuse(key, Format("allowed are whole numbers from %d to %d", least, most));
            return std::nullopt;
        }
        return value ? std::optional(static_cast<int>(*value)) : std::nullopt;
    }

    /// The option that the text equals, whatever its case; empty when there is no text.
    CStringA Option(const wchar_t* key)
    {
        const CString text = Text(key);
        CMFCPropertyGridProperty choices(key, L"", L"");
        choices.AddOptions(Row(key).options);
        for (const CString& option : choices.GetOptions()) {
            if (CompareNoCase(option, text) == 0) {
                return ToNarrow(option);
            }
        }
        if (!text.empty()) {
            CStringA list;
            for (const CString& option : choices.GetOptions()) {
                list += (list.empty() ? "" : ", ") + ToNarrow(option);
            }
            Refuse(key, "allowed are " + list);
        }
        return {};
    }

    T_AUTO_VALUE AutoValue(const wchar_t* key, double least, double most)
    {
        T_AUTO_VALUE result;
        const CString text = Text(key);
        if (text.empty()) {
            return result;
        }
        result.bAuto = CompareNoCase(text, L"Auto") == 0;
        result.value = ParseNumber(text);
        if (!result.bAuto && (!result.value || *result.value < least || *result.value > most)) {
            Refuse(key, Format("allowed are Auto and %.10g to %.10g", least, most));
        }
        return result;
    }

    std::vector<T_FEATURE> Features(const wchar_t* key)
    {
        std::vector<T_FEATURE> features;
        CMFCPropertyGridProperty pieces(key, L"", L"");
        pieces.AddOptions(Text(key));
        for (const CString& piece : pieces.GetOptions()) {
            const CStringA text(Trim(ToNarrow(piece)));
            const std::size_t equals = text.find('=');
            T_FEATURE feature{CStringA(Trim(std::string_view(text).substr(0, equals))), std::nullopt};
            if (equals != text.npos) {
                feature.value = CStringA(Trim(std::string_view(text).substr(equals + 1)));
            }
            if (feature.strName.empty() && !text.empty()) {
                Refuse(key, "a feature's name is missing before \"=\"");
            } else if (!text.empty()) {
                features.push_back(std::move(feature));
            }
        }
        return features;
    }

private:
    static std::optional<double> ParseNumber(std::wstring_view text)
    {
        const CStringA narrow = ToNarrow(text);
        double value = 0;
        const auto [end, error] = std::from_chars(narrow.data(), narrow.data() + narrow.size(), value);
        const bool whole =
            error == std::errc() && end == narrow.data() + narrow.size() && std::isfinite(value);
        return whole ? std::optional(value) : std::nullopt;
    }

    static const T_DRIVER_SETTING& Row(const wchar_t* key)
    {
        for (const T_DRIVER_SETTING& row : GetGenICamSettingTable()) {
            if (CString(row.key) == key) {
                return row;
            }
        }
        throw std::logic_error("a key that is not in the settings table");
    }

    bool IsGiven(const wchar_t* key) const { return !Trim(m_section.GetItemValue(key, L"")).empty(); }

    void Refuse(const wchar_t* key, const CStringA& allowed)
    {
        if (m_bGood) {
            m_bGood = false;
            m_message = RefusalText(key, ToNarrow(Text(key)), allowed);
        }
    }

    const CProfileSection& m_section;
    CStringA& m_message;
    bool m_bGood = true;
};

} // namespace

CStringA RefusalText(const wchar_t* key, const CStringA& value, const CStringA& reason)
{
    return ToNarrow(key) + " = \"" + value + "\" is not possible: " + reason;
}

std::span<const T_DRIVER_SETTING> GetGenICamSettingTable()
{
    static const T_DRIVER_SETTING table[] = {
        {kDeviceId, L"text", L"", L"", true,
         L"The camera: its id (vendor and serial number, as in Vendor-12345678), its serial number, its MAC "
         L"address or its IP address. Empty: the first camera found that nobody else controls"},
        {kInterface, L"text", L"", L"GigEVision;USB3Vision;Fake", false,
         L"Where to look for cameras. Empty: GigE Vision and USB3 Vision. Fake is a simulated camera without "
         L"hardware"},
        {kPixelFormat, L"text", L"", FormatOptions(), false,
         L"Pixel format that the camera sends. Empty: the one it is set to"},
        {kOffsetX, L"integer", L"", L"", true, L"Left edge of the region read out, in pixels. Empty: kept"},
        {kOffsetY, L"integer", L"", L"", true, L"Top edge of the region read out, in pixels. Empty: kept"},
        {kWidth, L"integer", L"", L"", true, L"Width of the region read out, in pixels. Empty: kept"},
        {kHeight, L"integer", L"", L"", true, L"Height of the region read out, in pixels. Empty: kept"},
        {kExposureTime, L"text", L"", L"Auto", true,
         L"Exposure time in microseconds, or Auto. Empty: as the camera is set"},
        {kGain, L"text", L"", L"Auto", true,
         L"Gain in the camera's unit, mostly dB, or Auto. Empty: as the camera is set"},
        {kFrameRate, L"double", L"0", L"", true, L"Frames per second. 0: as the camera is set"},
        {kTriggerMode, L"text", L"Off", L"Off;On", false,
         L"Off: the camera runs freely. On: one frame for each trigger"},
        {kTriggerSource, L"text", L"", L"Line0;Line1;Line2;Line3;Software", true,
         L"What triggers a frame. Empty: as the camera is set"},
        {kPacketSize, L"integer", L"0", L"", true,
         L"GigE Vision: bytes of a stream packet, 576 to 16384. 0: the largest that gets through"},
        {kPacketResend, L"boolean", L"True", L"True;False", false,
         L"GigE Vision: ask the camera again for packets that got lost"},
        {kPacketSocket, L"boolean", L"True", L"True;False", false,
         L"GigE Vision: receive through a packet socket, past the system's UDP buffers, where the program is "
         L"permitted to"},
        {kBuffers, L"integer", L"10", L"", true,
         L"Number of frames that may wait for the driver, 2 to 1000, 4 GiB at most"},
        {kSocketBuffer, L"integer", L"0", L"", true,
         L"GigE Vision: bytes of the socket's receive buffer, 65536 to 1073741824. 0: four frames, 8 MiB at "
         L"least"},
        {kFrameTimeout, L"integer", L"1000", L"", true,
         L"Milliseconds without a frame, 100 to 60000, after which the camera is asked whether it is still "
         L"there"},
        {kFeatures, L"text", L"", L"", true,
         L"Any other features of the camera, set last and in order: Name=Value;Name=Value. A name alone runs "
         L"a command"},
    };
    return table;
}

bool ReadGenICamSettings(const CProfileSection& section, T_GENICAM_SETTINGS& settings, CStringA& message)
{
    constexpr int kMostPixels = 65535;
    CSettingReader reader(section, message);
    T_GENICAM_SETTINGS read;
    read.strDeviceId = ToNarrow(reader.Text(kDeviceId));
    read.strInterface = reader.Option(kInterface);
    read.pPixelFormat = FindPixelFormat(reader.Option(kPixelFormat));
    read.offsetX = reader.Integer(kOffsetX, 0, kMostPixels);
    read.offsetY = reader.Integer(kOffsetY, 0, kMostPixels);
    read.width = reader.Integer(kWidth, 1, kMostPixels);
    read.height = reader.Integer(kHeight, 1, kMostPixels);
    read.exposure = reader.AutoValue(kExposureTime, 0, 1e9);
    read.gain = reader.AutoValue(kGain, -1e6, 1e6);
    read.dFrameRate = reader.Number(kFrameRate, 0, 1e6).value_or(0);
    read.bTrigger = reader.Option(kTriggerMode) == "On";
    read.strTriggerSource = ToNarrow(reader.Text(kTriggerSource));
    read.nPacketSize = reader.Integer(kPacketSize, 0, 16384).value_or(0);
    if (read.nPacketSize != 0) {
        reader.Integer(kPacketSize, 576, 16384);
    }
    read.bPacketResend = reader.Boolean(kPacketResend);
    read.bPacketSocket = reader.Boolean(kPacketSocket);
    read.nBuffers = reader.Integer(kBuffers, 2, 1000).value_or(0);
    read.nSocketBuffer = reader.Integer(kSocketBuffer, 0, 1 << 30).value_or(0);
    if (read.nSocketBuffer != 0) {
        reader.Integer(kSocketBuffer, 65536, 1 << 30);
    }
    read.dwFrameTimeout = static_cast<DWORD>(reader.Integer(kFrameTimeout, 100, 60000).value_or(0));
    read.features = reader.Features(kFeatures);
    if (!reader.IsGood()) {
        return false;
    }
    settings = std::move(read);
    return true;
}

} // namespace alidade
