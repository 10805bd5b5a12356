#include "benchmarks/Harness.h"

#include "foundation/bus/IPBus.h"
#include "foundation/bus/IPClient.h"

#include <array>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace alidade::bench {
namespace {

constexpr unsigned kBytes = 200;
constexpr int kSteps = 10000;

class CBenchReceiver final : public IIPCommandTarget {
public:
    explicit CBenchReceiver(CIPClient& client)
    {
        SetUnitName("Bench");
        CreateIPCommandTarget(&client);
    }
    ~CBenchReceiver() override { DestroyIPCommandTarget(); }

    const IP_COMMAND_TARGET* GetIPCommandTargetStatic() const override
    {
        static const IP_COMMAND_TARGET_ENTRY entries[] = {
            IPCommandEntry("Bench", "Echo", &CBenchReceiver::OnIPEcho),
            IPCommandEntry("Bench", "Steps", &CBenchReceiver::OnIPSteps),
            {nullptr, nullptr, nullptr}};
        static const IP_COMMAND_TARGET table{entries, nullptr};
        return &table;
    }

private:
    int OnIPEcho(CIPCommand& command)
    {
        command.GetResult() = command.GetParameter();
        return 1;
    }
    int OnIPSteps(CIPCommand& command)
    {
        return command.GetStep() + 1 < kSteps ? command.EnqueueNextStep(-1, 0) : 1;
    }
};

/// Two threads that hand a block of bytes to and fro.
class CPingPong {
public:
    CPingPong()
    {
        m_thread = std::thread([this] {
            std::unique_lock lock(m_mutex);
            for (;;) {
                m_asked.wait(lock, [this] { return m_turn != 0; });
                if (m_turn < 0) {
                    return;
                }
                m_answer = m_question;
                m_turn = 0;
                m_answered.notify_one();
            }
        });
    }
    ~CPingPong()
    {
        {
            std::lock_guard lock(m_mutex);
            m_turn = -1;
        }
        m_asked.notify_one();
        m_thread.join();
    }
    void RoundTrip(const std::array<char, kBytes>& bytes, std::array<char, kBytes>& back)
    {
        std::unique_lock lock(m_mutex);
        m_question = bytes;
        m_turn = 1;
        m_asked.notify_one();
        m_answered.wait(lock, [this] { return m_turn == 0; });
        back = m_answer;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_asked;
    std::condition_variable m_answered;
    int m_turn = 0; // 1: to the thread, -1: the end
    std::array<char, kBytes> m_question{};
    std::array<char, kBytes> m_answer{};
    std::thread m_thread;
};

/// A thread that works off what is posted to it.
class CPostQueue {
public:
    CPostQueue()
    {
        m_thread = std::thread([this] {
            std::unique_lock lock(m_mutex);
            for (;;) {
                m_changed.wait(lock, [this] { return !m_items.empty(); });
                const std::function<bool()> item = std::move(m_items.front());
                m_items.pop_front();
                lock.unlock();
                if (!item()) {
                    return;
                }
                lock.lock();
            }
        });
    }
    ~CPostQueue()
    {
        Post([] { return false; });
        m_thread.join();
    }
    void Post(std::function<bool()> item)
    {
        {
            std::lock_guard lock(m_mutex);
            m_items.push_back(std::move(item));
        }
        m_changed.notify_one();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::function<bool()>> m_items;
    std::thread m_thread;
};

} // namespace

void BenchBus(CSuite& suite)
{
    const auto bus = std::make_shared<CIPBus>();
    CIPClient client(nullptr, nullptr, "Bench", bus);
    CBenchReceiver receiver(client);

    CIPVariable in;
    in.SetChildItem("Data", nullptr, kBytes, 0);
    CPingPong pingPong;
    std::array<char, kBytes> bytes{};
    std::array<char, kBytes> back{};
    suite.Compare(
        "SendIPCommand to a plain receiver in one process, 200 bytes", 2.0,
        [&] {
            CIPVariable out;
            client.SendIPCommand(nullptr, "Bench", "Bench", "Echo", in, out, 10000, nullptr);
        },
        [&] { pingPong.RoundTrip(bytes, back); });

    CPostQueue queue;
    suite.Compare(
        "a command with 10000 steps", 3.0,
        [&] {
            CIPVariable out;
            client.SendIPCommand(nullptr, "Bench", "Bench", "Steps", in, out, INFINITE, nullptr);
        },
        [&] {
            std::mutex mutex;
            std::condition_variable ended;
            int left = kSteps;
            for (int i = 0; i < kSteps; ++i) {
                queue.Post([&] {
                    std::lock_guard lock(mutex);
                    if (--left == 0) {
                        ended.notify_one();
                    }
                    return true;
                });
            }
            std::unique_lock lock(mutex);
            ended.wait(lock, [&] { return left == 0; });
        });
}

} // namespace alidade::bench
