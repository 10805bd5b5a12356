#pragma once

#include "foundation/config/SimpleLog.h"
#include "foundation/platform/CriticalSection.h"
#include "foundation/platform/Ticks.h"

#include <string_view>
#include <vector>

namespace alidade {

/// A log that keeps its lines for a test. Thread-safe.
class CLogLines : public CSimpleLog {
public:
    std::vector<CStringA> Lines() const
    {
        CS lock(&m_lock);
        return m_lines;
    }
    /// How many lines hold `text`.
    int Count(std::string_view text) const
    {
        int count = 0;
        for (const CStringA& line : Lines()) {
            count += line.find(text) != line.npos ? 1 : 0;
        }
        return count;
    }

    /// Polls until `count` lines hold `text`; false after 20 seconds.
    bool WaitFor(std::string_view text, int count = 1) const
    {
        const CDeadline deadline(20000);
        while (Count(text) < count) {
            if (deadline.IsOver()) {
                return false;
            }
            Sleep(1);
        }
        return true;
    }

protected:
    int Write(DWORD, const CStringA& text) override
    {
        CS lock(&m_lock);
        m_lines.push_back(text);
        return 1;
    }

private:
    mutable CCriticalSection m_lock;
    std::vector<CStringA> m_lines;
};

} // namespace alidade
