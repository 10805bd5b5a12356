#pragma once

#include "foundation/bus/IPVariable.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <string_view>

class QObject;

namespace alidade {

class CIPEngine;
class IIPCommandTarget;

/// A window, or null while there is none. The bus keeps to its thread and never owns it.
using HWND = QObject*;

/// The number of a step of a command: 0 at the first call of its handler.
using CIPStep = int;
/// The step after the present one.
constexpr CIPStep IP_NEXT_STEP = -1;

/// @name Words that continue or resume a command
/// Any of the three failing words makes the command fail IsOK at the next call of its handler.
///@{
constexpr DWORD IP_CONTINUE = 0;
constexpr DWORD IP_CONTINUE_ESCAPE = 0x800000;
constexpr DWORD IP_CONTINUE_ERROR = 0x1000000;
constexpr DWORD IP_CONTINUE_RESET = 0x2000000;
constexpr DWORD IP_CONTINUE_FAILING = IP_CONTINUE_ESCAPE | IP_CONTINUE_ERROR | IP_CONTINUE_RESET;
///@}

/// Base of a typed record that a command keeps for its handler (CIPCommand::LocalVar).
class ALIDADE_FOUNDATION_API IIPLocalVar {
public:
    virtual ~IIPLocalVar();
};

/// One command in flight.
///
/// A handler that returns 1 having scheduled nothing ends the command; one that returns 0 fails it at once,
/// whatever it scheduled. What may be scheduled: a further step with or without a delay, a pause, children.
/// The next call of the handler comes when the last of what the command waits for has come: the delay, the
/// end of every child, the continue from outside. A failure meanwhile does not cut the waiting short, but the
/// next call sees it in IsOK or IsChildOK. Without a step of its own choice a command goes on with the
/// following one.
///
/// All members but IsOK are for the receiver's thread (bound): in its handlers, and for a window receiver
/// anywhere on the window's thread while IsValidCmd says that the command lives.
class ALIDADE_FOUNDATION_API CIPCommand : public std::enable_shared_from_this<CIPCommand> {
public:
    CIPCommand(const CIPCommand&) = delete;
    CIPCommand& operator=(const CIPCommand&) = delete;
    virtual ~CIPCommand();

    /// The running command's own name and group.
    const char* GetName() const { return m_name.c_str(); }
    const char* GetGroup() const { return m_group.c_str(); }
    /// Different for every command of the process: tells a command from a later one at the same address.
    std::uint64_t GetGeneration() const { return m_generation; }

    /// The input; read with defaults, for a sender may leave out anything.
    const CIPVariable& GetParameter() const { return m_parameter; }
    /// What the sender gets when the command ends.
    CIPVariable& GetResult() { return m_result; }
    /// Lives as long as the command: carries values across steps, and from a dialog to its command.
    CIPVariable& GetScratch() { return m_scratch; }
    /// One integer that lives as long as the command; 0 at first.
    int& GetSlot() { return m_slot; }
    /// A window that a handler opened for the command; null at first. The handler deletes it.
    HWND& GetDialog() { return m_dialog; }
    /// One sentence for the sender's log, said when the command fails.
    void SetError(const wchar_t* text);

    /// The step that runs; 0 at the first call.
    int GetStep() const { return m_step; }
    int GetCurrentStep() const { return m_step; }
    /// 0 once the command was aborted or continued with a failing word, and from then on.
    int IsOK() const;
    /// 0 when one of the children ended failed since the last call of the handler.
    int IsChildOK() const { return m_childOk ? 1 : 0; }

    /// Schedules another call of the handler after the delay: the following step (-1) or that very one. A
    /// later call in the same step replaces an earlier one. The last two arguments are not used. Always 1.
    int EnqueueNextStep(CIPStep step, DWORD delayMs, void* = nullptr, const char* = nullptr);
    /// The same step again after the delay.
    int EnqueueNextStepCurrent(DWORD delayMs, void* = nullptr, const char* = nullptr);
    /// Waits, then goes on with that step (-1: the following one). A continue from outside ends the pause at
    /// once; a delay of -1 (INFINITE) waits for that alone.
    int PauseStep(DWORD delayMs, CIPStep step, void* = nullptr, const char* = nullptr);
    /// Schedules that step, at once, as of a failed command: it sees IsOK false.
    int ReserveErrorStep(CIPStep step, DWORD delayMs = 0, void* = nullptr, const char* = nullptr);

    /// Result of the last child that ended of that group and name; an empty variable when there was none.
    /// @param unit  the unit it was sent to; null: any
    const CIPVariable& GetChildResult(const char* unit, const char* group, const char* name) const;

    /// The record of that name, made zeroed (value-initialised) on first use; it lives as long as the
    /// command.
    /// @throws CIPException  when the record of that name has another type
    template <typename T>
    T& LocalVar(const char* name)
    {
        static_assert(std::is_base_of_v<IIPLocalVar, T>);
        std::unique_ptr<IIPLocalVar>& record = FindLocalVar(name);
        if (record == nullptr) {
            record = std::make_unique<T>();
        }
        T* typed = dynamic_cast<T*>(record.get());
        if (typed == nullptr) {
            ThrowLocalVarMismatch(name);
        }
        return *typed;
    }

protected:
    CIPCommand(const char* group, const char* name, CIPVariable parameter);

private:
    friend class CIPEngine;

    struct T_CHILD_RESULT {
        CStringA unit;
        CStringA group;
        CStringA name;
        CIPVariable result;
    };

    std::unique_ptr<IIPLocalVar>& FindLocalVar(const char* name);
    [[noreturn]] static void ThrowLocalVarMismatch(const char* name);
    void Schedule(CIPStep step, DWORD delayMs, bool pause);
    void SetErrorIfNone(const wchar_t* text);
    void KeepChildResult(const CStringA& unit, const CStringA& group, const CStringA& name,
                         CIPVariable&& result);

    const CStringA m_group;
    const CStringA m_name;
    const std::uint64_t m_generation;
    const CIPVariable m_parameter;
    CIPVariable m_result;
    CIPVariable m_scratch;
    int m_slot = 0;
    HWND m_dialog = nullptr;
    CString m_error;
    CIPStep m_step = 0;
    std::atomic<bool> m_ok{true};
    bool m_childOk = true;
    std::vector<T_CHILD_RESULT> m_childResults;
    std::map<CStringA, std::unique_ptr<IIPLocalVar>, std::less<>> m_localVars;

    // What the handler that runs has asked for.
    bool m_scheduled = false;
    bool m_pauseAsked = false;
    bool m_errorReserved = false;
    CIPStep m_nextStep = IP_NEXT_STEP;
    DWORD m_delay = 0;
};

/// A handle on a command, or empty; shares its life, so the command may have ended but its memory stands.
/// Made from the running command where an operation wants one. Thread-safe as a shared_ptr is.
class HIPCOMMAND {
public:
    HIPCOMMAND() = default;
    HIPCOMMAND(std::nullptr_t) {}
    HIPCOMMAND(CIPCommand& command) : m_command(command.shared_from_this()) {}
    explicit HIPCOMMAND(std::shared_ptr<CIPCommand> command) : m_command(std::move(command)) {}

    bool IsValid() const { return m_command != nullptr; }
    explicit operator bool() const { return IsValid(); }
    CIPCommand* Get() const { return m_command.get(); }
    CIPCommand* operator->() const { return m_command.get(); }
    void Release() { m_command.reset(); }

private:
    std::shared_ptr<CIPCommand> m_command;
};

} // namespace alidade
