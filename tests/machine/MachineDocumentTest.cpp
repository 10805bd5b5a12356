// The pages agree with the tables, and the tables with what the machine does.

#include "MachineHarness.h"
#include "foundation/platform/FileReplace.h"
#include "foundation/utility/Strings.h"
#include "host/machine/MachineCommands.h"
#include "host/machine/MachineOptions.h"

#include <set>

namespace alidade {
namespace {

std::string ReadPage(const char* name)
{
    std::string page;
    EXPECT_TRUE(ReadWholeFile(std::filesystem::path(ALIDADE_DOCS_DIR) / name, page)) << name;
    return page;
}

void ExpectLine(const std::string& page, const CStringA& line)
{
    EXPECT_NE(page.find(line + "\n"), page.npos) << "the page lacks the line\n" << line;
}

std::vector<CStringA> Names(const char* commaSeparated)
{
    std::vector<CString> pieces;
    SplitString(ToWide(commaSeparated).c_str(), L',', pieces);
    std::vector<CStringA> names;
    for (const CString& piece : pieces) {
        names.push_back(ToNarrow(Trim(piece)));
    }
    return names;
}

TEST(MachineDocument, HasEverySettingItemAndOption)
{
    const std::string page = ReadPage("machine.md");
    for (const T_MACHINE_SETTING& row : GetMachineSettingTable()) {
        ExpectLine(page, ToNarrow(Format(L"| `%s` | %.10g | %.10g to %.10g | %s | %s |", row.key,
                                         row.defaultValue, row.least, row.most, row.unit, row.description)));
    }
    for (const auto items : {GetMotorPositionItems(), GetAxisParameterItems()}) {
        for (const T_MACHINE_ITEM& item : items) {
            ExpectLine(page, Format("| `%s` | %s | %s |", item.path,
                                    item.type == IPDATA_INT ? "int" : "double", item.description));
        }
    }
    for (const CStringA& name : GetMachineOptionNames()) {
        EXPECT_NE(page.find(Format("`%s", name.c_str())), page.npos) << name;
    }
}

TEST(MachineDocument, HasEveryCommandAndTheMachineServesThemAndNoOthers)
{
    const std::string page = ReadPage("commands.md");
    CMachineUnderTest machine;
    std::set<std::vector<CStringA>> documented, served;
    for (const T_MACHINE_COMMAND_GROUP& group : GetMachineCommandGroups()) {
        ExpectLine(page, Format("## %s (task %s)", group.group, group.task));
        for (const T_MACHINE_COMMAND_ROW& row : group.rows) {
            CStringA names;
            for (const CStringA& name : Names(row.command)) {
                names += Format(names.empty() ? "`%s`" : ", `%s`", name.c_str());
                documented.insert({group.task, group.group, name});
            }
            ExpectLine(page, Format("| %s | %s | `%s` | %s | %s | %s |", names.c_str(), row.kind, row.name,
                                    row.type, row.range, row.meaning));
        }
    }
    for (const T_IP_COMMAND_RECORD& record : machine.m_client.ListIPCommands()) {
        EXPECT_EQ(record.unit, "");
        served.insert({record.task, record.group, record.name});
    }
    EXPECT_EQ(documented, served);
}

TEST(MachineDocument, EveryParameterOfATypeIsReadAndOthersAreRefusedByItsName)
{
    CMachineUnderTest machine;
    for (const T_MACHINE_COMMAND_GROUP& group : GetMachineCommandGroups()) {
        CStringA command;
        for (const T_MACHINE_COMMAND_ROW& row : group.rows) {
            if (*row.command != '\0') {
                command = Names(row.command)[0];
            }
            if (CStringA(row.kind) != "in" || CStringA(row.range) == "any") {
                continue;
            }
            CIPVariable in;
            if (command == "StageMovePos" && CStringA(row.name).find("Target") != 0) {
                in.SetChildItem("MovePos", 1.0);
            }
            in.SetChildItem(row.name, "?!");
            const T_ANSWER answer = machine.Send(group.task, group.group, command.c_str(), in);
            EXPECT_EQ(answer.ok, 0) << command << " " << row.name;
            EXPECT_EQ(answer.error.find(CStringA(row.name) + " = \"?!\" is no"), 0u) << answer.error;
        }
    }
    // And each result that is told is there.
    const T_ANSWER where = machine.Stage("GetPosition");
    for (const T_MACHINE_COMMAND_ROW& row : GetMachineCommandGroups()[0].rows) {
        if (CStringA(row.kind) == "out") {
            EXPECT_NE(where.result.FindChild(row.name), nullptr) << row.name;
        }
    }
}

} // namespace
} // namespace alidade
