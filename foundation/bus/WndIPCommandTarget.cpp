#include "foundation/bus/WndIPCommandTarget.h"

#include "foundation/bus/engine/BusEvent.h"
#include "foundation/bus/engine/Engine.h"

namespace alidade {

IWNDIPCommandTarget::IWNDIPCommandTarget(HWND& window, CIPClient* client, int flag)
    : IIPCommandTarget(nullptr, flag)
{
    BindToWindow(window);
    if (client != nullptr) {
        CreateIPCommandTarget(client);
    }
}

IWNDIPCommandTarget::~IWNDIPCommandTarget()
{
    DestroyIPCommandTarget(); // while the window's handle may still be read
}

int IWNDIPCommandTarget::DoIPCommand(HIPCOMMAND command, const IP_COMMAND_TARGET_ENTRY* entry)
{
    const std::shared_ptr<CIPThreadQueue> queue = GetState().thread;
    if (queue == nullptr || queue->thread != std::this_thread::get_id()) {
        command->SetError(L"The handler of a window runs on the window's thread only.");
        return 0;
    }
    return IIPCommandTarget::DoIPCommand(command, entry);
}

int IWNDIPCommandTarget::IP_OnWndMsg(UINT message, WPARAM, LPARAM lparam, LRESULT* result, int& handled)
{
    if (message != static_cast<UINT>(CBusEvent::GetType())) {
        return handled;
    }
    auto* event = reinterpret_cast<CBusEvent*>(lparam);
    if (event == nullptr || event->served || event->command->target.get() != &GetState()) {
        return handled; // for another receiver of the same window
    }
    event->served = true;
    handled = 1;
    if (result != nullptr) {
        *result = 1;
    }
    const std::shared_ptr<CIPEngine> engine = GetState().engine;
    engine->RunDelivered(event->command); // may take this receiver down
    return 1;
}

} // namespace alidade
