#pragma once

#include "foundation/bus/IPData.h"
#include "foundation/platform/Text.h"
#include "foundation/platform/Ticks.h"
#include "host/machine/MachineSimulator.h"
#include "tests/bus/data/OwnInstance.h"
#include "tests/support/WaitUntil.h"

#include <chrono>
#include <functional>
#include <future>
#include <gtest/gtest.h>

namespace alidade {

/// What a sender got.
struct T_ANSWER {
    int ok = 0;
    CIPVariable result;
    CStringA error;
};

/// A simulator on a bus of its own and on the manual clock, and a client that sends to it.
class CMachineUnderTest {
public:
    explicit CMachineUnderTest(const T_MACHINE_SETTINGS& settings = {})
    {
        CString error;
        EXPECT_EQ(m_machine.Start(settings, m_bus, nullptr, error), 1) << ToNarrow(error);
    }

    /// Sends from another thread and waits until the handler has been called.
    std::future<T_ANSWER> Begin(const char* task, const char* group, const char* name, const CIPVariable& in)
    {
        const std::uint64_t before = m_machine.CountCommands();
        auto answer = std::async(std::launch::async, [=, this] {
            T_ANSWER got;
            got.ok = m_client.SendIPCommand(task, nullptr, group, name, in, got.result, INFINITE, nullptr);
            got.error = got.ok ? CStringA() : ToNarrow(CIPClient::GetLastIPError());
            return got;
        });
        EXPECT_TRUE(WaitUntil([&] { return m_machine.CountCommands() > before; })) << name;
        return answer;
    }
    /// Advances the clock until the sender has its answer.
    T_ANSWER End(std::future<T_ANSWER>& answer)
    {
        EXPECT_TRUE(WaitUntil([&] {
            m_ticks.Advance(5);
            return answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
        }));
        return answer.get();
    }
    T_ANSWER Send(const char* task, const char* group, const char* name, const CIPVariable& in)
    {
        std::future<T_ANSWER> answer = Begin(task, group, name, in);
        return End(answer);
    }
    T_ANSWER Stage(const char* name, const CIPVariable& in = CIPVariable())
    {
        return Send("Sequence", "Stage", name, in);
    }
    double Position(eMACHINE_AXIS axis)
    {
        return m_machine.GetMachine().Do([&](CMachineModel& model) { return model.GetAxis(axis).position; });
    }

    COwnInstance m_instance;
    CManualTicks m_ticks;
    std::shared_ptr<CIPBus> m_bus = std::make_shared<CIPBus>();
    CMachineSimulator m_machine;
    CIPClient m_client{nullptr, nullptr, "Test", m_bus};
};

/// Reads one item of a block of this test's machine.
inline double ReadItem(const char* block, const char* path)
{
    CIPData data(L"Tavro");
    CString text;
    EXPECT_EQ(data.Open(block, text), 1) << ToNarrow(text);
    return data.GetDataItem(path).GetDouble();
}

} // namespace alidade
