#include "foundation/containers/RefPointer.h"

#include <atomic>
#include <memory>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

using namespace alidade;

namespace {

struct T_NODE;
using CNodeRef = TRefPointer<T_NODE, int, int>;
using CConstNodeRef = TConstRefPointer<T_NODE, int, int>;

/// Counts what was destroyed, and may hold a handle of another one.
struct T_NODE {
    static inline std::atomic<int> s_destroyed{0};
    ~T_NODE() { ++s_destroyed; }
    int value = 0;
    CNodeRef next;
};

static_assert(sizeof(CNodeRef) == 2 * sizeof(void*));
static_assert(!std::is_convertible_v<T_NODE*, CNodeRef>, "ownership is taken in writing only");
static_assert(std::is_same_v<decltype(*std::declval<CConstNodeRef&>()), const T_NODE&>);
static_assert(std::is_same_v<decltype(std::declval<CConstNodeRef&>().Get()), const T_NODE*>);

/// Its end looks at the handle that held it.
struct T_LOOKING {
    T_LOOKING(const TRefPointer<T_LOOKING>& holder, int& count) : handle(holder), timesEmpty(count) {}
    ~T_LOOKING() { timesEmpty += !handle.IsValid(); }
    const TRefPointer<T_LOOKING>& handle;
    int& timesEmpty;
};

class RefPointer : public testing::Test {
protected:
    void SetUp() override { T_NODE::s_destroyed = 0; }
};

} // namespace

TEST_F(RefPointer, AnEmptyHandleIsNullInEveryWay)
{
    for (CNodeRef handle : {CNodeRef(), CNodeRef(nullptr), CNodeRef(static_cast<T_NODE*>(nullptr))}) {
        EXPECT_FALSE(handle);
        EXPECT_FALSE(handle.IsValid());
        EXPECT_EQ(handle.Get(), nullptr);
        EXPECT_EQ(handle, nullptr);
        EXPECT_EQ(handle.GetRefCount(), 0u);
        EXPECT_EQ(handle.Detach(), nullptr);
        handle.Release();
        EXPECT_EQ(CConstNodeRef(handle), CConstNodeRef());
    }
}

TEST_F(RefPointer, TheLastHandleDestroysTheObject)
{
    CNodeRef first(new T_NODE);
    {
        CNodeRef second(first);
        CConstNodeRef third(first);
        EXPECT_EQ(first.GetRefCount(), 3u);
        EXPECT_EQ(second, first);
        EXPECT_EQ(third.Get(), first.Get());
        CNodeRef moved(std::move(second));
        EXPECT_EQ(first.GetRefCount(), 3u);
        EXPECT_FALSE(second);
    }
    EXPECT_EQ(first.GetRefCount(), 1u);
    EXPECT_EQ(T_NODE::s_destroyed, 0);
    first.Release();
    EXPECT_FALSE(first);
    EXPECT_EQ(T_NODE::s_destroyed, 1);
}

TEST_F(RefPointer, AssignmentDropsTheOldObjectAndSurvivesItself)
{
    CNodeRef a(new T_NODE);
    CNodeRef b(new T_NODE);
    a = b;
    EXPECT_EQ(T_NODE::s_destroyed, 1);
    EXPECT_EQ(a.GetRefCount(), 2u);
    CNodeRef& same = a;
    a = same;
    EXPECT_EQ(a.GetRefCount(), 2u);
    a = std::move(same);
    EXPECT_EQ(a, b);
    a = nullptr;
    EXPECT_EQ(b.GetRefCount(), 1u);

    // The handle on the right lives in the object that the assignment drops.
    CNodeRef chain(new T_NODE);
    chain->next = CNodeRef(new T_NODE);
    chain->next->value = 7;
    chain = chain->next;
    EXPECT_EQ(chain->value, 7);
    EXPECT_EQ(T_NODE::s_destroyed, 2);
}

TEST_F(RefPointer, TheOldObjectGoesWhileTheHandleIsEmpty)
{
    int timesEmpty = 0;
    TRefPointer<T_LOOKING> handle;
    for (int i = 0; i < 3; ++i) {
        const TRefPointer<T_LOOKING> next(new T_LOOKING(handle, timesEmpty));
        handle = next;
    }
    handle = TRefPointer<T_LOOKING>(new T_LOOKING(handle, timesEmpty));
    handle.Release();
    EXPECT_EQ(timesEmpty, 4);
}

TEST_F(RefPointer, ADetachedObjectOutlivesItsHandles)
{
    CNodeRef first(new T_NODE);
    first->value = 5;
    CNodeRef second(first);
    std::unique_ptr<T_NODE> object(first.Detach());
    EXPECT_FALSE(first);
    ASSERT_TRUE(second); // a copy made before still reaches it
    EXPECT_EQ(second->value, 5);
    EXPECT_EQ(second.Get(), object.get());
    CNodeRef third(second);
    second.Release();
    third.Release();
    EXPECT_EQ(T_NODE::s_destroyed, 0);
    EXPECT_EQ(object->value, 5);
    object.reset();
    EXPECT_EQ(T_NODE::s_destroyed, 1);
}

TEST_F(RefPointer, AnArrayIsDestroyedElementByElement)
{
    {
        CNodeRef handle(new T_NODE[3], true);
        handle.Get()[2].value = 9;
        CNodeRef copy(handle);
        handle.Release();
        EXPECT_EQ(copy.Get()[2].value, 9);
        EXPECT_EQ(T_NODE::s_destroyed, 0);
    }
    EXPECT_EQ(T_NODE::s_destroyed, 3);
}

TEST_F(RefPointer, ThreadsThatCopyAndDropDestroyTheObjectOnce)
{
    for (int round = 0; round < 10; ++round) {
        T_NODE::s_destroyed = 0;
        CNodeRef handle(new T_NODE);
        std::atomic<bool> go{false};
        std::vector<std::thread> threads;
        for (int t = 0; t < 3; ++t) {
            threads.emplace_back([own = handle, &go]() mutable {
                while (!go) {
                    std::this_thread::yield();
                }
                for (int i = 0; i < 20000; ++i) {
                    CNodeRef copy(own);
                    CConstNodeRef constant(copy);
                    EXPECT_TRUE(constant.IsValid());
                }
                own.Release();
            });
        }
        handle.Release();
        go = true;
        for (std::thread& thread : threads) {
            thread.join();
        }
        ASSERT_EQ(T_NODE::s_destroyed, 1);
    }
}
