#include "foundation/bus/IPData.h"
#include "foundation/platform/Text.h"
#include "tools/cmd/RunCmd.h"

#include <cstdio>
#include <nlohmann/json.hpp>

namespace alidade {
namespace {

constexpr DWORD kLookPeriod = 5;

using Json = nlohmann::ordered_json;

/// What a line shows: numbers of one write, and the texts beside them.
class CBlockLine {
public:
    explicit CBlockLine(const CIPData& data) : m_data(data), m_items(data.ListItems())
    {
        for (const T_IP_DATA_ITEM& item : m_items) {
            (item.type == IPDATA_STRING ? m_texts : m_numbers).push_back(data.GetDataItem(item.path.c_str()));
        }
        m_values.resize(m_numbers.size());
    }

    /// @param write  receives the number of the write
    Json Read(std::uint64_t& write)
    {
        constexpr int kMostAttempts = 100; // for the texts, beside a writer that never rests
        std::vector<CStringA> texts;
        int attempt = 0;
        do {
            write = m_numbers.empty() ? m_data.GetWriteCount() : CIPData::ReadTogether(m_numbers, m_values);
            texts.clear();
            for (const CIPDataItemIterator& text : m_texts) {
                texts.push_back(text.GetString());
            }
        } while (!texts.empty() && m_data.GetWriteCount() != write && ++attempt < kMostAttempts);
        Json line = Json::object();
        auto number = m_values.begin();
        auto text = texts.begin();
        for (const T_IP_DATA_ITEM& item : m_items) {
            if (item.type == IPDATA_STRING) {
                line[item.path] = *text++;
            } else if (item.type == IPDATA_INT) {
                line[item.path] = static_cast<int>(*number++);
            } else {
                line[item.path] = *number++;
            }
        }
        return line;
    }

private:
    const CIPData& m_data;
    const std::vector<T_IP_DATA_ITEM> m_items;
    std::vector<CIPDataItemIterator> m_numbers;
    std::vector<CIPDataItemIterator> m_texts;
    std::vector<double> m_values;
};

} // namespace

int RunWatch(const T_CMD_OPTIONS& options, CEvent& stop)
{
    CIPData data(ToWide(options.family).c_str());
    CString error;
    if (!data.Open(options.block.c_str(), error)) {
        return FailCmd(CMD_NOBODY, error);
    }
    CBlockLine block(data);
    std::uint64_t printed = 0;
    for (std::uint64_t lines = 0; options.count == 0 || lines < options.count;) {
        const bool alive = data.IsWriterAlive() != 0;
        if (lines == 0 || data.GetWriteCount() != printed) {
            const std::string line = block.Read(printed).dump(-1, ' ', false, Json::error_handler_t::replace);
            if (std::printf("%s\n", line.c_str()) < 0 || std::fflush(stdout) != 0) {
                return FailCmd(CMD_FAILED, L"cannot write to standard output");
            }
            ++lines;
            continue;
        }
        if (!alive) {
            return FailCmd(CMD_NOBODY, L"nobody writes the block any more");
        }
        if (stop.Wait(kLookPeriod)) {
            break;
        }
    }
    return CMD_DONE;
}

} // namespace alidade
