#include "host/machine/MachineModel.h"

#include "foundation/platform/Text.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace alidade {

/// A straight way of some axes, in time.
struct CMachineModel::T_LINE {
    struct T_PART {
        eMACHINE_AXIS axis;
        double start;
        double direction; // cosine
        double end;
    };
    std::vector<T_PART> parts;
    CMotionProfile profile;
    double acceleration;
    std::uint64_t startCycle;
};

/// A move with all that the model has to know until it ends.
struct CMachineModel::T_MOTION : T_MACHINE_MOVE {
    T_MOVE_REQUEST request;
    bool begun = false;
    std::uint64_t inPositionSince = 0; // cycles
    std::uint64_t arrived = 0;
    bool isThere = false;
    bool isInPosition = false;
};

CMachineModel::CMachineModel(const T_MACHINE_SETTINGS& settings)
    : m_settings(settings), m_lens(static_cast<int>(settings.dStartLens))
{
    for (std::size_t i = 0; i < kMachineAxes; ++i) {
        const T_AXIS_SETTINGS axis = GetAxisSettings(settings, MachineAxis(i));
        m_axes.push_back({axis, CAxisMechanics(settings, MachineAxis(i)), axis.start, axis.start});
    }
}

CMachineModel::~CMachineModel() = default;

double CMachineModel::Seconds(std::uint64_t cycles) const
{
    return static_cast<double>(cycles) * m_settings.dCycle / 1000;
}

void CMachineModel::Step()
{
    ++m_cycle;
    for (T_AXIS& axis : m_axes) {
        StepAxis(axis);
    }
    for (std::size_t i = 0; i < kMachineAxes; ++i) {
        CheckFollowing(MachineAxis(i));
    }
    const std::vector<std::shared_ptr<T_MOTION>> motions = m_motions; // ended ones leave the list
    for (const std::shared_ptr<T_MOTION>& motion : motions) {
        StepMotion(motion);
    }
    if (m_lensMove != nullptr && m_cycle >= m_lensEnd) {
        m_lens = m_nextLens;
        m_lensMove->state = eMOVE_STATE::DONE;
        m_lensMove.reset();
    }
}

void CMachineModel::StepAxis(T_AXIS& axis)
{
    if (axis.line != nullptr) {
        const T_LINE& line = *axis.line;
        const auto part = std::find_if(line.parts.begin(), line.parts.end(),
                                       [&](const auto& p) { return &At(p.axis) == &axis; });
        const double time = Seconds(m_cycle - line.startCycle);
        const auto [position, speed] = line.profile.At(time);
        axis.command = part->start + part->direction * position;
        axis.speed = part->direction * speed;
        if (time >= line.profile.GetDuration()) {
            axis.command = part->end;
            axis.speed = 0;
            axis.line.reset();
        }
    } else if (axis.mechanics.IsStuck()) {
        axis.command = axis.mechanics.GetMotor(); // so that it does not jump when it comes loose
    }
    axis.mechanics.Step(axis.command, m_cycle);
}

void CMachineModel::CheckFollowing(eMACHINE_AXIS number)
{
    T_AXIS& axis = At(number);
    const double error = std::abs(axis.command - axis.mechanics.GetMotor());
    if (axis.motion == nullptr || error <= axis.mechanics.GetMostFollowingError()) {
        return;
    }
    const auto [name, unit] = GetAxisName(number);
    Fail(axis.motion, Format(L"%s does not follow: it is %.6g %s behind its command", name, error, unit));
}

void CMachineModel::StepMotion(const std::shared_ptr<T_MOTION>& motion)
{
    if (motion->state != eMOVE_STATE::RUNNING) {
        return;
    }
    bool stands = true;
    bool isNear = true;
    for (const T_AXIS_TARGET& part : motion->request.axes) {
        const T_AXIS& axis = At(part.axis);
        const double tolerance =
            motion->request.inPosition > 0 ? motion->request.inPosition : axis.settings.inPosition;
        stands = stands && axis.line == nullptr;
        isNear = isNear && std::abs(axis.mechanics.GetReading() - part.target) <= tolerance;
    }
    if (!stands) {
        return;
    }
    if (!motion->begun) {
        Begin(*motion); // those before have come to rest
        return;
    }
    if (!motion->isThere) {
        motion->isThere = true;
        motion->arrived = m_cycle;
    }
    if (isNear && !motion->isInPosition) {
        motion->inPositionSince = m_cycle;
    }
    motion->isInPosition = isNear;
    if (isNear && Seconds(m_cycle - motion->inPositionSince) * 1000 >= m_settings.dSettleTime) {
        motion->state = eMOVE_STATE::DONE;
        Forget(motion);
    } else if (Seconds(m_cycle - motion->arrived) * 1000 > m_settings.dSettleLimit) {
        CString where;
        for (const T_AXIS_TARGET& part : motion->request.axes) {
            const auto [name, unit] = GetAxisName(part.axis);
            where += Format(L"%s%s reads %.6f instead of %.6f %s", where.empty() ? L"" : L", ", name,
                            At(part.axis).mechanics.GetReading(), part.target, unit);
        }
        Fail(motion, Format(L"not in position within %g ms: %s", m_settings.dSettleLimit, where.c_str()));
    }
}

int CMachineModel::CheckRequest(const T_MOVE_REQUEST& request, CString& error) const
{
    if (request.axes.empty()) {
        error = L"no axis to move";
        return 0;
    }
    for (const T_AXIS_TARGET& part : request.axes) {
        const T_AXIS& axis = At(part.axis);
        const auto [name, unit] = GetAxisName(part.axis);
        const T_AXIS_SETTINGS& own = axis.settings;
        if (!(part.target >= own.least && part.target <= own.most)) {
            error = Format(L"the target of %s, %.10g %s, lies outside of its limits %.10g to %.10g %s", name,
                           part.target, unit, own.least, own.most, unit);
            return 0;
        }
        const double speed = std::max(request.speed, part.speed);
        if (!(request.speed >= 0 && part.speed >= 0 && speed <= own.maxSpeed)) {
            error = Format(L"%s cannot go at %.10g %s/s: it takes speeds above 0 and up to %.10g", name,
                           request.speed < 0 ? request.speed
                           : part.speed < 0  ? part.speed
                                             : speed,
                           unit, own.maxSpeed);
            return 0;
        }
        if (axis.limitSwitch) {
            error = Format(L"%s is at its limit switch, at %.6f %s", name, axis.mechanics.GetReading(), unit);
            return 0;
        }
    }
    if (!(request.inPosition >= 0 && std::isfinite(request.inPosition))) {
        error = Format(L"a tolerance of %.10g is none", request.inPosition);
        return 0;
    }
    return 1;
}

int CMachineModel::StartMoves(const std::vector<T_MOVE_REQUEST>& requests, std::vector<CMachineMove>& moves,
                              CString& error)
{
    for (const T_MOVE_REQUEST& request : requests) {
        if (!CheckRequest(request, error)) {
            return 0;
        }
    }
    moves.clear();
    for (const T_MOVE_REQUEST& request : requests) {
        moves.push_back(StartMove(request));
    }
    return 1;
}

CMachineMove CMachineModel::StartMove(const T_MOVE_REQUEST& request)
{
    const auto motion = std::make_shared<T_MOTION>();
    motion->request = request;
    bool stands = true;
    for (const T_AXIS_TARGET& part : request.axes) {
        T_AXIS& axis = At(part.axis);
        if (axis.motion != nullptr) {
            Fail(axis.motion, Format(L"superseded by a newer move of %s", GetAxisName(part.axis).name));
        }
        axis.motion = motion;
        axis.target = part.target;
        stands = stands && axis.line == nullptr;
    }
    m_motions.push_back(motion);
    if (stands) {
        Begin(*motion);
    }
    return motion;
}

void CMachineModel::Begin(T_MOTION& motion)
{
    motion.begun = true;
    const auto line = std::make_shared<T_LINE>();
    line->startCycle = m_cycle;
    double square = 0;
    bool hasOwnSpeed = motion.request.speed > 0;
    for (const T_AXIS_TARGET& part : motion.request.axes) {
        const double way = part.target - At(part.axis).command;
        line->parts.push_back({part.axis, At(part.axis).command, way, part.target});
        square += way * way;
        hasOwnSpeed = hasOwnSpeed || part.speed > 0;
    }
    const double length = std::sqrt(square);
    if (length == 0) {
        return;
    }
    // Speed and acceleration along the line, such that no axis exceeds its own.
    constexpr double kNone = std::numeric_limits<double>::infinity();
    double speed = motion.request.speed > 0 ? motion.request.speed : kNone;
    double acceleration = kNone;
    for (std::size_t i = 0; i < line->parts.size(); ++i) {
        T_LINE::T_PART& part = line->parts[i];
        const T_AXIS_SETTINGS& own = At(part.axis).settings;
        part.direction /= length;
        const double share = std::abs(part.direction);
        const double asked = motion.request.axes[i].speed;
        if (!hasOwnSpeed) {
            speed = std::min(speed, own.speed);
        }
        if (share > 0) {
            const double most = asked > 0 ? asked : motion.request.speed > 0 ? own.maxSpeed : own.speed;
            speed = std::min(speed, most / share);
            acceleration = std::min(acceleration, own.acceleration / share);
        }
    }
    line->acceleration = acceleration;
    line->profile = CMotionProfile::Move(length, speed, acceleration);
    for (const T_LINE::T_PART& part : line->parts) {
        At(part.axis).line = line;
    }
}

void CMachineModel::Brake(const std::shared_ptr<T_LINE>& line)
{
    const auto brake = std::make_shared<T_LINE>();
    brake->startCycle = m_cycle;
    brake->acceleration = line->acceleration;
    brake->profile = CMotionProfile::Brake(line->profile.At(Seconds(m_cycle - line->startCycle)).speed,
                                           line->acceleration);
    for (T_LINE::T_PART part : line->parts) {
        T_AXIS& axis = At(part.axis);
        if (axis.line == line) {
            part.start = axis.command;
            part.end = part.start + part.direction * brake->profile.GetDistance();
            brake->parts.push_back(part);
            axis.line = brake;
        }
    }
}

void CMachineModel::Fail(const std::shared_ptr<T_MOTION>& failed, const CString& reason)
{
    const std::shared_ptr<T_MOTION> motion = failed; // may be an axis's own reference
    motion->state = eMOVE_STATE::FAILED;
    motion->error = reason;
    if (motion->begun) {
        for (const T_AXIS_TARGET& part : motion->request.axes) {
            if (const std::shared_ptr<T_LINE> line = At(part.axis).line) {
                Brake(line);
                break; // it takes all axes of the line along
            }
        }
    }
    Forget(motion);
}

void CMachineModel::Forget(const std::shared_ptr<T_MOTION>& ended)
{
    const std::shared_ptr<T_MOTION> motion = ended;
    for (T_AXIS& axis : m_axes) {
        if (axis.motion == motion) {
            axis.motion.reset();
        }
    }
    std::erase(m_motions, motion);
}

void CMachineModel::StopMove(const CMachineMove& move, const CString& reason)
{
    const auto found = std::find(m_motions.begin(), m_motions.end(), move);
    if (found != m_motions.end()) {
        Fail(*found, reason);
    }
}

void CMachineModel::StopAxis(eMACHINE_AXIS axis, const CString& reason)
{
    if (At(axis).motion != nullptr) {
        Fail(At(axis).motion, reason);
    }
}

T_AXIS_STATE CMachineModel::GetAxis(eMACHINE_AXIS number) const
{
    const T_AXIS& axis = At(number);
    const eMACHINE_FAULT fault = axis.mechanics.IsStuck() ? eMACHINE_FAULT::STUCK
                                 : axis.limitSwitch       ? eMACHINE_FAULT::LIMIT
                                                          : eMACHINE_FAULT::NONE;
    return {axis.mechanics.GetReading(),
            axis.mechanics.GetTruth(),
            axis.target,
            axis.speed,
            axis.line != nullptr || axis.motion != nullptr,
            fault};
}

bool CMachineModel::IsBraking(eMACHINE_AXIS number) const
{
    const T_AXIS& axis = At(number);
    if (axis.motion != nullptr && axis.motion->begun) {
        return false;
    }
    const double behind = std::abs(axis.command - axis.mechanics.GetMotor());
    return axis.line != nullptr || (axis.motion == nullptr && behind > axis.settings.inPosition);
}

bool CMachineModel::IsMoving() const
{
    return std::any_of(m_axes.begin(), m_axes.end(),
                       [](const T_AXIS& axis) { return axis.line != nullptr || axis.motion != nullptr; });
}

void CMachineModel::SetFault(eMACHINE_AXIS number, eMACHINE_FAULT fault)
{
    T_AXIS& axis = At(number);
    if (axis.mechanics.IsStuck() && fault != eMACHINE_FAULT::STUCK) {
        StopAxis(number, L"the drive was set again");
        axis.line.reset();
        axis.speed = 0;
        axis.command = axis.mechanics.GetMotor();
    }
    axis.mechanics.SetStuck(fault == eMACHINE_FAULT::STUCK);
    axis.limitSwitch = fault == eMACHINE_FAULT::LIMIT;
    if (axis.limitSwitch) {
        const auto [name, unit] = GetAxisName(number);
        StopAxis(number,
                 Format(L"%s ran into its limit switch at %.6f %s", name, axis.mechanics.GetReading(), unit));
    }
}

CMachineMove CMachineModel::ChangeLens(int number, CString& error)
{
    if (number < 0 || number > 9) {
        error = Format(L"there is no lens %d: lenses are numbered 0 to 9", number);
        return nullptr;
    }
    const auto move = std::make_shared<T_MACHINE_MOVE>();
    if (m_lensMove == nullptr && number == m_lens) {
        move->state = eMOVE_STATE::DONE;
        return move;
    }
    if (m_lensMove != nullptr) {
        m_lensMove->state = eMOVE_STATE::FAILED;
        m_lensMove->error = L"superseded by a newer change of the lens";
    }
    m_nextLens = number;
    m_lensEnd = m_cycle + static_cast<std::uint64_t>(std::ceil(m_settings.dLensTime / m_settings.dCycle));
    m_lensMove = move;
    return move;
}

} // namespace alidade
