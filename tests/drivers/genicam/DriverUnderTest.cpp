#include "DriverUnderTest.h"

#include "foundation/platform/Module.h"
#include "foundation/platform/Text.h"

#include <chrono>
#include <stdexcept>
#include <thread>

namespace alidade {
namespace {

constexpr auto kLimit = std::chrono::seconds(60);

} // namespace

int CLineLog::Write(DWORD level, const CStringA& text)
{
    const std::lock_guard lock(m_mutex);
    m_lines.push_back((level == kLogError ? "E " : "  ") + text);
    return 1;
}

int CLineLog::Count(const std::string& part) const
{
    const std::lock_guard lock(m_mutex);
    int count = 0;
    for (const std::string& line : m_lines) {
        count += line.find(part) != line.npos ? 1 : 0;
    }
    return count;
}

std::string CLineLog::All() const
{
    const std::lock_guard lock(m_mutex);
    std::string all;
    for (const std::string& line : m_lines) {
        all += line + "\n";
    }
    return all;
}

void* CDriverUnderTest::Symbol(const char* name)
{
    CString error;
    static const HMODULE module = LoadModule(GENICAM_PLUGIN, &error);
    if (module == nullptr) {
        throw std::runtime_error(ToNarrow(error));
    }
    return GetModuleSymbol(module, name);
}

CDriverUnderTest::CDriverUnderTest()
    : m_driver(reinterpret_cast<GetFrameGrabberFunction>(Symbol("GetFrameGrabber"))()),
      m_pFrameSource(m_driver.get())
{
    m_driver->SetLog(&m_log);
    m_driver->SetNewImageCallback(&CDriverUnderTest::NewImage, this);
}

CDriverUnderTest::~CDriverUnderTest()
{
    m_driver.reset(); // before what its frames go to
}

int CDriverUnderTest::Init(const Settings& settings)
{
    CProfileSection section(L"Camera");
    for (const auto& [key, value] : settings) {
        section.SetItemValue(key.c_str(), value.c_str());
    }
    CString message;
    const int result = m_driver->InitFrameGrabber(section, message);
    m_message = ToNarrow(message);
    return result;
}

void CDriverUnderTest::OnFrame(std::function<void(const cv::Mat&)> handler)
{
    const std::lock_guard lock(m_mutex);
    m_handler = std::move(handler);
}

int CDriverUnderTest::NewImage(void* argument)
{
    auto* self = static_cast<CDriverUnderTest*>(argument);
    std::function<void(const cv::Mat&)> handler;
    {
        const std::lock_guard lock(self->m_mutex);
        handler = self->m_handler;
    }
    if (handler) {
        handler(self->m_pFrameSource->m_image);
    }
    const std::lock_guard lock(self->m_mutex);
    ++self->m_nFrames;
    self->m_changed.notify_all();
    return 1;
}

unsigned CDriverUnderTest::Frames() const
{
    const std::lock_guard lock(m_mutex);
    return m_nFrames;
}

bool CDriverUnderTest::WaitForFrames(unsigned count)
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, kLimit, [&] { return m_nFrames >= count; });
}

T_GENICAM_STATISTICS CDriverUnderTest::Statistics() const
{
    T_GENICAM_STATISTICS statistics{};
    const auto get = reinterpret_cast<GetGenICamStatisticsFunction>(Symbol("GetGenICamStatistics"));
    get(m_driver.get(), &statistics);
    return statistics;
}

bool IsOneRamp(const cv::Mat& image)
{
    const int first = image.at<BYTE>(0, 0);
    for (int y = 0; y < image.rows; ++y) {
        for (int x = 0; x < image.cols; ++x) {
            if (image.at<BYTE>(y, x) != (first + x + y) % 255) {
                return false;
            }
        }
    }
    return true;
}

} // namespace alidade
