#include "host/CameraUnit.h"

#include "foundation/bus/ImageVariable.h"

namespace alidade {
namespace {

constexpr DWORD kGrabWait = 3000; // for a new frame when the present one is stale

} // namespace

CCameraUnit::CCameraUnit(CIPClient& client, const char* unit, GetImage getImage)
    : m_getImage(std::move(getImage))
{
    SetUnitName(unit);
    CreateIPCommandTarget(&client);
}

CCameraUnit::~CCameraUnit()
{
    DestroyIPCommandTarget();
}

const IP_COMMAND_TARGET* CCameraUnit::GetIPCommandTargetStatic() const
{
    static const IP_COMMAND_TARGET_ENTRY entries[] = {
        IPCommandEntry("Image", "Grab", &CCameraUnit::OnIPImageGrab), {nullptr, nullptr, nullptr}};
    static const IP_COMMAND_TARGET table{entries, nullptr};
    return &table;
}

int CCameraUnit::OnIPImageGrab(CIPCommand& command)
{
    if (!m_getImage) {
        command.SetError(L"The unit has no camera.");
        return 0;
    }
    cv::Mat image;
    if (!m_getImage(image, kGrabWait) || image.empty()) {
        command.SetError(L"The camera gives no image.");
        return 0;
    }
    return ConvertMatToVar(command.GetResult()("Image"), image);
}

} // namespace alidade
