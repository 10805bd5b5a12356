#include "foundation/bus/WndIPCommandTarget.h"
#include "foundation/bus/engine/BusEvent.h"
#include "foundation/bus/engine/Engine.h"

#include <QCoreApplication>
#include <QObject>
#include <QThread>
#include <QTimerEvent>

namespace alidade {
namespace {

const QEvent::Type kWake = static_cast<QEvent::Type>(QEvent::registerEventType());

} // namespace

/// Serves the queue from the thread's event loop, one delivery a round, so that input and paint come between.
class CIPThreadQueue::CDispatcher final : public QObject {
public:
    CDispatcher(CIPEngine& engine, CIPThreadQueue& queue) : m_engine(engine.weak_from_this()), m_queue(&queue)
    {
    }

    /// The queue goes; called on any thread, with nothing served on another.
    void Dismiss()
    {
        m_queue = nullptr;
        if (QThread::currentThread() == thread() && m_serving == 0) {
            delete this;
        } else {
            deleteLater();
        }
    }
    std::atomic<bool> posted{false};

protected:
    bool event(QEvent* event) override
    {
        if (event->type() == kWake) {
            posted.store(false);
        } else if (event->type() == QEvent::Timer) {
            killTimer(static_cast<QTimerEvent*>(event)->timerId());
            m_timer = 0;
        } else {
            return QObject::event(event);
        }
        ++m_serving; // a handler may take down the last window of the thread
        Serve();
        --m_serving;
        return true;
    }

private:
    void Serve()
    {
        const std::shared_ptr<CIPEngine> engine = m_engine.lock();
        if (engine == nullptr || m_queue == nullptr) {
            return;
        }
        const auto [command, more] = engine->TakeDelivery(*m_queue);
        if (more && m_timer == 0) {
            m_timer = startTimer(0); // before the handler, which may open an event loop of its own
        }
        if (command != nullptr) {
            engine->RunThroughWindow(command);
        }
    }

    const std::weak_ptr<CIPEngine> m_engine;
    CIPThreadQueue* m_queue;
    int m_timer = 0;
    int m_serving = 0;
};

CIPThreadQueue::CIPThreadQueue(CIPEngine& engine) : m_dispatcher(new CDispatcher(engine, *this))
{
}

CIPThreadQueue::~CIPThreadQueue()
{
    m_dispatcher->Dismiss();
}

void CIPThreadQueue::Wake()
{
    changed.notify_all();
    if (!m_dispatcher->posted.exchange(true)) {
        QCoreApplication::postEvent(m_dispatcher, new QEvent(kWake));
    }
}

std::pair<std::shared_ptr<CRunningCommand>, bool> CIPEngine::TakeDelivery(CIPThreadQueue& queue)
{
    std::lock_guard lock(m_mutex);
    std::shared_ptr<CRunningCommand> command;
    if (!queue.items.empty()) {
        command = std::move(queue.items.front());
        queue.items.pop_front();
    }
    return {command, !queue.items.empty()};
}

void CIPEngine::RunThroughWindow(const std::shared_ptr<CRunningCommand>& command)
{
    const std::shared_ptr<CIPTargetState> target = command->target;
    HWND window = nullptr;
    {
        CIPDeferred deferred(*this);
        std::lock_guard lock(m_mutex);
        if (command->state != CRunningCommand::eSTATE::QUEUED) {
            return;
        }
        window = target->closed ? nullptr : *target->window;
        if (window == nullptr) {
            Fail(command, deferred, L"The receiver's window is not there.");
            return;
        }
    }
    CBusEvent event(command);
    QCoreApplication::sendEvent(window, &event);
    if (!event.served) {
        CIPDeferred deferred(*this);
        std::lock_guard lock(m_mutex);
        Fail(command, deferred, L"The receiver's window does not pass on the bus's messages.");
    }
}

} // namespace alidade
