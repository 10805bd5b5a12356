#pragma once

#include "foundation/bus/engine/EngineTypes.h"

namespace alidade {

/// The commands whose handlers the calling thread is in, innermost last: a thread that waits may run
/// another handler inside the one that waits.
class RunningStack {
public:
    /// Puts a command on top for its lifetime.
    class CFrame {
    public:
        explicit CFrame(CRunningCommand& command) { Frames().push_back(&command); }
        ~CFrame() { Frames().pop_back(); }
        CFrame(const CFrame&) = delete;
        CFrame& operator=(const CFrame&) = delete;
    };

    static int CountFramesOf(const CIPTargetState& target)
    {
        int count = 0;
        for (const CRunningCommand* command : Frames()) {
            count += command->target.get() == &target ? 1 : 0;
        }
        return count;
    }
    /// The innermost command of that engine, or null.
    static CRunningCommand* Top(const CIPEngine* engine)
    {
        const auto& frames = Frames();
        for (auto i = frames.rbegin(); i != frames.rend(); ++i) {
            if ((*i)->target->engine.get() == engine) {
                return *i;
            }
        }
        return nullptr;
    }

private:
    static std::vector<CRunningCommand*>& Frames();
};

} // namespace alidade
