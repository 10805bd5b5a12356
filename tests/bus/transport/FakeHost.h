#pragma once

#include "foundation/bus/transport/Transport.h"
#include "foundation/platform/Ticks.h"
#include "tests/support/WaitUntil.h"

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <thread>

namespace alidade {

/// A process's side of a transport: answers commands as a test says. Thread-safe.
class CFakeHost final : public IIPTransportHost {
public:
    using Handler = std::function<void(T_IP_REQUEST&& request, IP_REPLY_HANDLER reply)>;

    /// Answers with the parameter.
    static void Echo(T_IP_REQUEST&& request, IP_REPLY_HANDLER reply)
    {
        T_IP_REPLY answer;
        answer.ok = true;
        answer.result = std::move(request.parameter);
        if (reply) {
            reply(std::move(answer));
        }
    }

    void Serve(const char* unit, const char* group, const char* name, Handler handler, const char* task = "")
    {
        const std::lock_guard lock(m_mutex);
        m_records.push_back({task, unit, group, name, 0});
        m_handlers[CStringA(unit) + "/" + group + "/" + name] = std::move(handler);
    }
    /// A handler that keeps the reply until Release.
    Handler Hold()
    {
        return [this](T_IP_REQUEST&&, IP_REPLY_HANDLER reply) {
            const std::lock_guard lock(m_mutex);
            m_held.push_back(std::move(reply));
        };
    }
    std::size_t CountHeld() const
    {
        const std::lock_guard lock(m_mutex);
        return m_held.size();
    }
    std::size_t CountAborted() const
    {
        const std::lock_guard lock(m_mutex);
        return m_aborted.size();
    }
    int CountLines(const CString& text) const
    {
        const std::lock_guard lock(m_mutex);
        int count = 0;
        for (const CString& line : m_lines) {
            count += line.find(text) != line.npos ? 1 : 0;
        }
        return count;
    }

    std::uint64_t StartRequest(T_IP_REQUEST&& request, IP_REPLY_HANDLER reply) override
    {
        Handler handler;
        std::uint64_t number = 0;
        {
            const std::lock_guard lock(m_mutex);
            for (const T_IP_COMMAND_RECORD& record : m_records) {
                if (record.group == request.group && record.name == request.name &&
                    (request.unit.empty() || record.unit == request.unit)) {
                    handler = m_handlers[record.unit + "/" + record.group + "/" + record.name];
                    number = ++m_last;
                    break;
                }
            }
        }
        if (handler) {
            handler(std::move(request), std::move(reply));
        } else if (reply) {
            T_IP_REPLY answer;
            answer.error = L"nobody here";
            reply(std::move(answer));
        }
        return number;
    }
    void AbortRequest(std::uint64_t number) override
    {
        const std::lock_guard lock(m_mutex);
        m_aborted.insert(number);
    }
    std::vector<T_IP_COMMAND_RECORD> GetOwnCommands() const override
    {
        const std::lock_guard lock(m_mutex);
        return m_records;
    }
    void WriteLog(DWORD, const CString& line) override
    {
        const std::lock_guard lock(m_mutex);
        m_lines.push_back(line);
    }

private:
    mutable std::mutex m_mutex;
    std::vector<T_IP_COMMAND_RECORD> m_records;
    std::map<CStringA, Handler> m_handlers;
    std::vector<IP_REPLY_HANDLER> m_held;
    std::set<std::uint64_t> m_aborted;
    std::uint64_t m_last = 0;
    std::vector<CString> m_lines;
};

/// What one sender waits for.
class CAnswer {
public:
    /// Sends and waits; a request that nobody answers gives `sent` false.
    explicit CAnswer(IIPTransport& transport, T_IP_REQUEST request)
    {
        number = transport.Send(std::move(request), [state = m_state](T_IP_REPLY&& reply) {
            const std::lock_guard lock(state->mutex);
            state->reply = std::move(reply);
            ++state->count;
        });
        sent = number != 0;
    }
    int Count() const
    {
        const std::lock_guard lock(m_state->mutex);
        return m_state->count;
    }
    bool Wait() const
    {
        return WaitUntil([this] { return Count() > 0; });
    }
    /// Once it has come.
    const T_IP_REPLY& Get() const { return m_state->reply; }

    std::uint64_t number = 0;
    bool sent = false;

private:
    struct T_STATE {
        std::mutex mutex;
        int count = 0;
        T_IP_REPLY reply;
    };
    std::shared_ptr<T_STATE> m_state = std::make_shared<T_STATE>();
};

inline T_IP_REQUEST MakeRequest(const char* unit, const char* group, const char* name)
{
    T_IP_REQUEST request;
    request.unit = unit;
    request.group = group;
    request.name = name;
    return request;
}

} // namespace alidade
