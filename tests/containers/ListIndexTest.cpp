#include "tests/containers/ListHarness.h"

#include <memory>
#include <new>

#include <gtest/gtest.h>

using namespace alidade;

namespace {

bool g_noMemory = false;

} // namespace

// Lists ask for their nodes this way.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    if (g_noMemory) {
        return nullptr;
    }
    try {
        return ::operator new(size);
    } catch (...) {
        return nullptr;
    }
}

TEST(ListIndex, Insert)
{
    const struct {
        const char* before;
        int cursor;
        int index;
        int result;
        const char* after;
    } cases[] = {
        {"", 0, -1, 0, "x"},       {"", 0, 0, 0, "x"},        {"", 0, -2, 0, "x"},
        {"", 0, 7, 0, "x"},        {"abc", 0, -1, 3, "abcx"}, {"abc", 2, 0, 0, "xabc"},
        {"abc", 0, 1, 1, "axbc"},  {"abc", 0, 2, 2, "abxc"},  {"abc", 0, 3, 3, "abcx"},
        {"abc", 1, 99, 3, "abcx"}, {"abc", 1, -9, 3, "abcx"}, {"abc", 0, -2, 1, "axbc"},
        {"abc", 1, -2, 2, "abxc"}, {"abc", 2, -2, 3, "abcx"}, {"a", 0, 0, 0, "xa"},
    };
    for (const auto& c : cases) {
        CLetters list;
        Fill(list, c.before, c.cursor);
        EXPECT_EQ(list.Insert(new char('x'), c.index), c.result) << c.before << " " << c.index;
        EXPECT_EQ(Letters(list), c.after) << c.before << " " << c.index;
        EXPECT_EQ(list.GetCursor(), c.result);
        ASSERT_NE(list.Current(), nullptr);
        EXPECT_EQ(*list.Current(), 'x');
    }
}

TEST(ListIndex, Remove)
{
    const struct {
        const char* before;
        int cursor;
        int index;
        char removed; // 0: none
        const char* after;
        int cursorAfter;
    } cases[] = {
        {"", 0, -1, 0, "", 0},        {"", 0, 0, 0, "", 0},         {"", 0, -2, 0, "", 0},
        {"abc", 0, -1, 'c', "ab", 1}, {"abc", 2, 0, 'a', "bc", 0},  {"abc", 0, 1, 'b', "ac", 1},
        {"abc", 0, 2, 'c', "ab", 1},  {"abc", 0, 3, 'c', "ab", 1},  {"abc", 0, -9, 'c', "ab", 1},
        {"abc", 0, -2, 'a', "bc", 0}, {"abc", 1, -2, 'b', "ac", 1}, {"abc", 2, -2, 'c', "ab", 1},
        {"a", 0, -1, 'a', "", 0},
    };
    for (const auto& c : cases) {
        CLetters list;
        Fill(list, c.before, c.cursor);
        const std::unique_ptr<char> removed(list.Remove(c.index));
        EXPECT_EQ(removed ? *removed : 0, c.removed) << c.before << " " << c.index;
        EXPECT_EQ(Letters(list), c.after) << c.before << " " << c.index;
        EXPECT_EQ(list.GetCursor(), c.cursorAfter);
        // On the item that followed, or on the new last one.
        EXPECT_EQ(list.Current() != nullptr ? *list.Current() : 0, c.after[c.cursorAfter]);
    }
}

TEST(ListIndex, AfterResetTheCursorMeansTheFirstItem)
{
    CLetters list;
    Fill(list, "abc", 2);
    list.Reset();
    EXPECT_EQ(list.Insert(new char('x'), -2), 1);
    EXPECT_EQ(Letters(list), "axbc");
    list.Reset();
    EXPECT_EQ(list.Delete(-2), 1);
    EXPECT_EQ(Letters(list), "xbc");
}

TEST(ListIndex, SwapTakesPlainIndicesOnly)
{
    const struct {
        int a, b, result;
        const char* after;
    } cases[] = {
        {0, 3, 1, "dbca"},  {2, 1, 1, "acbd"},  {1, 1, 1, "abcd"}, {0, 4, 0, "abcd"},
        {-1, 0, 0, "abcd"}, {0, -2, 0, "abcd"}, {4, 4, 0, "abcd"},
    };
    for (const auto& c : cases) {
        CLetters list;
        Fill(list, "abcd", 1);
        EXPECT_EQ(list.Swap(c.a, c.b), c.result) << c.a << " " << c.b;
        EXPECT_EQ(Letters(list), c.after) << c.a << " " << c.b;
        EXPECT_EQ(list.GetCursor(), 1);
        EXPECT_EQ(*list.Current(), c.after[1]); // the place keeps the cursor, not the item
    }
}

TEST(ListIndex, WithoutMemoryInsertFailsAndTheItemStaysTheCallers)
{
    CLetters list;
    Fill(list, "ab", 1);
    const auto item = std::make_unique<char>('x');
    g_noMemory = true;
    const int result = list.Insert(item.get(), 0);
    g_noMemory = false;
    EXPECT_EQ(result, -1);
    EXPECT_EQ(Letters(list), "ab");
    EXPECT_EQ(list.GetCursor(), 1);
}
