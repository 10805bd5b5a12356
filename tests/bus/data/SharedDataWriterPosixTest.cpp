// One writer a block: while it lives, when it goes, and when it dies in the middle of a write.
#include "tests/bus/data/OwnInstance.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>

namespace alidade {
namespace {

constexpr int kItems = 2000; // some pages of values in each copy
constexpr int kWrites = 9;   // every copy was written

/// A process that makes the block, writes it whole `kWrites` times, and then does what it was told.
class CWriterProcess {
public:
    explicit CWriterProcess(const std::function<void(CIPDataWriter&)>& then)
    {
        int ready[2];
        if (::pipe2(ready, O_CLOEXEC) != 0) {
            return;
        }
        m_process = ::fork();
        if (m_process == 0) {
            for (const int number : {SIGSEGV, SIGBUS}) {
                std::signal(number, SIG_DFL); // a sanitizer would have it
            }
            CIPDataWriter writer(L"Tavro");
            CString text;
            if (writer.Create("block", MakeNumbers(kItems), text) == 0) {
                ::_exit(1);
            }
            for (int i = 1; i <= kWrites; ++i) {
                SetAll(writer, kItems, i);
            }
            then(writer);
            [[maybe_unused]] const ssize_t told = ::write(ready[1], "r", 1);
            for (;;) {
                ::pause();
            }
        }
        ::close(ready[1]);
        char c = 0;
        m_isReady = ::read(ready[0], &c, 1) == 1; // ends as well when the process dies
        ::close(ready[0]);
    }
    ~CWriterProcess() { Kill(); }
    /// @return the signal that ended it
    int Kill()
    {
        int status = 0;
        if (m_process > 0) {
            ::kill(m_process, SIGKILL);
            ::waitpid(m_process, &status, 0);
            m_process = -1;
        }
        return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    }
    bool IsReady() const { return m_isReady; }

private:
    pid_t m_process = -1;
    bool m_isReady = false;
};

void BeginWithoutEnd(CIPDataWriter& writer)
{
    writer.Begin();
    for (int i = 0; i < kItems / 2; ++i) {
        writer.SetDouble(i, -1);
    }
}

/// Takes away the write access to a page in the middle of the copy that comes next, so that the process dies
/// when half of its values are stored.
void DieWithinCommit(CIPDataWriter& writer)
{
    const CStringA mapName = CIPData(L"Tavro").MakeMapName("block");
    std::FILE* maps = std::fopen("/proc/self/maps", "r");
    char line[1024];
    while (std::fgets(line, sizeof(line), maps) != nullptr) {
        unsigned long begin = 0;
        unsigned long end = 0;
        if (std::strstr(line, mapName.c_str()) != nullptr &&
            std::sscanf(line, "%lx-%lx", &begin, &end) == 2) {
            // The copies take the last part of the block; write 10 goes into the third of the eight.
            const unsigned long values = 8ul * kItems * 8;
            const unsigned long middle = end - values + 2ul * kItems * 8 + kItems * 4;
            ::mprotect(reinterpret_cast<void*>(middle & ~4095ul), 4096, PROT_READ);
        }
    }
    SetAll(writer, kItems, -1);
}

class CSharedDataWriter : public ::testing::Test {
protected:
    void ExpectWhole(CIPData& data)
    {
        std::vector<CIPDataItemIterator> items;
        for (const T_IP_DATA_ITEM& item : data.ListItems()) {
            items.push_back(data.GetDataItem(item.path.c_str()));
        }
        std::vector<double> values(items.size());
        EXPECT_EQ(CIPData::ReadTogether(items, values), static_cast<std::uint64_t>(kWrites));
        EXPECT_EQ(values, std::vector<double>(kItems, kWrites));
    }

    COwnInstance m_instance;
    CIPData m_data{L"Tavro"};
    CIPDataWriter m_writer{L"Tavro"};
    CString m_text;
};

TEST_F(CSharedDataWriter, ThatDiesInTheMiddleOfAWriteLeavesTheLastWholeOne)
{
    const struct {
        const char* where;
        std::function<void(CIPDataWriter&)> then;
        bool diesItself;
    } kRows[] = {{"between Begin and Commit", BeginWithoutEnd, false},
                 {"within Commit", DieWithinCommit, true}};
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.where);
        CWriterProcess process(row.then);
        ASSERT_EQ(process.IsReady(), !row.diesItself);
        ASSERT_EQ(m_data.Open("block", m_text), 1) << ::testing::PrintToString(m_text);
        EXPECT_EQ(m_data.IsWriterAlive(), row.diesItself ? 0 : 1);
        const int signal = process.Kill();
        EXPECT_EQ(signal, row.diesItself ? SIGSEGV : SIGKILL);
        EXPECT_EQ(m_data.IsWriterAlive(), 0);
        ExpectWhole(m_data);

        // Somebody who comes now still finds the last values, and a new writer takes the name over.
        CIPData late(L"Tavro");
        EXPECT_EQ(late.Open("block", m_text), 1);
        EXPECT_EQ(m_writer.Create("block", MakeNumbers(1), m_text), 1) << ::testing::PrintToString(m_text);
        m_writer.SetInt(0, 77);
        EXPECT_EQ(m_data.IsWriterAlive(), 0);
        ExpectWhole(m_data);
        ASSERT_EQ(m_data.Open("block", m_text), 1);
        EXPECT_EQ(m_data.IsWriterAlive(), 1);
        EXPECT_EQ(m_data.GetDataItem("v[0]").GetInt(), 77);
        m_writer.Close();
    }
}

TEST_F(CSharedDataWriter, KeepsOthersFromItsBlock)
{
    ASSERT_EQ(m_writer.Create("block", MakeNumbers(3), m_text), 1);
    ASSERT_EQ(m_data.Open("block", m_text), 1);
    m_writer.SetInt(2, 5);
    // In this process, where closing any other handle on the block must not give it free, and in another one.
    for (int attempt = 0; attempt < 2; ++attempt) {
        CIPDataWriter second(L"Tavro");
        EXPECT_EQ(second.Create("block", MakeNumbers(1), m_text), 0);
        EXPECT_NE(m_text.find(L"being written by another writer"), m_text.npos)
            << ::testing::PrintToString(m_text);
        EXPECT_EQ(m_writer.Create("block", MakeNumbers(1), m_text), 0);
        CIPData reader(L"Tavro");
        EXPECT_EQ(reader.Open("block", m_text), 1);
    }
    EXPECT_FALSE(CWriterProcess([](CIPDataWriter&) {}).IsReady());
    EXPECT_EQ(m_data.IsWriterAlive(), 1);
    EXPECT_EQ(m_data.GetDataItem("v[2]").GetInt(), 5);

    m_writer.Close();
    EXPECT_EQ(m_data.IsWriterAlive(), 0);
    EXPECT_EQ(m_data.GetDataItem("v[2]").GetInt(), 5);
    CIPData reader(L"Tavro");
    EXPECT_EQ(reader.Open("block", m_text), 0);
    EXPECT_EQ(m_writer.SetInt(2, 6), 0);
}

TEST_F(CSharedDataWriter, SharesItsBlockWithItsUserOnly)
{
    ASSERT_EQ(m_writer.Create("block", MakeNumbers(1), m_text), 1);
    const int file = ::shm_open(CStringA("/").append(m_data.MakeMapName("block")).c_str(), O_RDONLY, 0);
    ASSERT_GE(file, 0);
    struct stat status = {};
    EXPECT_EQ(::fstat(file, &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    ::close(file);
}

} // namespace
} // namespace alidade
