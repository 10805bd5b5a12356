#include "foundation/bus/engine/CommandPool.h"

#include "foundation/bus/engine/EngineTypes.h"

#include <mutex>
#include <new>

namespace alidade {
namespace {

constexpr std::size_t kHeldBack = 4096;

class CCommandPool {
public:
    void* Take()
    {
        {
            std::lock_guard lock(m_mutex);
            if (m_free.size() > kHeldBack) {
                void* block = m_free.front();
                m_free.pop_front();
                return block;
            }
        }
        return ::operator new (sizeof(CRunningCommand), std::align_val_t{alignof(CRunningCommand)});
    }

    void GiveBack(void* block)
    {
        std::lock_guard lock(m_mutex);
        m_free.push_back(block);
    }

private:
    std::mutex m_mutex;
    std::deque<void*> m_free;
};

CCommandPool& Pool()
{
    static auto* pool = new CCommandPool; // never destroyed: handles may be held by statics
    return *pool;
}

struct CDestroyer {
    void operator()(CRunningCommand* command) const
    {
        command->~CRunningCommand();
        Pool().GiveBack(command);
    }
};

} // namespace

std::shared_ptr<CRunningCommand> AllocateCommand(const char* group, const char* name, CIPVariable&& parameter)
{
    void* block = Pool().Take();
    try {
        return std::shared_ptr<CRunningCommand>(
            new (block) CRunningCommand(group, name, std::move(parameter)), CDestroyer{});
    } catch (...) {
        Pool().GiveBack(block);
        throw;
    }
}

} // namespace alidade
