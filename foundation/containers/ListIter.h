#pragma once

#include "foundation/containers/RefPointer.h"
#include "foundation/platform/CriticalSection.h"

#include <atomic>
#include <type_traits>
#include <utility>

namespace alidade {

/// The lock of a list and the number of iterators on it.
class IListLocker {
public:
    /// The lock, for a caller that needs several operations to be one step; null without locking.
    CCriticalSection* GetLock() const { return m_pLock; }
    /// Free-standing iterators, and the list's own cursor as one more.
    int GetIteratorCount() const { return m_nIterators.load(std::memory_order_relaxed); }

    IListLocker(const IListLocker&) = delete;
    IListLocker& operator=(const IListLocker&) = delete;

protected:
    IListLocker() = default;
    ~IListLocker() { delete m_pLock; }

    void EnableLock(bool enable)
    {
        if (!enable) {
            delete std::exchange(m_pLock, nullptr);
        } else if (m_pLock == nullptr) {
            m_pLock = new CCriticalSection;
        }
    }

private:
    template <class, class, class, class, class>
    friend class TDoublyLinkedListIter;

    std::atomic<int> m_nIterators{0};
    CCriticalSection* m_pLock = nullptr;
};

/// A node of a list. The chain is half-circular: `next` of the last node is null, `prev` of the head is the
/// last node.
template <class ARG>
struct TListNode {
    ARG item;
    TListNode* prev;
    TListNode* next;
};

/// A cursor on a list. Even a const read moves it, so an iterator without the list's lock belongs to one
/// thread. Each operation gives null where there is no item.
template <class T, class ARG, class CONST_ARG, class = int, class = int>
class IListIter {
public:
    using Node = TListNode<ARG>;

    virtual ~IListIter() = default;
    virtual bool HasNext() const = 0;
    virtual CONST_ARG First() const = 0;
    virtual ARG First() = 0;
    virtual CONST_ARG Last() const = 0;
    virtual ARG Last() = 0;
    virtual CONST_ARG Current() const = 0;
    virtual ARG Current() = 0;
    /// Past the end, Reset and null. After Reset the index is 0, so the following Next gives item 1.
    virtual ARG Next() = 0;
    virtual CONST_ARG Next() const = 0;
    virtual ARG Previous() = 0;
    virtual CONST_ARG Previous() const = 0;
    virtual void Reset() = 0;
    /// Moves to the index (-1: the last one; -2: stays) and gives the node; a loop over rising indices is
    /// linear in all.
    virtual const Node* NodeAt(int index) const = 0;
    virtual Node* NodeAt(int index) = 0;
    virtual const Node* CurrentNode() const = 0;
    virtual Node* CurrentNode() = 0;
};

/// The cursor of a doubly linked list: built into the list, or free-standing beside it. A free-standing
/// one keeps the item count of the moment when it was made and is not defended against changes of the list.
template <class T, class ARG, class CONST_ARG, class A = int, class B = int>
class TDoublyLinkedListIter : public IListIter<T, ARG, CONST_ARG, A, B> {
public:
    using Node = TListNode<ARG>;

    TDoublyLinkedListIter(const TDoublyLinkedListIter& other)
        : m_nCount(other.Count()), m_nCursor(other.m_nCursor), m_pLocker(other.m_pLocker),
          m_pIterLock(other.m_pIterLock), m_ppHead(other.m_ppHead), m_pCurrent(other.m_pCurrent)
    {
        Attach(1);
    }
    TDoublyLinkedListIter& operator=(const TDoublyLinkedListIter&) = delete;
    ~TDoublyLinkedListIter() override { Attach(-1); }

    /// Number of items; of a list with a lock, a passing value.
    int Count() const { return m_nCount.load(std::memory_order_relaxed); }

    bool HasNext() const override
    {
        CS lock(m_pIterLock);
        return m_nCursor >= 0 && m_nCursor < Count() - 1;
    }
    CONST_ARG First() const override { return ItemAt(0); }
    ARG First() override { return ItemAt(0); }
    CONST_ARG Last() const override { return LastItem(); }
    ARG Last() override { return LastItem(); }
    CONST_ARG Current() const override { return CurrentItem(); }
    ARG Current() override { return CurrentItem(); }
    ARG Next() override { return Step(1); }
    CONST_ARG Next() const override { return Step(1); }
    ARG Previous() override { return Step(-1); }
    CONST_ARG Previous() const override { return Step(-1); }
    void Reset() override
    {
        CS lock(m_pIterLock);
        ResetCursor();
    }
    const Node* NodeAt(int index) const override { return MoveTo(index); }
    Node* NodeAt(int index) override { return MoveTo(index); }
    const Node* CurrentNode() const override { return MoveTo(-2); }
    Node* CurrentNode() override { return MoveTo(-2); }

    /// Index of the cursor; 0 also after Reset and in an empty list.
    int GetCursor() const
    {
        CS lock(m_pIterLock);
        return m_nCursor;
    }

    /// Index of the first entry identical to `item` behind `index` (below -1 counts as -1), or -1; stored
    /// in `index` too. The cursor does not move.
    int Find(CONST_ARG item, int& index) const
    {
        CS lock(m_pIterLock);
        const T* const object = ObjectOf(item);
        const int before = index;
        index = -1;
        int at = 0;
        for (const Node* node = *m_ppHead; node != nullptr; node = node->next, ++at) {
            if (at > before && ObjectOf(node->item) == object) {
                index = at;
                break;
            }
        }
        return index;
    }

protected:
    TDoublyLinkedListIter(int count, IListLocker* locker, Node** head)
        : m_nCount(count), m_pLocker(locker), m_pIterLock(locker->m_pLock), m_ppHead(head)
    {
        Attach(1);
    }

    // The rest is called under the lock.

    void ResetCursor() const
    {
        m_pCurrent = nullptr;
        m_nCursor = 0;
    }

    /// Moves the cursor to an index from 0 on; null when that is out of range.
    Node* Seek(int index) const
    {
        Node* const head = *m_ppHead;
        if (index < 0 || index >= Count() || head == nullptr) {
            return nullptr;
        }
        if (m_pCurrent == nullptr || index == 0) {
            m_pCurrent = head;
            m_nCursor = 0;
        }
        if (index == Count() - 1 && index != m_nCursor) {
            m_pCurrent = head->prev;
            m_nCursor = index;
        }
        for (; m_nCursor < index; ++m_nCursor) {
            m_pCurrent = m_pCurrent->next;
        }
        for (; m_nCursor > index; --m_nCursor) {
            m_pCurrent = m_pCurrent->prev;
        }
        return m_pCurrent;
    }

    void SetCount(int count) { m_nCount.store(count, std::memory_order_relaxed); }

private:
    static ARG ItemOf(const Node* node) { return node != nullptr ? node->item : ARG(nullptr); }
    template <class Item>
    static const T* ObjectOf(const Item& item)
    {
        if constexpr (std::is_pointer_v<Item>) {
            return item;
        } else {
            return item.Get();
        }
    }

    Node* MoveTo(int index) const
    {
        CS lock(m_pIterLock);
        return index == -2 ? m_pCurrent : Seek(index == -1 ? Count() - 1 : index);
    }
    ARG ItemAt(int index) const
    {
        CS lock(m_pIterLock);
        return ItemOf(Seek(index));
    }
    ARG LastItem() const
    {
        CS lock(m_pIterLock);
        return ItemOf(Seek(Count() - 1));
    }
    ARG CurrentItem() const
    {
        CS lock(m_pIterLock);
        return ItemOf(m_pCurrent);
    }
    ARG Step(int by) const
    {
        CS lock(m_pIterLock);
        Node* const node = Seek(m_nCursor + by);
        if (node == nullptr) {
            ResetCursor();
        }
        return ItemOf(node);
    }
    void Attach(int by) { m_pLocker->m_nIterators.fetch_add(by, std::memory_order_relaxed); }

    std::atomic<int> m_nCount; // atomic: the count is read without the lock

protected:
    mutable int m_nCursor = 0;
    IListLocker* m_pLocker;
    CCriticalSection* m_pIterLock; // as it was when the iterator was made
    Node** m_ppHead;
    mutable Node* m_pCurrent = nullptr;
};

} // namespace alidade
