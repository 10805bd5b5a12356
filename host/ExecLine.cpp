#include "host/ExecLine.h"

#include "foundation/bus/text/ImageFile.h"
#include "foundation/bus/text/VariableJson.h"
#include "foundation/platform/Text.h"

#include <cstdio>
#include <nlohmann/json.hpp>

namespace alidade {
namespace {

constexpr DWORD kCommandTimeout = 600000; // a command may move a stage, or ask an operator

} // namespace

bool ParseExecLine(std::string_view line, T_EXEC_LINE& exec, CString& error)
{
    T_EXEC_LINE read;
    if (!SplitCommandLine(line, read.command, error) ||
        !ParseCommandArguments(read.command.arguments, read.parameter, LoadImageVariable, error)) {
        return false;
    }
    exec = std::move(read);
    return true;
}

int RunExecLine(CIPClient& client, const T_EXEC_LINE& exec, DWORD timeout, CStringA& json)
{
    const T_COMMAND_TEXT& command = exec.command;
    CIPVariable result;
    const int ok =
        client.SendIPCommand(nullptr, command.unit.c_str(), command.group.c_str(), command.name.c_str(),
                             exec.parameter, result, timeout, nullptr, IPSEND_ABORT_WITH_SENDER);
    const auto quote = [](const CStringA& text) {
        return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    };
    json = "{\"unit\":" + quote(command.unit) + ",\"group\":" + quote(command.group) +
           ",\"name\":" + quote(command.name) + ",\"ok\":" + (ok ? "true" : "false") +
           ",\"result\":" + VariableToJson(result);
    if (!ok) {
        json += ",\"error\":" + quote(ToNarrow(CIPClient::GetLastIPError()));
    }
    json += "}";
    return ok;
}

int RunExecLines(CIPClient& client, const std::vector<T_EXEC_LINE>& lines, CEvent& stop,
                 T_HOST_FAILURE& failure)
{
    int failed = 0;
    for (const T_EXEC_LINE& line : lines) {
        if (stop.Wait(0)) {
            break; // those that failed before count all the same
        }
        CStringA json;
        failed += RunExecLine(client, line, kCommandTimeout, json) ? 0 : 1;
        std::fprintf(stdout, "%s\n", json.c_str());
        std::fflush(stdout);
    }
    return failed == 0 ? 1
                       : Refuse(failure, kExitFailed,
                                Format(L"%d of %d commands failed", failed, static_cast<int>(lines.size())));
}

} // namespace alidade
