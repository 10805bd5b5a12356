#pragma once

#include "foundation/bus/IPDataWriter.h"

#include <atomic>
#include <cstdlib>
#include <unistd.h>

namespace alidade {

/// Sets ALIDADE_INSTANCE to a value that no other test has, for as long as it lives.
class COwnInstance {
public:
    COwnInstance()
    {
        static std::atomic<int> s_counter{0};
        m_name = "test" + std::to_string(::getpid()) + "_" + std::to_string(s_counter++);
        ::setenv("ALIDADE_INSTANCE", m_name.c_str(), 1);
    }
    ~COwnInstance() { ::unsetenv("ALIDADE_INSTANCE"); }
    COwnInstance(const COwnInstance&) = delete;
    COwnInstance& operator=(const COwnInstance&) = delete;

    const CStringA& GetName() const { return m_name; }

private:
    CStringA m_name;
};

/// Number items "v[0]", "v[1]" and so on.
inline std::vector<T_IP_DATA_ITEM> MakeNumbers(int count, eIP_DATA_TYPE type = IPDATA_DOUBLE)
{
    std::vector<T_IP_DATA_ITEM> items;
    for (int i = 0; i < count; ++i) {
        items.push_back({"v[" + std::to_string(i) + "]", type, 0});
    }
    return items;
}

/// Sets every number item to the same value in one write.
inline void SetAll(CIPDataWriter& writer, int count, double value)
{
    writer.Begin();
    for (int i = 0; i < count; ++i) {
        writer.SetDouble(i, value);
    }
    writer.Commit();
}

} // namespace alidade
