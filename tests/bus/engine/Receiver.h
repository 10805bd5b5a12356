#pragma once

#include "foundation/bus/IPBus.h"
#include "foundation/bus/IPClient.h"
#include "foundation/platform/Event.h"
#include "foundation/platform/Ticks.h"
#include "tests/support/WaitUntil.h"

#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <mutex>
#include <thread>

namespace alidade {

using TestHandler = std::function<int(CIPCommand&)>;

/// A plain receiver whose handlers each test writes; all rows share one handler, which goes by the name.
class CReceiver : public IIPCommandTarget {
public:
    explicit CReceiver(CIPClient& client, const char* unit = "Camera1", int flag = 1)
        : IIPCommandTarget(nullptr, flag)
    {
        SetUnitName(unit);
        CreateIPCommandTarget(&client);
    }
    ~CReceiver() override { DestroyIPCommandTarget(); }

    void On(const char* name, TestHandler handler)
    {
        std::lock_guard lock(m_mutex);
        m_handlers[name] = std::move(handler);
    }

    const IP_COMMAND_TARGET* GetIPCommandTargetStatic() const override { return GetTable(); }
    static const IP_COMMAND_TARGET* GetTable()
    {
        static const IP_COMMAND_TARGET_ENTRY entries[] = {
            IPCommandEntry("Test", "Run", &CReceiver::OnIPTest),
            IPCommandEntry("Test", "Child", &CReceiver::OnIPTest),
            IPCommandEntry("Test", "Other", &CReceiver::OnIPTest, IPCMD_OPERATOR),
            {nullptr, nullptr, nullptr}};
        static const IP_COMMAND_TARGET table{entries, nullptr};
        return &table;
    }

    using IIPCommandTarget::ContinueIPStepCommand;
    using IIPCommandTarget::DestroyIPCommandTarget;
    using IIPCommandTarget::ResumeIPStepCommandByName;
    using IIPCommandTarget::SendIPCommand;

private:
    int OnIPTest(CIPCommand& command)
    {
        TestHandler handler;
        {
            std::lock_guard lock(m_mutex);
            handler = m_handlers[command.GetName()];
        }
        return handler ? handler(command) : 1;
    }

    std::mutex m_mutex;
    std::map<std::string, TestHandler> m_handlers;
};

/// A bus of the test's own with one client.
struct T_TEST_BUS {
    std::shared_ptr<CIPBus> bus = std::make_shared<CIPBus>();
    CIPClient client{nullptr, nullptr, "Vision", bus};

    int Send(const char* name, CIPVariable& out, DWORD timeout = 60000, const char* unit = "Camera1")
    {
        return client.SendIPCommand(nullptr, unit, "Test", name, CIPVariable(), out, timeout, nullptr);
    }
    /// Sends from another thread and, once the handler has set `begun`, lets time pass until that is done.
    int SendWhileTimePasses(const char* name, CEvent& begun, CManualTicks& ticks)
    {
        int ok = -1;
        std::atomic<bool> done{false};
        std::thread sender([&] {
            CIPVariable out;
            ok = Send(name, out, INFINITE);
            done = true;
        });
        EXPECT_TRUE(begun.Wait(INFINITE));
        EXPECT_TRUE(WaitUntil([&] { return ticks.Advance(100), done.load(); }));
        sender.join();
        return ok;
    }
    int Post(const char* name, const char* unit = "Camera1")
    {
        return client.PostIPCommand(nullptr, unit, "Test", name, CIPVariable(), nullptr);
    }
};

} // namespace alidade
