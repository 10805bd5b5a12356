#include "PicturePlayer.h"

#include "foundation/platform/Text.h"

namespace alidade {
namespace {

CString FormatName(cv::Size size, int type)
{
    static constexpr const wchar_t* kDepths[] = {L"8-bit",  L"signed 8-bit", L"16-bit", L"signed 16-bit",
                                                 L"32-bit", L"float",        L"double", L"half float"};
    return Format(L"%d x %d, %s %s", size.width, size.height, kDepths[CV_MAT_DEPTH(type)],
                  CV_MAT_CN(type) == 1 ? L"grey" : L"colour");
}

} // namespace

CPicturePlayer::CPicturePlayer(std::unique_ptr<IPictureSource> source, CSimpleLogInterface& log)
    : m_pSource(std::move(source)), m_log(log)
{
}

IPictureSource::eNEXT CPicturePlayer::Next(cv::Mat& picture)
{
    const IPictureSource::eNEXT next = m_pSource->Next(picture);
    if (next == IPictureSource::UNREADABLE) {
        ++m_counters.nUnreadable;
        if (IsNewProblem()) {
            m_log.WriteLog(kLogError, L"Replay: %s cannot be read and is skipped",
                           m_pSource->GetName().c_str());
        }
    }
    if (next != IPictureSource::PICTURE) {
        return next;
    }
    if (m_size.empty()) {
        m_size = picture.size();
        m_nType = picture.type();
        m_strFirst = FromPath(ToPath(m_pSource->GetName()).filename());
    }
    if (picture.size() != m_size || picture.type() != m_nType) {
        ++m_counters.nOtherFormat;
        if (IsNewProblem()) {
            m_log.WriteLog(kLogError, L"Replay: %s (%s) is skipped: %s is %s", m_pSource->GetName().c_str(),
                           FormatName(picture.size(), picture.type()).c_str(), m_strFirst.c_str(),
                           FormatName(m_size, m_nType).c_str());
        }
        return IPictureSource::UNREADABLE;
    }
    m_bPassEmpty = false;
    return next;
}

void CPicturePlayer::Rewind()
{
    m_pSource->Rewind();
    m_bPassEmpty = true;
}

CString CPicturePlayer::Describe() const
{
    return Format(L"%s, %s as %s", m_pSource->Describe().c_str(), FormatName(m_size, m_nType).c_str(),
                  m_strFirst.c_str());
}

bool CPicturePlayer::IsNewProblem()
{
    return m_problems.insert(m_pSource->GetName()).second;
}

void CPicturePlayer::ReportCounters(const wchar_t* occasion)
{
    const T_COUNTERS& n = m_counters;
    const unsigned long long all = n.nDelivered + n.nUnreadable + n.nOtherFormat + n.nFailed;
    if (all == m_nReported) {
        return;
    }
    m_nReported = all;
    m_log.WriteLog(kLogNormal,
                   L"Replay: %s; %llu delivered, %llu skipped as unreadable, %llu skipped for size or type, "
                   L"%llu failed",
                   occasion, n.nDelivered, n.nUnreadable, n.nOtherFormat, n.nFailed);
}

} // namespace alidade
