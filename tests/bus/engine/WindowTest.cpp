#include "foundation/bus/WndIPCommandTarget.h"
#include "tests/bus/engine/Receiver.h"
#include "tests/support/TempFolder.h"

#include <QCoreApplication>
#include <QEvent>
#include <QTimer>
#include <cstdlib>
#include <gtest/gtest.h>

namespace alidade {
namespace {

/// A window as far as the bus is concerned: an object with a thread and event routing.
class CWindow : public QObject, public IWNDIPCommandTarget {
public:
    CWindow(CIPClient& client, const char* unit) : IWNDIPCommandTarget(m_window), m_window(this)
    {
        SetUnitName(unit);
        CreateIPCommandTarget(&client);
    }
    ~CWindow() override { DestroyIPCommandTarget(); }

    bool event(QEvent* event) override
    {
        int handled = 0;
        LRESULT result = 0;
        if (routes) {
            IP_OnWndMsg(static_cast<UINT>(event->type()), 0, reinterpret_cast<LPARAM>(event), &result,
                        handled);
        }
        return handled != 0 ? result != 0 : QObject::event(event);
    }

    const IP_COMMAND_TARGET* GetIPCommandTargetStatic() const override
    {
        static const IP_COMMAND_TARGET_ENTRY entries[] = {IPCommandEntry("Test", "Run", &CWindow::OnIPTest),
                                                          IPCommandEntry("Test", "Child", &CWindow::OnIPTest),
                                                          {nullptr, nullptr, nullptr}};
        static const IP_COMMAND_TARGET table{entries, nullptr};
        return &table;
    }
    int OnIPTest(CIPCommand& command)
    {
        EXPECT_EQ(std::this_thread::get_id(), own);
        const TestHandler& handler = std::string(command.GetName()) == "Run" ? run : child;
        return handler ? handler(command) : 1;
    }

    TestHandler run;
    TestHandler child;
    bool routes = true;
    HWND m_window;
    const std::thread::id own = std::this_thread::get_id();
};

class BusWindow : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        static int argc = 1;
        static char name[] = "test";
        static char* argv[] = {name, nullptr};
        static QCoreApplication application(argc, argv);
    }

    /// Runs this thread's event loop until the other is done.
    static void RunLoopWhile(const std::function<void()>& other)
    {
        std::atomic<bool> done{false};
        std::thread thread([&] {
            other();
            done = true;
        });
        EXPECT_TRUE(WaitUntil([&] { return QCoreApplication::processEvents(), done.load(); }));
        thread.join();
    }

    T_TEST_BUS test;
};

TEST_F(BusWindow, HandlersRunOnTheWindowsThreadBetweenItsEvents)
{
    CWindow window(test.client, "Camera1");
    int timers = 0;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&] { ++timers; });
    timer.start(0);
    window.run = [&](CIPCommand& command) {
        // An endless command without delays leaves room for the window's own work.
        return timers < 5 ? command.EnqueueNextStepCurrent(0) : 1;
    };
    int ok = -1;
    RunLoopWhile([&] {
        CIPVariable out;
        ok = test.Send("Run", out);
    });
    EXPECT_EQ(ok, 1);
    EXPECT_GE(timers, 5);
}

TEST_F(BusWindow, TwoWindowsOfOneThreadAskEachOtherAndWait)
{
    CWindow first(test.client, "First");
    CWindow second(test.client, "Second");
    first.run = [&](CIPCommand& command) {
        CIPVariable out;
        EXPECT_EQ(test.Send("Run", out, INFINITE, "Second"), 1);
        command.GetResult().SetChildItem("Value", out("Value", 0) + 1);
        return 1;
    };
    second.run = [&](CIPCommand& command) {
        CIPVariable out;
        EXPECT_EQ(test.Send("Child", out, INFINITE, "First"), 1); // asks back while the first waits
        command.GetResult().SetChildItem("Value", out("Value", 0) + 1);
        return 1;
    };
    first.child = [](CIPCommand& command) {
        command.GetResult().SetChildItem("Value", 40);
        return 1;
    };
    CIPVariable out;
    EXPECT_EQ(test.Send("Run", out, INFINITE, "First"), 1); // without an event loop at all
    EXPECT_EQ(out("Value", 0), 42);
}

TEST_F(BusWindow, AWorkersChildReachesTheWindowWhoseThreadWaitsForTheWorker)
{
    CWindow window(test.client, "Window");
    CReceiver worker(test.client, "Worker");
    window.child = [](CIPCommand& command) {
        command.GetResult().SetChildItem("Answer", 7);
        return 1;
    };
    worker.On("Run", [&](CIPCommand& command) {
        if (command.GetStep() == 0) {
            HIPCOMMAND self(command);
            return test.client.SendIPStepCommand(self, nullptr, "Window", "Test", "Child", CIPVariable(),
                                                 INFINITE, nullptr);
        }
        command.GetResult() = command.GetChildResult(nullptr, "Test", "Child");
        return 1;
    });
    window.run = [&](CIPCommand& command) {
        CIPVariable out;
        EXPECT_EQ(test.Send("Run", out, INFINITE, "Worker"), 1);
        command.GetResult() = out;
        return 1;
    };
    CIPVariable out;
    EXPECT_EQ(test.Send("Run", out, INFINITE, "Window"), 1);
    EXPECT_EQ(out("Answer", 0), 7);
}

TEST_F(BusWindow, ARecordOfACommandThatAWaitHasServedMayUseTheBusWhenItGoes)
{
    struct T_RECORD : IIPLocalVar {
        ~T_RECORD() override { EXPECT_EQ(client->IsValidCmd(nullptr), 0); }
        CIPClient* client = nullptr;
    };
    CWindow window(test.client, "Window");
    window.run = [&](CIPCommand& command) {
        command.LocalVar<T_RECORD>("l").client = &test.client;
        return 1;
    };
    CIPVariable out;
    EXPECT_EQ(test.Send("Run", out, INFINITE, "Window"), 1);
}

TEST_F(BusWindow, LeavingServesTheWindowThatAHandlerForAnotherProcessWaitsFor)
{
    const CTempFolder folder{"w"};
    ::setenv("XDG_RUNTIME_DIR", folder.Path().c_str(), 1);
    T_TEST_BUS far;
    CWindow window(test.client, "Window");
    CReceiver worker(test.client, "Worker");
    CEvent begun, goOn;
    int answered = -1;
    worker.On("Run", [&](CIPCommand&) {
        begun.SetEvent();
        goOn.Wait(INFINITE);
        CIPVariable out;
        answered = test.Send("Run", out, INFINITE, "Window");
        return 1;
    });
    CString error;
    ASSERT_EQ(test.bus->Join("local:window", error), 1);
    ASSERT_EQ(far.bus->Join("local:window", error), 1);
    EXPECT_TRUE(WaitUntil([&] { return !far.client.ListIPCommands().empty(); }));
    std::thread sender([&] {
        CIPVariable out;
        far.Send("Run", out, INFINITE, "Worker");
    });
    EXPECT_TRUE(begun.Wait(INFINITE));
    goOn.SetEvent();
    test.bus->Leave();
    sender.join();
    EXPECT_EQ(answered, 1);
}

TEST_F(BusWindow, AWaitServesNoUserInput)
{
    CWindow window(test.client, "Window");
    bool input = false;
    QTimer::singleShot(0, [&] { input = true; });
    CIPVariable out;
    EXPECT_EQ(test.Send("Run", out, INFINITE, "Window"), 1);
    EXPECT_FALSE(input);
}

TEST_F(BusWindow, WithoutAWindowThatListensACommandFails)
{
    CWindow window(test.client, "Camera1");
    for (const bool routes : {true, false}) {
        SCOPED_TRACE(routes);
        window.routes = routes;
        window.m_window = routes ? nullptr : &window;
        int ok = -1;
        CString error;
        RunLoopWhile([&] {
            CIPVariable out;
            ok = test.Send("Run", out);
            error = CIPClient::GetLastIPError();
        });
        EXPECT_EQ(ok, 0);
        EXPECT_EQ(error, routes ? L"The receiver's window is not there."
                                : L"The receiver's window does not pass on the bus's messages.");
    }
}

TEST_F(BusWindow, AWindowMayGoInItsOwnHandlerAndWithDeliveriesOnTheWay)
{
    auto window = std::make_unique<CWindow>(test.client, "Camera1");
    window->run = [&](CIPCommand&) {
        window.reset();
        return 1;
    };
    int ok[3] = {-1, -1, -1};
    RunLoopWhile([&] {
        std::vector<std::thread> senders;
        for (int& result : ok) {
            senders.emplace_back([&] {
                CIPVariable out;
                result = test.Send("Run", out);
            });
        }
        for (std::thread& sender : senders) {
            sender.join();
        }
    });
    EXPECT_EQ(window, nullptr);
    for (const int result : ok) {
        EXPECT_EQ(result, 0);
    }
}

} // namespace
} // namespace alidade
