#include "tests/bus/engine/Receiver.h"

#include "foundation/platform/Text.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

/// Adds a row of its own, replaces one of its parent's, and leaves the rest to the parent.
class CDerivedReceiver : public CReceiver {
public:
    using CReceiver::CReceiver;
    ~CDerivedReceiver() override { DestroyIPCommandTarget(); }

    const IP_COMMAND_TARGET* GetIPCommandTargetStatic() const override
    {
        static const IP_COMMAND_TARGET_ENTRY entries[] = {
            IPCommandEntry("Derived", "Run", &CDerivedReceiver::OnIPDerived),
            IPCommandEntry("Test", "Child", &CDerivedReceiver::OnIPDerived),
            {nullptr, nullptr, nullptr}};
        static const IP_COMMAND_TARGET table{entries, CReceiver::GetTable()};
        return &table;
    }

private:
    int OnIPDerived(CIPCommand& command)
    {
        command.GetResult().SetChildItem("Who", "derived");
        return 1;
    }
};

TestHandler Say(const char* who)
{
    return [who](CIPCommand& command) {
        command.GetResult().SetChildItem("Who", who);
        return 1;
    };
}

TEST(BusAddressing, FindsTheReceiverByTaskUnitGroupAndName)
{
    T_TEST_BUS test;
    CIPClient sequence(nullptr, nullptr, "Sequence", test.bus);
    CReceiver sender(test.client, "Sender", 0);
    CReceiver first(test.client, "Camera1");
    CDerivedReceiver second(test.client, "Camera2");
    CReceiver motion(sequence, "");
    first.On("Run", Say("first"));
    second.On("Run", Say("second"));
    sender.On("Run", Say("a sender only"));
    motion.On("Run", Say("motion"));
    motion.On("Other", Say("motion"));
    const struct {
        const char* task;
        const char* unit;
        const char* group;
        const char* name;
        const char* who; // null: nobody
    } rows[] = {
        {nullptr, "Camera1", "Test", "Run", "first"},
        {"", "", "Test", "Run", "first"}, // the own task's, registered first
        {"Vision", "Camera2", "Test", "Run", "second"},
        {nullptr, "Camera2", "Test", "Child", "derived"}, // the own row before the parent's
        {nullptr, nullptr, "Derived", "Run", "derived"},
        {"Sequence", nullptr, "Test", "Run", "motion"},
        {"Sequence", "Camera1", "Test", "Run", nullptr},
        {"Nobody", nullptr, "Test", "Run", nullptr},
        {nullptr, "Sender", "Test", "Run", nullptr},
        {nullptr, "Camera1", "Derived", "Run", nullptr},
        {nullptr, "camera1", "Test", "Run", nullptr},
        {nullptr, "Camera1", "Test", "", nullptr},
        {nullptr, "Camera1", nullptr, nullptr, nullptr},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << &row - rows);
        CIPVariable out;
        const int ok = test.client.SendIPCommand(row.task, row.unit, row.group, row.name, CIPVariable(), out,
                                                 60000, nullptr);
        EXPECT_EQ(ok, row.who != nullptr);
        EXPECT_STREQ(out("Who", "nobody"), row.who != nullptr ? row.who : "nobody");
        EXPECT_EQ(CIPClient::GetLastIPError().starts_with(L"Nobody answers "), row.who == nullptr);
    }
}

TEST(BusAddressing, ReceiversOfOneUnitAreAllSearched)
{
    T_TEST_BUS test;
    CDerivedReceiver view(test.client, "Camera1");
    CReceiver dialog(test.client, "Camera1");
    CReceiver other(test.client, "Camera2");
    dialog.On("Run", Say("dialog"));
    view.On("Run", Say("view"));
    CIPVariable out;
    EXPECT_EQ(dialog.SendIPCommand("Derived", "Run", CIPVariable(), out, 60000), 1);
    EXPECT_STREQ(out("Who", ""), "derived");
    EXPECT_EQ(dialog.SendIPCommand("Test", "Run", CIPVariable(), out, 60000), 1);
    EXPECT_STREQ(out("Who", ""), "view");
    EXPECT_EQ(other.SendIPCommand("Derived", "Run", CIPVariable(), out, 60000), 0);
    dialog.SetUnitName("Camera2");
    EXPECT_EQ(dialog.SendIPCommand("Derived", "Run", CIPVariable(), out, 60000), 0);
}

TEST(BusAddressing, ListsWhatIsAnswered)
{
    T_TEST_BUS test;
    CReceiver receiver(test.client, "Camera1");
    CReceiver sender(test.client, "Sender", 0);
    const std::vector<T_IP_COMMAND_RECORD> records = test.client.ListIPCommands();
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[2].task, "Vision");
    EXPECT_EQ(records[2].unit, "Camera1");
    EXPECT_EQ(records[2].group, "Test");
    EXPECT_EQ(records[2].name, "Other");
    EXPECT_EQ(records[2].flag, DWORD{IPCMD_OPERATOR});
}

} // namespace
} // namespace alidade
