#include "foundation/bus/IPData.h"
#include "foundation/platform/Text.h"
#include "tools/cmd/RunCmd.h"

#include <cstdio>
#include <nlohmann/json.hpp>

namespace alidade {
namespace {

constexpr DWORD kLookPeriod = 5;

using Json = nlohmann::ordered_json;
using Items = std::vector<std::pair<T_IP_DATA_ITEM, CIPDataItemIterator>>;

Json Read(const Items& items)
{
    Json line = Json::object();
    for (const auto& [item, value] : items) {
        switch (item.type) {
        case IPDATA_INT:
            line[item.path] = value.GetInt();
            break;
        case IPDATA_DOUBLE:
            line[item.path] = value.GetDouble();
            break;
        default:
            line[item.path] = value.GetString();
        }
    }
    return line;
}

} // namespace

int RunWatch(const T_CMD_OPTIONS& options, CEvent& stop)
{
    CIPData data(ToWide(options.family).c_str());
    CString error;
    if (!data.Open(options.block.c_str(), error)) {
        return FailCmd(CMD_NOBODY, error);
    }
    Items items;
    for (const T_IP_DATA_ITEM& item : data.ListItems()) {
        items.emplace_back(item, data.GetDataItem(item.path.c_str()));
    }
    std::uint64_t printed = 0;
    for (std::uint64_t lines = 0; options.count == 0 || lines < options.count;) {
        const bool alive = data.IsWriterAlive() != 0;
        const std::uint64_t writes = data.GetWriteCount();
        if (lines == 0 || writes != printed) {
            printed = writes;
            const std::string line = Read(items).dump(-1, ' ', false, Json::error_handler_t::replace);
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
