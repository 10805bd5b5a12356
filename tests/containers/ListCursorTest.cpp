#include "tests/containers/ListHarness.h"

#include <gtest/gtest.h>

using namespace alidade;

namespace {

static_assert(std::is_same_v<decltype(std::declval<CLetters&>().First()), char*>);
static_assert(std::is_same_v<decltype(std::declval<const CLetters&>().First()), const char*>);

char LetterOf(const char* item)
{
    return item != nullptr ? *item : '-';
}

/// Runs a walk, one letter a step (F first, L last, C current, N next, P previous, R reset), and gives
/// what each step answered; '-' for null, '.' for reset.
template <class List>
std::string Walk(List& list, std::string_view steps)
{
    std::string answers;
    for (const char step : steps) {
        switch (step) {
        case 'F':
            answers += LetterOf(list.First());
            break;
        case 'L':
            answers += LetterOf(list.Last());
            break;
        case 'C':
            answers += LetterOf(list.Current());
            break;
        case 'N':
            answers += LetterOf(list.Next());
            break;
        case 'P':
            answers += LetterOf(list.Previous());
            break;
        default:
            const_cast<std::remove_const_t<List>&>(list).Reset();
            answers += '.';
            break;
        }
    }
    return answers;
}

constexpr struct {
    const char* letters;
    const char* steps;
    const char* answers;
} kWalks[] = {
    {"", "FLCNPRNPC", "-----.---"},
    {"a", "FNNC", "a---"},
    {"abc", "FNNNC", "abc--"},
    {"abc", "LNN", "c-b"}, // past the end it resets, and what follows a reset is item 1
    {"abc", "FNNNNN", "abc-bc"},
    {"abc", "RNNN", ".bc-"},
    {"abc", "LPPPC", "cba--"}, // before the start too
    {"abc", "FPN", "a-b"},
    {"abc", "RPC", ".--"},
    {"abc", "LPNC", "cbcc"},
};

} // namespace

TEST(ListCursor, Walks)
{
    for (const auto& walk : kWalks) {
        CLetters list;
        Fill(list, walk.letters);
        EXPECT_EQ(Walk(list, walk.steps), walk.answers) << walk.letters << " " << walk.steps;
        list.First();
        const CLetters& same = list;
        EXPECT_EQ(Walk(same, walk.steps), walk.answers) << walk.letters << " " << walk.steps;
        TListIter<char> iter(list);
        EXPECT_EQ(Walk(iter, walk.steps), walk.answers) << walk.letters << " " << walk.steps;
    }
}

TEST(ListCursor, HasNextLooksOneAhead)
{
    CLetters list;
    EXPECT_FALSE(list.HasNext());
    Fill(list, "ab");
    EXPECT_TRUE(list.HasNext());
    list.Next();
    EXPECT_FALSE(list.HasNext());
    list.Next();
    EXPECT_TRUE(list.HasNext()); // reset: the index is 0 again
}

TEST(ListCursor, NodeAtReachesEveryIndexFromEveryOther)
{
    CLetters list;
    Fill(list, "abcdef");
    for (int from = 0; from < 6; ++from) {
        for (int to = 0; to < 6; ++to) {
            list.NodeAt(from);
            ASSERT_NE(list.NodeAt(to), nullptr);
            EXPECT_EQ(*list.NodeAt(to)->item, "abcdef"[to]) << from << " " << to;
            EXPECT_EQ(list.GetCursor(), to);
            list.Reset();
            EXPECT_EQ(*list.NodeAt(to)->item, "abcdef"[to]) << "from a reset cursor";
        }
    }
    EXPECT_EQ(*list.NodeAt(-1)->item, 'f');
    list.NodeAt(2);
    EXPECT_EQ(list.NodeAt(-2), list.CurrentNode());
    for (const int index : {6, 99, -3}) {
        EXPECT_EQ(list.NodeAt(index), nullptr) << index;
        EXPECT_EQ(list.GetCursor(), 2);
    }
    EXPECT_EQ(CLetters().NodeAt(0), nullptr);
    EXPECT_EQ(CLetters().NodeAt(-1), nullptr);
}

TEST(ListCursor, ReverseKeepsTheCursorOnItsItem)
{
    const struct {
        const char* before;
        int cursor;
        const char* after;
        int cursorAfter;
    } cases[] = {{"", 0, "", 0},
                 {"a", 0, "a", 0},
                 {"ab", 0, "ba", 1},
                 {"abcd", 1, "dcba", 2},
                 {"abcde", 2, "edcba", 2}};
    for (const auto& c : cases) {
        CLetters list;
        Fill(list, c.before, c.cursor);
        const char* item = list.Current();
        list.Reverse();
        EXPECT_EQ(Letters(list), c.after);
        EXPECT_EQ(list.GetCursor(), c.cursorAfter);
        EXPECT_EQ(list.Current(), item);
    }
    CLetters list;
    Fill(list, "abc", 2);
    list.Reset();
    list.Reverse();
    EXPECT_EQ(list.Current(), nullptr);
    EXPECT_EQ(list.GetCursor(), 2); // the index is turned whether or not the cursor stands on an item
    EXPECT_EQ(LetterOf(list.Next()), '-');
    EXPECT_EQ(LetterOf(list.Next()), 'b');
}

TEST(ListCursor, FreeIteratorsAreCountedAndMoveAlone)
{
    CLetters list;
    Fill(list, "abc");
    const int own = list.GetIteratorCount();
    {
        TListIter<char> first(list);
        TListIter<char> second(first);
        EXPECT_EQ(list.GetIteratorCount(), own + 2);
        first.Last();
        EXPECT_EQ(LetterOf(second.First()), 'a');
        EXPECT_EQ(LetterOf(list.Current()), 'a');
        EXPECT_EQ(LetterOf(first.Current()), 'c');
        list.Insert(new char('d'));
        EXPECT_EQ(first.Count(), 3); // as it was when the iterator was made
    }
    EXPECT_EQ(list.GetIteratorCount(), own);
}

TEST(ListCursor, FindStartsBehindTheIndexAndLeavesTheCursor)
{
    CLetters list;
    Fill(list, "ab");
    char* const twice = list.First();
    list.Insert(twice);
    list.NodeAt(1);
    const struct {
        const char* item;
        int behind;
        int found;
    } cases[] = {{twice, -1, 0},  {twice, -50, 0},         {twice, 0, 2},    {twice, 2, -1},
                 {twice, 99, -1}, {list.Current(), -1, 1}, {nullptr, -1, -1}};
    const CLetters& same = list;
    for (const auto& c : cases) {
        int index = c.behind;
        EXPECT_EQ(same.Find(c.item, index), c.found) << c.behind;
        EXPECT_EQ(index, c.found);
        EXPECT_EQ(list.GetCursor(), 1);
    }
    char stranger = 'a'; // the same value is not the same item
    int index = -1;
    EXPECT_EQ(list.Find(&stranger, index), -1);
    list.Remove(2);
}
