#include "tools/cmd/RunCmd.h"

#include "foundation/bus/text/CommandText.h"
#include "foundation/bus/text/ImageFile.h"
#include "foundation/bus/text/VariableJson.h"
#include "foundation/bus/transport/Transport.h"
#include "foundation/config/SimpleLog.h"
#include "foundation/platform/Text.h"

#include <cstdio>
#include <nlohmann/json.hpp>

namespace alidade {
namespace {

/// This program's side of the bus: it answers nothing, and tells of errors on the connection.
class CCmdHost final : public IIPTransportHost {
public:
    std::uint64_t StartRequest(T_IP_REQUEST&&, IP_REPLY_HANDLER reply) override
    {
        if (reply) {
            reply({false, {}, L"This program answers no commands"});
        }
        return 0;
    }
    void AbortRequest(std::uint64_t) override {}
    std::vector<T_IP_COMMAND_RECORD> GetOwnCommands() const override { return {}; }
    void WriteLog(DWORD level, const CString& line) override
    {
        if ((level & kLogError) != 0) {
            std::fprintf(stderr, "alidade-cmd: %s\n", ToNarrow(line).c_str());
        }
    }
};

/// The reply to the one command, shared with the thread that brings it.
struct T_WAITING {
    CEvent came;
    T_IP_REPLY reply;
};

int SaveImages(const T_CMD_OPTIONS& options, const CIPVariable& result)
{
    for (const auto& [name, file] : options.saved) {
        cv::Mat image;
        const CIPVariable* child = result.FindChild(name.c_str());
        if (child == nullptr || !ConvertVarToMat(*child, image)) {
            return FailCmd(CMD_FAILED, L"the result has no image \"" + ToWide(name) + L"\"");
        }
        bool written = false;
        try {
            written = cv::imwrite(file, image);
        } catch (const cv::Exception&) {
            // A format that is not known, or that cannot hold such an image.
        }
        if (!written) {
            return FailCmd(CMD_FAILED, L"cannot write the picture " + ToWide(file));
        }
    }
    return CMD_DONE;
}

bool Print(const std::string& line)
{
    return std::fputs((line + "\n").c_str(), stdout) >= 0 && std::fflush(stdout) == 0;
}

int Finish(const T_CMD_OPTIONS& options, const T_IP_REPLY& reply)
{
    const bool show = reply.ok || !reply.result.IsEmpty();
    if (show && !Print(VariableToJson(reply.result))) {
        return FailCmd(CMD_FAILED, L"cannot write to standard output");
    }
    if (!reply.ok) {
        return FailCmd(CMD_FAILED, reply.error.empty() ? CString(L"the command failed") : reply.error);
    }
    return SaveImages(options, reply.result);
}

int Send(const T_CMD_OPTIONS& options, CIPVariable&& parameter, IIPTransport& transport, CEvent& stop)
{
    T_IP_REQUEST request;
    request.task = options.task;
    request.unit = options.unit;
    request.group = options.group;
    request.name = options.name;
    request.parameter = std::move(parameter);
    request.timeout = options.timeout;
    request.abortWithSender = options.abort;
    const auto waiting = std::make_shared<T_WAITING>();
    const std::uint64_t number = transport.Send(std::move(request), [waiting](T_IP_REPLY&& reply) {
        waiting->reply = std::move(reply);
        waiting->came.SetEvent();
    });
    if (number == 0) {
        return FailCmd(
            CMD_NOBODY,
            L"nobody on the bus answers \"" + ToWide(options.group) + L"\" \"" + ToWide(options.name) +
                L"\"" + (options.unit.empty() ? CString() : L" of unit \"" + ToWide(options.unit) + L"\""));
    }
    switch (CEvent::WaitForAny({&waiting->came, &stop}, options.timeout)) {
    case 0:
        return Finish(options, waiting->reply);
    case 1:
        transport.Abandon(number);
        return FailCmd(CMD_FAILED,
                       L"interrupted; the command " + CString(options.abort ? L"is aborted" : L"goes on"));
    default:
        transport.Abandon(number);
        return FailCmd(CMD_NOBODY, L"the command has not ended within " + std::to_wstring(options.timeout) +
                                       L" ms; it " + (options.abort ? L"is aborted" : L"goes on"));
    }
}

int List(const T_CMD_OPTIONS& options, const std::vector<T_IP_COMMAND_RECORD>& records)
{
    std::vector<std::vector<std::string>> rows{{"TASK", "UNIT", "GROUP", "NAME", "KIND"}};
    auto list = nlohmann::ordered_json::array();
    for (const T_IP_COMMAND_RECORD& record : records) {
        const char* kind = record.flag == IPCMD_OPERATOR ? "operator" : "program";
        rows.push_back({record.task, record.unit, record.group, record.name, kind});
        list.push_back({{"task", record.task},
                        {"unit", record.unit},
                        {"group", record.group},
                        {"name", record.name},
                        {"kind", kind}});
    }
    std::string text;
    if (options.json) {
        text = list.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    } else {
        std::vector<std::size_t> widths(rows[0].size());
        for (const auto& row : rows) {
            for (std::size_t i = 0; i < row.size(); ++i) {
                widths[i] = std::max(widths[i], row[i].size());
            }
        }
        for (const auto& row : rows) {
            std::string line;
            for (std::size_t i = 0; i < row.size(); ++i) {
                line += row[i] + std::string(i + 1 < row.size() ? widths[i] + 2 - row[i].size() : 0, ' ');
            }
            text += (text.empty() ? "" : "\n") + line;
        }
    }
    return Print(text) ? CMD_DONE : FailCmd(CMD_FAILED, L"cannot write to standard output");
}

} // namespace

int FailCmd(eCMD_EXIT status, const CString& text)
{
    std::string line = ToNarrow(text);
    for (char& c : line) {
        c = c == '\n' || c == '\r' ? ' ' : c;
    }
    std::fprintf(stderr, "alidade-cmd: %s\n", line.c_str());
    return status;
}

int RunCmd(const T_CMD_OPTIONS& options, CEvent& stop)
{
    CString error;
    CIPVariable parameter;
    if (!ParseCommandArguments(options.values, parameter, LoadImageVariable, error)) {
        return FailCmd(CMD_WRONG_USE, error);
    }
    CCmdHost host;
    const std::unique_ptr<IIPTransport> transport = JoinTransport(options.bus.c_str(), true, host, error);
    if (transport == nullptr) {
        return FailCmd(CMD_NOBODY, error);
    }
    if (options.what == T_CMD_OPTIONS::eWHAT::LIST) {
        return List(options, transport->ListCommands());
    }
    return Send(options, std::move(parameter), *transport, stop);
}

} // namespace alidade
