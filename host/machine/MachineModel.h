#pragma once

#include "host/machine/AxisMechanics.h"
#include "host/machine/MotionProfile.h"

#include <array>
#include <memory>
#include <optional>
#include <vector>

namespace alidade {

enum class eMOVE_STATE { RUNNING, DONE, FAILED };

/// A move under way or ended, shared by the model and whoever started it; written by the model alone.
struct T_MACHINE_MOVE {
    eMOVE_STATE state = eMOVE_STATE::RUNNING;
    CString error; // why it failed
};
using CMachineMove = std::shared_ptr<const T_MACHINE_MOVE>;

struct T_AXIS_TARGET {
    eMACHINE_AXIS axis;
    double target;
    double speed = 0; // the most that this axis may go; 0: no limit of its own
};

/// A move of one axis, or of several along a straight line.
struct T_MOVE_REQUEST {
    std::vector<T_AXIS_TARGET> axes; // at least one, all different
    double speed = 0;                // along the line; 0: as set up
    double inPosition = 0;           // tolerance; 0: as set up
};

enum class eMACHINE_FAULT {
    NONE,
    STUCK, // the motor does not turn
    LIMIT, // a limit switch has answered
};

/// What can be seen of an axis.
struct T_AXIS_STATE {
    double position; // what the encoder reads
    double truth;    // where the axis really stands
    double target;   // of the last move
    double speed;    // commanded, signed
    bool moving;     // on its way or settling
    eMACHINE_FAULT fault;
};

/// A machine in motion: a stage of X, Y and Z, a slit, a lens turret, two lights. It has no clock: Step is
/// one cycle, and what is commanded counts from the present one. Positions depend on the settings and on the
/// cycles at which commands came, on nothing else.
///
/// Several axes go along a straight line, arrive together, and keep each to its own highest speed and
/// acceleration. A newer move of an axis ends the older: all axes of the older brake along its line, and the
/// newer begins when its own stand. A move has ended when all readings have been in position for the
/// settling time. Reentrant.
class CMachineModel {
public:
    /// @param settings  good by CheckMachineSettings
    explicit CMachineModel(const T_MACHINE_SETTINGS& settings);
    ~CMachineModel();
    CMachineModel(const CMachineModel&) = delete;
    CMachineModel& operator=(const CMachineModel&) = delete;

    void Step();
    /// Number of steps so far.
    std::uint64_t GetCycle() const { return m_cycle; }
    /// Milliseconds of its life.
    double GetTime() const { return static_cast<double>(m_cycle) * m_settings.dCycle; }
    const T_MACHINE_SETTINGS& GetSettings() const { return m_settings; }

    /// Starts all of the moves or, when one of them cannot be, none.
    /// @param moves  one for each request
    /// @return 1; 0 with `error` set and nothing changed for a target outside of the limits, a speed above
    ///         the highest, or an axis at its limit switch
    int StartMoves(const std::vector<T_MOVE_REQUEST>& requests, std::vector<CMachineMove>& moves,
                   CString& error);
    /// Brakes the move's axes unless it has ended, and fails it for that reason.
    void StopMove(const CMachineMove& move, const CString& reason);
    /// The same for whatever moves the axis.
    void StopAxis(eMACHINE_AXIS axis, const CString& reason);
    T_AXIS_STATE GetAxis(eMACHINE_AXIS axis) const;
    /// True while the axis comes to rest after a move that was ended early.
    bool IsBraking(eMACHINE_AXIS axis) const;
    /// True while any axis moves, brakes or settles.
    bool IsMoving() const;
    void SetFault(eMACHINE_AXIS axis, eMACHINE_FAULT fault);

    /// Turns the turret; a change under way fails for a newer one. A turn cannot be stopped.
    /// @param number  0 to 9
    /// @return null with `error` set for another number
    CMachineMove ChangeLens(int number, CString& error);
    int GetLens() const { return m_lens; }
    bool IsLensMoving() const { return m_lensMove != nullptr; }

    void SetSlitOn(bool on) { m_slitOn = on; }
    bool IsSlitOn() const { return m_slitOn; }
    void SetLaserOn(bool on) { m_laserOn = on; }
    bool IsLaserOn() const { return m_laserOn; }

private:
    struct T_LINE;
    struct T_MOTION;
    struct T_AXIS {
        T_AXIS_SETTINGS settings;
        CAxisMechanics mechanics;
        double command; // where it should be
        double target;
        double speed = 0;
        bool limitSwitch = false;
        std::shared_ptr<T_LINE> line = nullptr;     // on its way along it
        std::shared_ptr<T_MOTION> motion = nullptr; // the last move while it has not ended
    };

    T_AXIS& At(eMACHINE_AXIS axis) { return m_axes[AxisIndex(axis)]; }
    const T_AXIS& At(eMACHINE_AXIS axis) const { return m_axes[AxisIndex(axis)]; }
    double Seconds(std::uint64_t cycles) const;
    int CheckRequest(const T_MOVE_REQUEST& request, CString& error) const;
    CMachineMove StartMove(const T_MOVE_REQUEST& request);
    void Begin(T_MOTION& motion);
    void Brake(const std::shared_ptr<T_LINE>& line);
    void Fail(const std::shared_ptr<T_MOTION>& motion, const CString& reason);
    void Forget(const std::shared_ptr<T_MOTION>& motion);
    void StepAxis(T_AXIS& axis);
    void CheckFollowing(eMACHINE_AXIS axis);
    void StepMotion(const std::shared_ptr<T_MOTION>& motion);

    const T_MACHINE_SETTINGS m_settings;
    std::uint64_t m_cycle = 0;
    std::vector<T_AXIS> m_axes;                       // by number
    std::vector<std::shared_ptr<T_MOTION>> m_motions; // not ended, in the order of their commands

    int m_lens;
    int m_nextLens = 0;
    std::uint64_t m_lensEnd = 0; // cycle
    std::shared_ptr<T_MACHINE_MOVE> m_lensMove;
    bool m_slitOn = false;
    bool m_laserOn = false;
};

} // namespace alidade
