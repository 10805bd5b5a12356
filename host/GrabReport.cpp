#include "host/GrabReport.h"

#include "foundation/platform/Text.h"

#include <cmath>
#include <nlohmann/json.hpp>

namespace alidade {
namespace {

using Json = nlohmann::ordered_json;

Json TextOrNull(const CString& text)
{
    return text.empty() ? Json() : Json(ToNarrow(text));
}

/// Three decimals are what the clock is good for; null for what could not be measured.
Json NumberOrNull(double value, bool measured)
{
    return measured && std::isfinite(value) ? Json(std::round(value * 1000) / 1000) : Json();
}

Json SizeOrNull(cv::Size size)
{
    return size.empty() ? Json() : Json{{"width", size.width}, {"height", size.height}};
}

} // namespace

CStringA FormatReport(const T_GRAB_REPORT& report)
{
    const T_TAP_COUNTERS& counters = report.counters;
    const CIntervalStatistics& intervals = counters.intervals;
    const bool hasIntervals = intervals.GetCount() > 0;
    Json settings = Json::object();
    for (const CProfileItem* item : report.settings.m_items) {
        settings[ToNarrow(item->m_strKey)] = ToNarrow(item->m_strValue);
    }
    Json json;
    json["driver"] = ToNarrow(report.strDriver);
    json["message"] = ToNarrow(report.strMessage);
    json["settings"] = settings;
    json["clip"] = report.clip ? Json{{"x", report.clip->x},
                                      {"y", report.clip->y},
                                      {"width", report.clip->width},
                                      {"height", report.clip->height}}
                               : Json();
    json["source_size"] = SizeOrNull(counters.sourceSize);
    json["size"] = SizeOrNull(report.size);
    json["type"] = report.size.empty() ? Json() : Json(cv::typeToString(report.nType));
    json["frames_asked"] = report.nFramesAsked;
    json["frames"] = report.nFrames;
    json["delivered"] = counters.nDelivered;
    json["drops"] = counters.nDropped;
    json["buffers"] = report.nBuffers;
    json["frame_rate"] = NumberOrNull(counters.GetFrameRate(), hasIntervals);
    json["gaps"] = intervals.CountGaps();
    json["median_interval_ms"] = NumberOrNull(intervals.GetMedian(), hasIntervals);
    json["longest_interval_ms"] = NumberOrNull(intervals.GetLongest(), hasIntervals);
    json["time_to_first_frame_ms"] = NumberOrNull(counters.dFirstFrame, counters.dFirstFrame >= 0);
    json["first_file"] = TextOrNull(report.strFirstFile);
    json["last_file"] = TextOrNull(report.strLastFile);
    json["ended"] = ToNarrow(report.ended);
    json["error"] = TextOrNull(report.strError);
    return json.dump(2) + "\n";
}

CStringA FormatSummary(const T_GRAB_REPORT& report)
{
    const T_TAP_COUNTERS& counters = report.counters;
    CString text = Format(L"%s: %u frames", report.strDriver.c_str(), report.nFrames);
    if (!report.size.empty()) {
        text += Format(L" of %d x %d %s", report.size.width, report.size.height,
                       ToWide(cv::typeToString(report.nType)).c_str());
    }
    if (counters.GetFrameRate() > 0) {
        text += Format(L", %.2f frames/s", counters.GetFrameRate());
    }
    text += Format(L", %llu drops, %llu gaps", static_cast<unsigned long long>(counters.nDropped),
                   static_cast<unsigned long long>(counters.intervals.CountGaps()));
    if (!report.strFirstFile.empty()) {
        text += L"; " + report.strFirstFile + (report.nFrames > 1 ? L" to " + report.strLastFile : CString());
    }
    return ToNarrow(text) + "\n";
}

} // namespace alidade
