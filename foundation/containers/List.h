#pragma once

#include "foundation/containers/ListIter.h"
#include "foundation/containers/ListSort.h"

#include <cstddef>
#include <iterator>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace alidade {

/// What every list can do.
///
/// Index rule of Insert, Remove and Delete: -1, or any index not below the count, is the last position; -2
/// is the cursor; other values address that position. Each takes the list's lock when there is one, and
/// items are destroyed after it was given back.
template <class T, class ARG, class CONST_ARG, class = int, class = int>
class IListDefaultData : public IListLocker {
public:
    virtual ~IListDefaultData() = default;

    /// Puts `item` behind the indicated position (-1: at the end; -2: behind the cursor; k: at k, so that 0
    /// is before the head). The cursor then stands on it.
    /// @return the item's index, or -1 when no memory can be had
    virtual int Insert(ARG item, int index = -1) = 0;
    /// Unlinks an item and returns it, or null from an empty list. The cursor stands on the item that
    /// followed, or on the new last one.
    virtual ARG Remove(int index = -1) = 0;
    /// Remove, and an owner destroys the item. 1 when there was one.
    virtual int Delete(int index = -1) = 0;
    /// Empties the list; the items of a list of pointers stay alive.
    virtual void RemoveAll() = 0;
    /// Empties the list; an owner destroys the items.
    virtual void DeleteAll() = 0;
    /// Exchanges the items at two indices (no special values). 0 when one is out of range. The cursor
    /// stays where it is.
    virtual int Swap(int a, int b) = 0;
    /// Reverses the order. The cursor stays on its item; after Reset its index is the last one then, so that
    /// the following Next is past the end.
    virtual void Reverse() = 0;

    bool IsOwner() const { return m_bOwner; }

protected:
    explicit IListDefaultData(bool isOwner) : m_bOwner(isOwner) {}

    bool m_bOwner;
};

/// A list is its own iterator: it has a built-in cursor.
template <class T, class ARG, class CONST_ARG, class A, class B, class Iter>
class IList : public IListDefaultData<T, ARG, CONST_ARG, A, B>, public Iter {
public:
    using Node = typename Iter::Node;

    /// Turns the lock on (nothing happens when it is on) or off, for the list itself: iterators made before
    /// keep what they found. Not while others use the list.
    void EnableLock(bool enable)
    {
        IListLocker::EnableLock(enable);
        this->m_pIterLock = this->GetLock();
    }

protected:
    IList(bool isOwner, Node** head)
        : IListDefaultData<T, ARG, CONST_ARG, A, B>(isOwner), Iter(0, static_cast<IListLocker*>(this), head)
    {
    }
};

/// Forward iterator over the items that leaves the cursor alone, for range-based loops. Take the list's
/// lock around the loop when others use the list.
template <class ARG>
class TListRangeIter {
public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = ARG;
    using difference_type = std::ptrdiff_t;
    using pointer = const ARG*;
    using reference = const ARG&;

    explicit TListRangeIter(const TListNode<ARG>* node = nullptr) : m_pNode(node) {}
    const ARG& operator*() const { return m_pNode->item; }
    TListRangeIter& operator++()
    {
        m_pNode = m_pNode->next;
        return *this;
    }
    TListRangeIter operator++(int)
    {
        TListRangeIter old = *this;
        ++*this;
        return old;
    }
    bool operator==(const TListRangeIter&) const = default;

private:
    const TListNode<ARG>* m_pNode;
};

template <class T, class ARG, class CONST_ARG, class A = int, class B = int>
class TDoublyLinkedList
    : public IList<T, ARG, CONST_ARG, A, B, TDoublyLinkedListIter<T, ARG, CONST_ARG, A, B>> {
public:
    using Base = IList<T, ARG, CONST_ARG, A, B, TDoublyLinkedListIter<T, ARG, CONST_ARG, A, B>>;
    using Node = TListNode<ARG>;
    using Base::Count;

    ~TDoublyLinkedList() override { TDoublyLinkedList::DeleteAll(); }

    int Insert(ARG item, int index = -1) override
    {
        Node* const node = new (std::nothrow) Node{std::move(item), nullptr, nullptr};
        return node != nullptr ? InsertNode(node, index) : -1;
    }

    ARG Remove(int index = -1) override
    {
        ARG item(nullptr);
        Take(index, item);
        return item;
    }

    int Delete(int index = -1) override
    {
        ARG item(nullptr);
        if (!Take(index, item)) {
            return 0;
        }
        if (this->m_bOwner) {
            Destroy(item);
        }
        return 1;
    }

    /// Insert of a node that RemoveNode gave, from a list of the same kind: so an item passes from list to
    /// list without any memory. The list owns the node then.
    int InsertNode(Node* node, int index = -1)
    {
        CS lock(this->GetLock());
        int at = index < 0 || index > Count() ? Count() : index;
        if (index == -2 && Count() > 0) {
            at = this->m_nCursor + 1;
        }
        Link(node, at);
        return at;
    }
    /// Remove of a whole node, which the caller owns then, or null from an empty list.
    Node* RemoveNode(int index = -1)
    {
        CS lock(this->GetLock());
        const int last = Count() - 1;
        Node* const node = this->Seek(index == -2                 ? this->m_nCursor
                                      : index < 0 || index > last ? last
                                                                  : index);
        if (node != nullptr) {
            Unlink(node);
        }
        return node;
    }

    void RemoveAll() override { Clear(false); }
    void DeleteAll() override { Clear(this->m_bOwner); }

    int Swap(int a, int b) override
    {
        CS lock(this->GetLock());
        if (a < 0 || b < 0 || a >= Count() || b >= Count()) {
            return 0;
        }
        if (a != b) {
            std::swap(Walk(a)->item, Walk(b)->item);
        }
        return 1;
    }

    void Reverse() override
    {
        CS lock(this->GetLock());
        if (Count() < 2) {
            return;
        }
        Node* const oldHead = m_pHead;
        Node* const oldTail = m_pHead->prev;
        for (Node* node = oldHead; node != nullptr;) {
            Node* const following = node->next;
            std::swap(node->next, node->prev);
            node = following;
        }
        oldHead->next = nullptr;
        oldTail->prev = oldHead;
        m_pHead = oldTail;
        this->m_nCursor = Count() - this->m_nCursor - 1;
    }

    /// Sorts the items ascending by TListOrder<T>; null items come first. Among equal items the order is
    /// unspecified. The cursor returns to the head. Below 500000 items by introspective sort, from there on
    /// by a parallel merge sort.
    /// @throws std::bad_alloc, with the list as it was
    void Sort()
    {
        CS lock(this->GetLock());
        std::vector<ARG> items;
        items.reserve(static_cast<std::size_t>(Count()));
        for (const Node* node = m_pHead; node != nullptr; node = node->next) {
            items.push_back(node->item);
        }
        detail::SortItems<T>(items);
        auto item = items.begin();
        for (Node* node = m_pHead; node != nullptr; node = node->next) {
            node->item = std::move(*item++);
        }
        this->m_pCurrent = m_pHead;
        this->m_nCursor = 0;
    }

    TListRangeIter<ARG> begin() const { return TListRangeIter<ARG>(m_pHead); }
    TListRangeIter<ARG> end() const { return TListRangeIter<ARG>(); }

protected:
    explicit TDoublyLinkedList(bool isOwner) : Base(isOwner, &m_pHead) {}

    /// Puts the whole chain of another list behind this one's. Allocates nothing.
    void Splice(TDoublyLinkedList& other) noexcept
    {
        if (&other == this) {
            return;
        }
        int count = 0;
        Node* const chain = other.TakeChain(count);
        if (chain == nullptr) {
            return;
        }
        CS lock(this->GetLock());
        if (m_pHead == nullptr) {
            m_pHead = chain;
        } else {
            Node* const oldTail = m_pHead->prev;
            m_pHead->prev = chain->prev;
            chain->prev = oldTail;
            oldTail->next = chain;
        }
        this->SetCount(Count() + count);
    }

    Node* m_pHead = nullptr;

private:
    Node* Walk(int index) const
    {
        Node* node = m_pHead;
        while (index-- > 0) {
            node = node->next;
        }
        return node;
    }

    /// Links the node at `at` (0 to the count) and puts the cursor on it.
    void Link(Node* node, int at)
    {
        if (m_pHead == nullptr) {
            node->prev = node;
            m_pHead = node;
        } else if (at == 0) {
            node->next = m_pHead;
            node->prev = m_pHead->prev;
            m_pHead->prev = node;
            m_pHead = node;
        } else {
            Node* const before = this->Seek(at - 1);
            node->prev = before;
            node->next = before->next;
            (before->next != nullptr ? before->next->prev : m_pHead->prev) = node;
            before->next = node;
        }
        this->SetCount(Count() + 1);
        this->m_pCurrent = node;
        this->m_nCursor = at;
    }

    /// Unlinks the node under the cursor and moves the cursor to the node that followed.
    void Unlink(Node* node)
    {
        Node* const following = node->next;
        (following != nullptr ? following->prev : m_pHead->prev) = node->prev;
        if (node == m_pHead) {
            m_pHead = following;
        } else {
            node->prev->next = following;
        }
        node->prev = node->next = nullptr;
        this->SetCount(Count() - 1);
        this->m_pCurrent = following;
        if (following == nullptr && m_pHead != nullptr) {
            this->m_pCurrent = m_pHead->prev;
            this->m_nCursor = Count() - 1;
        }
    }

    bool Take(int index, ARG& item)
    {
        Node* const node = RemoveNode(index);
        if (node == nullptr) {
            return false;
        }
        item = std::move(node->item);
        delete node;
        return true;
    }

    static void Destroy([[maybe_unused]] ARG& item)
    {
        if constexpr (std::is_pointer_v<ARG>) {
            delete item;
        }
    }

    Node* TakeChain(int& count) noexcept
    {
        CS lock(this->GetLock());
        count = Count();
        this->SetCount(0);
        this->ResetCursor();
        return std::exchange(m_pHead, nullptr);
    }

    void Clear(bool destroy)
    {
        int count = 0;
        for (Node* node = TakeChain(count); node != nullptr;) {
            Node* const following = node->next;
            if (destroy) {
                Destroy(node->item);
            }
            delete node;
            node = following;
        }
    }
};

/// A list of pointers that owns its items. It does not lock unless told to.
template <class T, class A = int, class B = int>
class TList : public TDoublyLinkedList<T, T*, const T*, A, B> {
public:
    explicit TList(bool lock = false) : TDoublyLinkedList<T, T*, const T*, A, B>(true)
    {
        this->EnableLock(lock);
    }
    /// Takes the items of another list; the new list does not lock.
    TList(TList&& other) noexcept : TList() { this->Splice(other); }

    /// Moves the items of another list to the end of this one, in order. The other one is empty then.
    void TakeFrom(TList& other) noexcept { this->Splice(other); }

private:
    template <class, class, class>
    friend class TListIter;
};

/// A free-standing iterator on a TList.
template <class T, class A = int, class B = int>
class TListIter : public TDoublyLinkedListIter<T, T*, const T*, A, B> {
public:
    explicit TListIter(TList<T, A, B>& list)
        : TDoublyLinkedListIter<T, T*, const T*, A, B>(list.Count(), &list, &list.m_pHead)
    {
    }
};

/// A list of handles; dropping a handle is enough, so it owns nothing.
template <class T, class A = int, class B = int>
class TRefList : public TDoublyLinkedList<T, TRefPointer<T, A, B>, TConstRefPointer<T, A, B>, A, B> {
public:
    explicit TRefList(bool lock = false)
        : TDoublyLinkedList<T, TRefPointer<T, A, B>, TConstRefPointer<T, A, B>, A, B>(false)
    {
        this->EnableLock(lock);
    }
};

} // namespace alidade
