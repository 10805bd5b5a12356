#pragma once

#include "acquisition/Export.h"
#include "foundation/bus/IPCommand.h"
#include "foundation/bus/IPData.h"
#include "foundation/config/ProfileSection.h"
#include "foundation/containers/List.h"
#include "foundation/math/Geometry.h"
#include "foundation/platform/CriticalSection.h"

#include <atomic>

namespace alidade {

class CIPClient;

/// The channels of a stage.
enum eSTAGE_CHANNEL {
    STAGE_LENS,    // lens number
    STAGE_X,       // mm
    STAGE_Y,       // mm
    STAGE_Z,       // mm
    STAGE_SLIT_X,  // pulses
    STAGE_SLIT_Y,  // pulses
    STAGE_SLIT_T,  // degrees
    STAGE_CHANNELS // their number
};

/// The link between a camera view and the motion controller, which is another task of the host: positions are
/// read from shared blocks, and motion is commanded on the bus. Blocks, variables, addresses and the names of
/// parameters all come from one section of the settings (docs/stage.md).
///
/// Reading never waits. Where there is nothing to read it gives a fall-back value or zero, without any
/// message. Reading and moving is thread-safe; Init and the three setters are bound to the user interface's
/// thread, and Init must not run while other threads use the object. The order of the virtual operations is a
/// contract.
class ALIDADE_API CStageInterface {
public:
    struct T_STAGE_CHANNEL {
        int Use = 0;
        int CanMove = 0;
        CIPDataItemIterator Item;

        bool IsReadable() const { return Use != 0 && Item.IsUsable(); }
        bool IsMovable() const { return Use != 0 && CanMove != 0; }
    };

    /// Nothing can be read or moved before Init. Commands go through the client that InitVision was given.
    CStageInterface();
    virtual ~CStageInterface();
    CStageInterface(const CStageInterface&) = delete;
    CStageInterface& operator=(const CStageInterface&) = delete;

    /// Takes over the settings, a copy, and opens the shared blocks anew. The fall-back values stay.
    /// Always 1.
    virtual int Init(const CProfileSection& settings);
    virtual bool CanMoveSlitXY() const;

    /// The lens number as the machine publishes it, 0 when it does not: callers hold it within 0 to 9. The
    /// number of SetLensNo does not count here, so that a machine without such a channel always has lens 0.
    virtual int GetLensNo() const;
    /// The fall-back position when X or Y cannot move, whatever is published; otherwise what can be read, 0
    /// for an axis that cannot.
    virtual TPoint2<double> GetStagePosition() const;
    /// The fall-back Z when it cannot be read.
    virtual double GetStageZ() const;
    /// In pulses; 0 for what cannot be read.
    virtual TPoint2<double> GetSlitPulse() const;
    /// In degrees; 0 when there is no such channel.
    /// @throws CIPException  when the channel is there and cannot be read, unlike the other operations
    virtual double GetSlitAngle() const;
    virtual int Reserved();

    /// @name Moves
    /// Targets are absolute. They give 1 when the bus has taken the command, or when it has ended well if it
    /// is waited for, and 0 when the move is not set up, not enabled, refused or failed, or the target is not
    /// finite. Completion is the controller's answer: positions are not tested.
    /// @param speed  mm/s; 0 or less selects the configured one
    /// @param post   non-zero: not waited for
    /// @param step   the command that is running on this thread: the move becomes its child and this does not
    ///               wait. Empty: waits without limit for the controller's answer
    ///@{
    /// With "Individual" set X and Y are two commands, X first, each only if its axis can move. The result is
    /// 1 only if both were sent and went well: with one movable axis it is always 0 although that axis moved,
    /// so 0 is no reason to send again.
    virtual int MoveStage(TPoint2<double> target, double speed, int post, HIPCOMMAND step);
    /// Also 0 when the block is there but has no such variable as the settings name for Z.
    virtual int MoveStageZ(double target, double speed, int post, HIPCOMMAND step);
    /// @param target  pulses
    virtual int MoveSlit(TPoint2<double> target, int post, HIPCOMMAND step);
    /// @param target  degrees
    virtual int MoveSlitAngle(double target, int post, HIPCOMMAND step);
    ///@}

    /// @name Fall-back values
    ///@{
    virtual void SetStagePosition(TPoint2<double> position);
    virtual void SetStageZ(double z);
    /// A number above 9 is ignored.
    virtual void SetLensNo(unsigned lens);
    ///@}

    /// For those who show what the stage can do; index from 0 to STAGE_CHANNELS - 1.
    const T_STAGE_CHANNEL& GetChannel(int index) const { return m_channels[index]; }

protected:
    TPoint2<double> m_fallbackPosition; // guarded by m_fallbackLock
    std::atomic<double> m_fallbackZ{0.0};
    std::atomic<std::uint32_t> m_fallbackLens{0};
    mutable CCriticalSection m_fallbackLock;
    CIPClient* m_pClient;
    TList<CIPData> m_blocks{true};
    T_STAGE_CHANNEL m_channels[STAGE_CHANNELS];
    CProfileSection m_settings;

private:
    CIPData* FindBlock(const char* blockName);
    CIPData* FindOrOpenBlock(const char* blockName);
    void InitChannel(int index);
    /// The sub-section when its "Use" is set and all of the channels can move, otherwise null.
    const CProfileSection* FindMovable(const wchar_t* name, std::initializer_list<int> channels) const;
    int MoveTogether(const CProfileSection& settings, TPoint2<double> target, double speed, int post,
                     HIPCOMMAND& step) const;
    int MoveIndividually(const CProfileSection& settings, TPoint2<double> target, double speed, int post,
                         HIPCOMMAND& step) const;
};

} // namespace alidade
