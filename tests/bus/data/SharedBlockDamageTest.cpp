// Blocks whose memory says what cannot be.
#include "foundation/bus/data/BlockReader.h"
#include "tests/bus/data/OwnInstance.h"

#include <fcntl.h>
#include <functional>
#include <sys/mman.h>

namespace alidade {
namespace {

/// The memory of a good block with three items, for a test to scribble over.
class CBlockImage {
public:
    CBlockImage()
    {
        CBlockDirectory directory;
        CString text;
        EXPECT_TRUE(directory.Plan(std::vector<T_IP_DATA_ITEM>{{"first", IPDATA_INT, 0},
                                                               {"second", IPDATA_STRING, 20},
                                                               {"third", IPDATA_DOUBLE, 0}},
                                   text));
        m_words.resize(directory.GetBlockSize() / 8);
        directory.Write(Data());
    }
    std::byte* Data() { return reinterpret_cast<std::byte*>(m_words.data()); }
    std::size_t Size() const { return m_words.size() * 8; }
    T_BLOCK_HEADER& Header() { return *reinterpret_cast<T_BLOCK_HEADER*>(m_words.data()); }
    T_BLOCK_ENTRY& Entry(int n)
    {
        return reinterpret_cast<T_BLOCK_ENTRY*>(Data() + Header().directoryOffset)[n];
    }
    char* Names() { return reinterpret_cast<char*>(Data() + Header().namesOffset); }
    std::uint64_t* Values(std::uint64_t copy)
    {
        return reinterpret_cast<std::uint64_t*>(Data() + Header().valuesOffset + copy * Header().valuesSize);
    }

private:
    std::vector<std::uint64_t> m_words;
};

struct T_DAMAGE {
    const char* what;
    const wchar_t* says;
    std::function<void(CBlockImage&)> make;
};

const T_DAMAGE kDamages[] = {
    {"another magic", L"no shared block", [](CBlockImage& b) { b.Header().magic ^= 1; }},
    {"no magic yet", L"still being made", [](CBlockImage& b) { b.Header().magic = 0; }},
    {"newer", L"of version 2, newer than version 1", [](CBlockImage& b) { b.Header().version = 2; }},
    {"version 0", L"of version 0", [](CBlockImage& b) { b.Header().version = 0; }},
    {"a longer block", L"cut short", [](CBlockImage& b) { b.Header().blockSize += 8; }},
    {"a block without end", L"cut short", [](CBlockImage& b) { b.Header().blockSize = ~0ull; }},
    {"a block shorter than its parts", L"values do not fit",
     [](CBlockImage& b) { b.Header().blockSize -= 64; }},
    {"a block shorter than its header", L"directory does not fit",
     [](CBlockImage& b) { b.Header().blockSize = 8; }},
    {"another header size", L"directory does not fit", [](CBlockImage& b) { b.Header().headerSize = 8; }},
    {"no items", L"directory does not fit", [](CBlockImage& b) { b.Header().itemCount = 0; }},
    {"4 billion items", L"directory does not fit", [](CBlockImage& b) { b.Header().itemCount = 0xFFFFFFFF; }},
    {"many items", L"directory does not fit",
     [](CBlockImage& b) {
         b.Header().itemCount = 60000;
         b.Header().namesOffset = b.Header().directoryOffset + 60000 * sizeof(T_BLOCK_ENTRY);
     }},
    {"directory over the header", L"directory does not fit",
     [](CBlockImage& b) { b.Header().directoryOffset = 0; }},
    {"names elsewhere", L"directory does not fit", [](CBlockImage& b) { b.Header().namesOffset += 8; }},
    {"names without end", L"directory does not fit", [](CBlockImage& b) { b.Header().namesSize = ~7ull; }},
    {"values over the names", L"values do not fit", [](CBlockImage& b) { b.Header().valuesOffset = 192; }},
    {"values outside", L"values do not fit", [](CBlockImage& b) { b.Header().valuesOffset = ~63ull; }},
    {"values at an odd place", L"values do not fit", [](CBlockImage& b) { b.Header().valuesOffset += 1; }},
    {"values whose copies overflow", L"values do not fit",
     [](CBlockImage& b) { b.Header().valuesSize = 1ull << 61; }},
    {"no copies", L"values do not fit", [](CBlockImage& b) { b.Header().copies = 0; }},
    {"one copy", L"values do not fit", [](CBlockImage& b) { b.Header().copies = 1; }},
    {"copies that are no power of two", L"values do not fit", [](CBlockImage& b) { b.Header().copies = 3; }},
    {"too many copies", L"values do not fit", [](CBlockImage& b) { b.Header().copies = 1u << 31; }},
    {"an unknown type", L"item 1 is of the unknown type 99", [](CBlockImage& b) { b.Entry(1).type = 99; }},
    {"a text without room", L"item 1 is a text", [](CBlockImage& b) { b.Entry(1).capacity = 0; }},
    {"a text of 4 GB", L"item 1 is a text", [](CBlockImage& b) { b.Entry(1).capacity = 0xFFFFFFFF; }},
    {"a text longer than the values", L"item 1 has a value",
     [](CBlockImage& b) { b.Entry(1).capacity = 1 << 20; }},
    {"a text into the next item", L"item 2 has a value", [](CBlockImage& b) { b.Entry(1).capacity = 25; }},
    {"a value outside", L"item 2 has a value",
     [](CBlockImage& b) { b.Entry(2).valueOffset = b.Header().valuesSize; }},
    {"a value far outside", L"item 2 has a value", [](CBlockImage& b) { b.Entry(2).valueOffset = ~7ull; }},
    {"a value at an odd place", L"item 2 has a value", [](CBlockImage& b) { b.Entry(2).valueOffset += 4; }},
    {"values that overlap", L"item 2 has a value", [](CBlockImage& b) { b.Entry(2).valueOffset = 0; }},
    {"a path outside", L"item 2 has a path", [](CBlockImage& b) { b.Entry(2).nameOffset = 0xFFFFFFF0; }},
    {"a path of 4 GB", L"item 2 has a path", [](CBlockImage& b) { b.Entry(2).nameLength = 0xFFFFFFFF; }},
    {"paths that overlap", L"item 1 has a path", [](CBlockImage& b) { b.Entry(1).nameOffset = 3; }},
    {"a path that does not end", L"item 0 has a path", [](CBlockImage& b) { b.Names()[5] = 'x'; }},
    {"paths that never end", L"item 0 has a path",
     [](CBlockImage& b) { std::memset(b.Names(), 'x', b.Header().namesSize); }},
    {"an empty path", L"item 0 has no path",
     [](CBlockImage& b) {
         b.Entry(0).nameLength = 0;
         b.Names()[0] = '\0';
     }},
    {"a path with a zero", L"item 0 has a path that is not UTF-8",
     [](CBlockImage& b) { b.Names()[2] = '\0'; }},
    {"a path not UTF-8", L"item 0 has a path that is not UTF-8",
     [](CBlockImage& b) { b.Names()[2] = '\xC0'; }},
};

TEST(SharedBlockDamage, IsRefusedWithAClearReason)
{
    for (const T_DAMAGE& damage : kDamages) {
        SCOPED_TRACE(damage.what);
        CBlockImage image;
        damage.make(image);
        CBlockReader reader;
        CString text;
        EXPECT_FALSE(reader.OpenMemory(image.Data(), image.Size(), text));
        EXPECT_NE(text.find(damage.says), text.npos) << ::testing::PrintToString(text);
        EXPECT_FALSE(reader.IsOpen());
    }
    CBlockImage twice;
    std::memcpy(twice.Names(), "third\0second\0third", 19);
    CBlockReader reader;
    CString text;
    EXPECT_FALSE(reader.OpenMemory(twice.Data(), twice.Size(), text));
    EXPECT_NE(text.find(L"two items with the path third"), text.npos);
}

// Whatever is written over the memory afterwards is not followed: a sanitizer would see a read outside.
TEST(SharedBlockDamage, AfterOpeningGivesAnyValuesButKeepsWithinTheBlock)
{
    for (const T_DAMAGE& damage : kDamages) {
        SCOPED_TRACE(damage.what);
        CBlockImage image;
        CBlockReader reader;
        CString text;
        ASSERT_TRUE(reader.OpenMemory(image.Data(), image.Size(), text));
        damage.make(image);
        image.Header().sequence = 0xFFFFFFFFFFFFFFFE;
        std::vector<std::uint64_t> words;
        EXPECT_EQ(reader.ReadAll(words), 0xFFFFFFFFFFFFFFFEu);
        EXPECT_EQ(reader.GetDirectory().Find("second"), 1);
    }
}

class CDamagedMap : public ::testing::Test {
protected:
    /// Lays raw bytes under the name of a block.
    void Make(const void* bytes, std::size_t size, std::size_t fileSize)
    {
        m_name = m_data.MakeMapName("block");
        const int file = ::shm_open(CStringA("/").append(m_name).c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
        ASSERT_GE(file, 0);
        EXPECT_EQ(::ftruncate(file, static_cast<off_t>(fileSize)), 0);
        EXPECT_EQ(::pwrite(file, bytes, size, 0), static_cast<ssize_t>(size));
        ::close(file);
    }
    void TearDown() override { ::shm_unlink(CStringA("/").append(m_name).c_str()); }

    COwnInstance m_instance;
    CIPData m_data{L"Tavro"};
    CStringA m_name;
    CString m_text;
};

TEST_F(CDamagedMap, IsRefusedAndMayBeTakenOver)
{
    CBlockImage image;
    image.Header().state = BLOCK_CLOSED;
    const struct {
        const char* what;
        std::size_t bytes;
        std::size_t fileSize;
        const wchar_t* says;
    } kRows[] = {
        {"nothing", 0, 0, L"no content yet"},
        {"a few bytes", 100, 100, L"too short"},
        {"taken down, with its name still there", image.Size(), image.Size(), L"taken down"},
        {"zeros", 0, 5000, L"still being made"},
        {"half a block", image.Size() / 2, image.Size() / 2, L"cut short"},
        {"a file without end", 0, std::size_t{1} << 40, L"more than one may have"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.what);
        Make(image.Data(), row.bytes, row.fileSize);
        EXPECT_EQ(m_data.Open("block", m_text), 0);
        EXPECT_NE(m_text.find(row.says), m_text.npos) << ::testing::PrintToString(m_text);
        EXPECT_EQ(m_data.IsOpen(), 0);
        CIPDataWriter writer(L"Tavro");
        EXPECT_EQ(writer.Create("block", MakeNumbers(1), m_text), 1) << ::testing::PrintToString(m_text);
    }
}

TEST_F(CDamagedMap, TextsThatAreNoneRaiseAndASequenceThatRunsAwayEndsTheReading)
{
    CBlockImage image;
    Make(image.Data(), image.Size(), image.Size());
    ASSERT_EQ(m_data.Open("block", m_text), 1) << ::testing::PrintToString(m_text);
    EXPECT_EQ(m_data.IsWriterAlive(), 0);
    // The text's length is word 1, its bytes follow.
    const struct {
        std::uint64_t length;
        char byte;
        bool good;
    } kRows[] = {{5, 'x', true}, {20, 'x', true}, {21, 'x', false}, {~0ull, 'x', false}, {20, '\xFF', false}};
    for (const auto& row : kRows) {
        image.Values(0)[1] = row.length;
        std::memset(image.Values(0) + 2, row.byte, 20);
        Make(image.Data(), image.Size(), image.Size());
        ASSERT_EQ(m_data.Open("block", m_text), 1);
        const CIPDataItemIterator text = m_data.GetDataItem("second");
        if (row.good) {
            EXPECT_EQ(text.GetString(), std::string(row.length, row.byte));
        } else {
            EXPECT_THROW(text.GetString(), CIPException);
            EXPECT_THROW(text.GetDouble(), CIPException);
        }
    }
    CBlockReader reader;
    ASSERT_TRUE(reader.OpenMemory(image.Data(), image.Size(), m_text));
    EXPECT_THROW(ReadWhole(reader.GetBlock(), [&](std::uint64_t) { image.Header().sequence += 1000; }),
                 CIPException);
    // One write less than there are copies may pass, no more.
    int attempts = 0;
    ReadWhole(reader.GetBlock(), [&](std::uint64_t) { image.Header().sequence += ++attempts == 1 ? 7 : 6; });
    EXPECT_EQ(attempts, 2);
}

} // namespace
} // namespace alidade
