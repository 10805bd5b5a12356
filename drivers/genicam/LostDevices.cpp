#include "LostDevices.h"

#include "foundation/platform/Thread.h"

#include <future>
#include <mutex>
#include <system_error>
#include <vector>

namespace alidade {
namespace {

struct SReleases {
    std::mutex mutex;
    std::vector<std::future<void>> running; // a future waits for its thread as it goes
};

} // namespace

void ReleaseLostDevice(TGObjectPtr<ArvCamera> camera, TGObjectPtr<ArvStream> stream)
{
    static SReleases releases;
    const std::lock_guard lock(releases.mutex);
    std::erase_if(releases.running, [](const std::future<void>& release) {
        return release.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    });
    // Without a thread to be had the objects go at the end of this function.
    const auto device = std::make_shared<std::pair<TGObjectPtr<ArvCamera>, TGObjectPtr<ArvStream>>>(
        std::move(camera), std::move(stream));
    try {
        releases.running.push_back(std::async(std::launch::async, [device] {
            NameThisThread("genicam-lost");
            device->second.reset();
            device->first.reset();
        }));
    } catch (const std::system_error&) {
        device->second.reset();
    }
}

} // namespace alidade
