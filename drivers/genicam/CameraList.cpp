#include "CameraList.h"

#include "foundation/platform/Text.h"

#include <mutex>
#include <vector>

namespace alidade {
namespace {

/// Guards the process-wide lists of the interfaces: a text out of them is gone with the next update.
std::mutex& ListMutex()
{
    static std::mutex mutex;
    return mutex;
}

std::vector<ArvInterface*> GetInterfaces(const CStringA& name)
{
    std::vector<ArvInterface*> interfaces;
    if (name.empty() || name == "GigEVision") {
        interfaces.push_back(arv_gv_interface_get_instance());
    }
#if ARAVIS_HAS_USB
    if (name.empty() || name == "USB3Vision") {
        interfaces.push_back(arv_uv_interface_get_instance());
    }
#endif
    if (name == "Fake") {
        interfaces.push_back(arv_fake_interface_get_instance());
    }
    return interfaces;
}

std::vector<T_CAMERA_INFO> FindCameras(const std::vector<ArvInterface*>& interfaces)
{
    std::vector<T_CAMERA_INFO> cameras;
    for (ArvInterface* place : interfaces) {
        arv_interface_update_device_list(place);
        const unsigned count = arv_interface_get_n_devices(place);
        for (unsigned i = 0; i < count; ++i) {
            cameras.push_back({place, TextOf(arv_interface_get_device_id(place, i)),
                               TextOf(arv_interface_get_device_physical_id(place, i)),
                               TextOf(arv_interface_get_device_address(place, i)),
                               TextOf(arv_interface_get_device_serial_nbr(place, i))});
        }
    }
    return cameras;
}

bool IsNamed(const T_CAMERA_INFO& camera, const CStringA& id)
{
    for (const CStringA* name :
         {&camera.strId, &camera.strPhysicalId, &camera.strAddress, &camera.strSerial}) {
        if (!name->empty() && CompareNoCase(*name, id) == 0) {
            return true;
        }
    }
    return false;
}

CStringA Describe(const std::vector<T_CAMERA_INFO>& cameras)
{
    CStringA text;
    for (const T_CAMERA_INFO& camera : cameras) {
        text += (text.empty() ? "" : ", ") + camera.strId + " (" + camera.strAddress + ")";
    }
    return text.empty() ? "no camera was found" : "found: " + text;
}

bool IsIPv4(const CStringA& text)
{
    const TGObjectPtr<GInetAddress> address(g_inet_address_new_from_string(text.c_str()));
    return address && g_inet_address_get_family(address.get()) == G_SOCKET_FAMILY_IPV4;
}

bool Open(ArvInterface* place, const CStringA& id, TGObjectPtr<ArvDevice>& device, CStringA& reason)
{
    CGError error;
    device.reset(arv_interface_open_device(place, id.c_str(), error.Place()));
    if (!device) {
        reason = error.Text();
        return false;
    }
    if (ARV_IS_GV_DEVICE(device.get()) && !arv_gv_device_is_controller(ARV_GV_DEVICE(device.get()))) {
        device.reset();
        reason = "another program controls it";
        return false;
    }
    return true;
}

} // namespace

bool OpenDevice(const CStringA& interfaceName, const CStringA& id, T_OPEN_DEVICE& opened, CStringA& message)
{
    const std::lock_guard lock(ListMutex());
    const std::vector<ArvInterface*> interfaces = GetInterfaces(interfaceName);
    if (interfaces.empty()) {
        message = "GenICam.Interface = \"" + interfaceName + "\": not in this build of the camera library";
        return false;
    }
    CStringA reasons;
    CStringA reason;
    // An address needs no look-up, and reaches cameras in other networks, which do not answer one. Names that
    // are not in the list are never handed on: they would be asked of the name service, which may take long.
    if (IsIPv4(id) && interfaces.front() == arv_gv_interface_get_instance()) {
        if (Open(interfaces.front(), id, opened.device, reason)) {
            opened.strId = opened.strName = id;
            return true;
        }
        reasons = "; " + id + ": " + reason;
    }
    const std::vector<T_CAMERA_INFO> cameras = FindCameras(interfaces);
    for (const T_CAMERA_INFO& camera : cameras) {
        // A camera asked for by name is tried once.
        if (!id.empty() && (!reasons.empty() || !IsNamed(camera, id))) {
            continue;
        }
        if (Open(camera.pInterface, camera.strId, opened.device, reason)) {
            opened.strId = camera.strId;
            opened.strName = camera.strId;
            return true;
        }
        reasons += "; " + camera.strId + ": " + reason;
    }
    message = (id.empty() ? CStringA("GenICam.DeviceId is empty and no camera can be opened; ")
                          : "GenICam.DeviceId = \"" + id + "\" cannot be opened; ") +
              Describe(cameras) + reasons;
    return false;
}

} // namespace alidade
