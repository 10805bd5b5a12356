#include "DeadlineRunner.h"

#include "CheckOutcome.h"

#include "foundation/platform/Text.h"
#include "foundation/platform/Thread.h"
#include "foundation/utility/Strings.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>

namespace alidade {

struct CDeadlineRunner::State {
    std::mutex mutex;
    std::condition_variable changed;
    std::function<void()> operation; // empty: nothing to do
    std::optional<std::string> escaped;
    bool done = false;
    bool quit = false;

    void Serve()
    {
        NameThisThread("driver-check");
        std::unique_lock lock(mutex);
        for (;;) {
            changed.wait(lock, [this] { return quit || operation; });
            if (!operation) {
                return;
            }
            const std::function<void()> current = std::exchange(operation, nullptr);
            lock.unlock();
            std::optional<std::string> text;
            try {
                current();
            } catch (...) {
                text = ToNarrow(GetCurrentErrorMessage());
            }
            lock.lock();
            escaped = std::move(text);
            done = true;
            changed.notify_all();
        }
    }
};

CDeadlineRunner::CDeadlineRunner(DWORD deadlineMs)
    : m_dwDeadline(deadlineMs), m_pState(std::make_shared<State>()),
      m_thread([state = m_pState] { state->Serve(); })
{
}

CDeadlineRunner::~CDeadlineRunner()
{
    if (m_stalled) {
        m_thread.detach();
        return;
    }
    {
        const std::lock_guard lock(m_pState->mutex);
        m_pState->quit = true;
    }
    m_pState->changed.notify_all();
    m_thread.join();
}

void CDeadlineRunner::Run(const std::string& what, std::function<void()> operation)
{
    if (m_stalled) {
        throw CCheckStalled(what + " cannot run: an operation before it has not returned");
    }
    std::unique_lock lock(m_pState->mutex);
    m_pState->done = false;
    m_pState->operation = std::move(operation);
    m_pState->changed.notify_all();
    if (!m_pState->changed.wait_for(lock, std::chrono::milliseconds(m_dwDeadline),
                                    [this] { return m_pState->done; })) {
        m_stalled = true;
        throw CCheckStalled(what + " did not return within " + GetDeadlineText());
    }
    if (m_pState->escaped) {
        throw CCheckFailed(what + " threw an exception: " + *m_pState->escaped);
    }
}

std::string CDeadlineRunner::GetDeadlineText() const
{
    return m_dwDeadline % 1000 == 0 ? std::to_string(m_dwDeadline / 1000) + " s"
                                    : std::to_string(m_dwDeadline) + " ms";
}

} // namespace alidade
