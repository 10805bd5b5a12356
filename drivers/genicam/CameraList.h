#pragma once

#include "GObject.h"

namespace alidade {

/// A camera that answered when it was looked for.
struct T_CAMERA_INFO {
    ArvInterface* pInterface = nullptr; // lives as long as the process
    CStringA strId;                     // vendor and serial number
    CStringA strPhysicalId;             // MAC address, or place on the USB
    CStringA strAddress;
    CStringA strSerial;
};

/// A device that was opened, and the name that finds it again.
struct T_OPEN_DEVICE {
    TGObjectPtr<ArvDevice> device;
    CStringA strId;   // finds this camera again
    CStringA strName; // for the operator
};

/// Opens a camera by id, serial number, MAC address or IP address; an empty id means the first one that can
/// be had. Takes some seconds at most. Thread-safe: one look-up at a time in the process.
/// @param interfaceName  "GigEVision", "USB3Vision", "Fake"; empty: the first two
/// @param message        on failure what was looked for and which cameras there are
bool OpenDevice(const CStringA& interfaceName, const CStringA& id, T_OPEN_DEVICE& opened, CStringA& message);

} // namespace alidade
