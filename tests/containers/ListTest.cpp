#include "tests/containers/ListHarness.h"
#include "tests/support/LockProbe.h"

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

using namespace alidade;

namespace {

/// Counts the objects alive.
struct T_COUNTED {
    static inline std::atomic<int> s_alive{0};
    explicit T_COUNTED(int v = 0) : value(v) { ++s_alive; }
    ~T_COUNTED() { --s_alive; }
    T_COUNTED(const T_COUNTED&) = delete;
    int value;
};

using CCountedRef = TRefPointer<T_COUNTED, int, int>;

} // namespace

TEST(List, AnOwnerDestroysWhatItDeletesAndLeavesWhatItRemoves)
{
    {
        TList<T_COUNTED> list;
        EXPECT_TRUE(list.IsOwner());
        for (int i = 0; i < 5; ++i) {
            list.Insert(new T_COUNTED(i));
        }
        const std::unique_ptr<T_COUNTED> removed(list.Remove(1));
        EXPECT_EQ(removed->value, 1);
        EXPECT_EQ(list.Delete(0), 1);
        EXPECT_EQ(T_COUNTED::s_alive, 4);
        list.Insert(nullptr, 0); // a null is an item like others
        EXPECT_EQ(list.Delete(0), 1);
        list.DeleteAll();
        EXPECT_EQ(T_COUNTED::s_alive, 1);
        EXPECT_EQ(list.Count(), 0);
        EXPECT_EQ(list.Delete(), 0);

        T_COUNTED mine;
        list.Insert(&mine);
        list.RemoveAll();
        EXPECT_EQ(list.Count(), 0);
        EXPECT_EQ(list.First(), nullptr);
        list.Insert(new T_COUNTED);
    }
    EXPECT_EQ(T_COUNTED::s_alive, 0);
}

TEST(List, DestructionThroughEitherBaseDestroysTheItems)
{
    IListDefaultData<T_COUNTED, T_COUNTED*, const T_COUNTED*>* data = new TList<T_COUNTED>;
    data->Insert(new T_COUNTED);
    delete data;
    auto* list = new TList<T_COUNTED>;
    list->Insert(new T_COUNTED);
    IListIter<T_COUNTED, T_COUNTED*, const T_COUNTED*>* iter = list;
    delete iter;
    EXPECT_EQ(T_COUNTED::s_alive, 0);
}

TEST(List, ItemsPassFromListToList)
{
    CLetters to;
    CLetters from(true);
    Fill(to, "ab", 0);
    Fill(from, "cd");
    from.Insert(nullptr);
    from.Insert(new char('e'));
    to.TakeFrom(from);
    EXPECT_EQ(from.Count(), 0);
    EXPECT_EQ(to.Count(), 6);
    EXPECT_EQ(to.NodeAt(4)->item, nullptr); // nulls come along
    to.Delete(4);
    EXPECT_EQ(Letters(to), "abcde");
    to.TakeFrom(from);
    to.TakeFrom(to);
    EXPECT_EQ(Letters(to), "abcde");

    CLetters moved(std::move(to));
    EXPECT_EQ(Letters(moved), "abcde");
    EXPECT_EQ(Letters(to), "");

    auto* node = moved.RemoveNode(1);
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(*moved.Current(), 'c');
    EXPECT_EQ(from.InsertNode(node), 0);
    EXPECT_EQ(Letters(moved) + "|" + Letters(from), "acde|b");
    from.InsertNode(moved.RemoveNode(), 0);
    EXPECT_EQ(Letters(moved) + "|" + Letters(from), "acd|eb");
    EXPECT_EQ(CLetters().RemoveNode(), nullptr);
}

TEST(List, ARefListHoldsOneReferenceAnItem)
{
    {
        TRefList<T_COUNTED, int, int> list(true);
        EXPECT_FALSE(list.IsOwner());
        CCountedRef kept(new T_COUNTED(1));
        list.Insert(kept);
        list.Insert(CCountedRef(new T_COUNTED(2)));
        list.Insert(CCountedRef(new T_COUNTED(3)), 0);
        EXPECT_EQ(kept.GetRefCount(), 2u);
        EXPECT_EQ(list.First()->value, 3);
        const auto& same = list;
        static_assert(std::is_same_v<decltype(same.First()), TConstRefPointer<T_COUNTED, int, int>>);
        EXPECT_EQ(same.Last()->value, 2);

        int index = -1;
        EXPECT_EQ(list.Find(kept, index), 1);
        CCountedRef taken = list.Remove(1);
        EXPECT_EQ(taken, kept);
        EXPECT_EQ(kept.GetRefCount(), 2u);
        taken.Release();
        EXPECT_EQ(list.Delete(), 1);
        EXPECT_EQ(T_COUNTED::s_alive, 2);
        list.Insert(kept);
        list.DeleteAll(); // not an owner: the references go
        EXPECT_EQ(T_COUNTED::s_alive, 1);
        EXPECT_EQ(kept.GetRefCount(), 1u);
        EXPECT_FALSE(list.Remove().IsValid());
        list.Insert(kept);
    }
    EXPECT_EQ(T_COUNTED::s_alive, 0);
}

TEST(List, TheLockGoesOnAndOffAndOperationsNestInIt)
{
    CLetters list;
    EXPECT_EQ(list.GetLock(), nullptr);
    list.EnableLock(true);
    CCriticalSection* const lock = list.GetLock();
    ASSERT_NE(lock, nullptr);
    list.EnableLock(true);
    EXPECT_EQ(list.GetLock(), lock);
    {
        CS together(lock);
        Fill(list, "ba");
        list.Sort();
        list.Reverse();
        list.Swap(0, 1);
        EXPECT_FALSE(IsFreeForOthers(*lock));
    }
    EXPECT_TRUE(IsFreeForOthers(*lock)); // each operation gave it back
    EXPECT_EQ(Letters(list), "ab");
    list.EnableLock(false);
    EXPECT_EQ(list.GetLock(), nullptr);
    EXPECT_EQ(Letters(list), "ab");
    EXPECT_NE((TRefList<T_COUNTED>(true).GetLock()), nullptr);
}

TEST(List, EveryOperationTakesTheLock)
{
    struct {
        const char* name;
        void (*run)(CLetters&);
    } const operations[] = {
        {"Insert", [](CLetters& list) { list.Insert(new char('x')); }},
        {"Delete", [](CLetters& list) { list.Delete(); }},
        {"Swap", [](CLetters& list) { list.Swap(0, 1); }},
        {"Reverse", [](CLetters& list) { list.Reverse(); }},
        {"Sort", [](CLetters& list) { list.Sort(); }},
        {"HasNext", [](CLetters& list) { list.HasNext(); }},
        {"First", [](CLetters& list) { list.First(); }},
        {"Last", [](CLetters& list) { list.Last(); }},
        {"Current", [](CLetters& list) { list.Current(); }},
        {"Next", [](CLetters& list) { list.Next(); }},
        {"Previous", [](CLetters& list) { list.Previous(); }},
        {"Reset", [](CLetters& list) { list.Reset(); }},
        {"NodeAt", [](CLetters& list) { list.NodeAt(1); }},
        {"CurrentNode", [](CLetters& list) { list.CurrentNode(); }},
        {"GetCursor", [](CLetters& list) { list.GetCursor(); }},
        {"Find",
         [](CLetters& list) {
             int i = -1;
             list.Find(nullptr, i);
         }},
        {"DeleteAll", [](CLetters& list) { list.DeleteAll(); }},
        {"RemoveAll", [](CLetters& list) { list.RemoveAll(); }},
    };
    CLetters list(true);
    Fill(list, "cab");
    for (const auto& operation : operations) {
        const std::uint32_t before = list.GetLock()->CountRequests();
        operation.run(list);
        EXPECT_GT(list.GetLock()->CountRequests(), before) << operation.name;
    }
}

TEST(List, ThreadsShareAListWithALock)
{
    constexpr int kEach = 20000;
    TList<int> list(true);
    std::atomic<int> removed{0};
    std::atomic<int> started{0};
    const auto startTogether = [&] {
        for (++started; started < 4;) {
            std::this_thread::yield();
        }
    };
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t) {
        threads.emplace_back([&] {
            startTogether();
            for (int i = 0; i < kEach; ++i) {
                list.Insert(new int(i), i % 3 - 1);
            }
        });
        threads.emplace_back([&] {
            startTogether();
            for (int i = 0; i < kEach; ++i) {
                removed += list.Delete(i % 2 - 1);
                EXPECT_GE(list.Count(), 0);
                list.Last();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(list.Count(), 2 * kEach - removed);
    int counted = 0;
    for ([[maybe_unused]] const int* item : list) {
        ++counted;
    }
    EXPECT_EQ(counted, list.Count());
}

namespace {

/// An item whose end looks at the lock of the list that it was in.
struct T_LOOKING {
    TList<T_LOOKING>& list;
    int& timesFree;
    ~T_LOOKING() { timesFree += IsFreeForOthers(*list.GetLock()); }
};

} // namespace

TEST(List, ItemsAreDestroyedWhenTheLockWasGivenBack)
{
    int timesFree = 0;
    TList<T_LOOKING> list(true);
    for (int i = 0; i < 3; ++i) {
        list.Insert(new T_LOOKING{list, timesFree});
    }
    list.Delete();
    list.DeleteAll();
    EXPECT_EQ(timesFree, 3);
}
