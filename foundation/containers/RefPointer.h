#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <utility>

namespace alidade {

/// What the handles of one object share. Made by malloc and released by free, so that no replaced operator
/// new or delete of a module comes between.
struct TRefBlock {
    static constexpr std::uint32_t kArray = 1;     // made by new[]
    static constexpr std::uint32_t kDestroyed = 2; // the object is gone
    static constexpr std::uint32_t kDetached = 4;  // the object is somebody else's now

    std::atomic<std::uint32_t> nRefs;
    std::atomic<std::uint32_t> nFlags;
};

/// Shared handle of an object: an object pointer and its reference block.
///
/// Copies share the object; the last one dropped destroys it, unless it was detached. The count is
/// thread-safe; one handle is reentrant. The object's type must have been complete where the first handle
/// was made, and have a virtual destructor if handles of a base are made from it.
template <class T, class = int, class = int>
class TRefPointer {
public:
    TRefPointer() = default;
    TRefPointer(std::nullptr_t) {}

    /// Takes ownership of a new object; `isArray` when it was made by new[]. A null pointer gives an empty
    /// handle. When no memory can be had for the block the object is destroyed.
    explicit TRefPointer(T* object, bool isArray = false)
    {
        if (object == nullptr) {
            return;
        }
        void* memory = std::malloc(sizeof(TRefBlock));
        if (memory == nullptr) {
            Destroy(object, isArray);
            throw std::bad_alloc();
        }
        m_pBlock = new (memory) TRefBlock{{1u}, {isArray ? TRefBlock::kArray : 0u}};
        m_pObject = object;
    }
    TRefPointer(const TRefPointer& other) noexcept : m_pObject(other.m_pObject), m_pBlock(other.m_pBlock)
    {
        AddRef();
    }
    TRefPointer(TRefPointer&& other) noexcept
        : m_pObject(std::exchange(other.m_pObject, nullptr)), m_pBlock(std::exchange(other.m_pBlock, nullptr))
    {
    }
    ~TRefPointer() { Release(); }

    /// The old object goes first, while the handle is empty.
    TRefPointer& operator=(const TRefPointer& other) noexcept { return Take(TRefPointer(other)); }
    TRefPointer& operator=(TRefPointer&& other) noexcept { return Take(TRefPointer(std::move(other))); }

    /// The object, or null when the handle is empty or the object is gone.
    T* Get() const noexcept { return IsValid() ? m_pObject : nullptr; }
    T* operator->() const noexcept { return Get(); }
    T& operator*() const noexcept { return *Get(); }
    explicit operator bool() const noexcept { return IsValid(); }

    bool IsValid() const noexcept
    {
        return m_pBlock != nullptr &&
               (m_pBlock->nFlags.load(std::memory_order_acquire) & TRefBlock::kDestroyed) == 0 &&
               m_pBlock->nRefs.load(std::memory_order_relaxed) != 0 && m_pObject != nullptr;
    }

    /// Number of handles, 0 for an empty one. A passing value when other threads hold handles.
    std::uint32_t GetRefCount() const noexcept
    {
        return m_pBlock != nullptr ? m_pBlock->nRefs.load(std::memory_order_relaxed) : 0;
    }

    /// Drops this handle; the handle is empty then.
    void Release() noexcept
    {
        TRefBlock* block = std::exchange(m_pBlock, nullptr);
        T* object = std::exchange(m_pObject, nullptr);
        if (block == nullptr || block->nRefs.fetch_sub(1, std::memory_order_acq_rel) != 1) {
            return;
        }
        const std::uint32_t flags = block->nFlags.load(std::memory_order_acquire);
        if ((flags & TRefBlock::kDetached) == 0 &&
            (block->nFlags.fetch_or(TRefBlock::kDestroyed, std::memory_order_acq_rel) &
             TRefBlock::kDestroyed) == 0) {
            Destroy(object, (flags & TRefBlock::kArray) != 0);
        }
        std::free(block);
    }

    /// Gives the object back to the caller, who owns it from now on: no handle destroys it any more, and
    /// those that were copied before still reach it. Null for a handle that is not valid.
    T* Detach() noexcept
    {
        T* object = Get();
        if (object != nullptr) {
            m_pBlock->nFlags.fetch_or(TRefBlock::kDetached, std::memory_order_acq_rel);
        }
        Release();
        return object;
    }

    friend bool operator==(const TRefPointer& a, const TRefPointer& b) noexcept { return a.Get() == b.Get(); }
    friend bool operator==(const TRefPointer& a, const T* b) noexcept { return a.Get() == b; }

private:
    void AddRef() noexcept
    {
        if (m_pBlock != nullptr) {
            m_pBlock->nRefs.fetch_add(1, std::memory_order_relaxed);
        }
    }
    TRefPointer& Take(TRefPointer&& taken) noexcept
    {
        Release();
        std::swap(m_pObject, taken.m_pObject);
        std::swap(m_pBlock, taken.m_pBlock);
        return *this;
    }
    static void Destroy(T* object, bool isArray)
    {
        static_assert(sizeof(T) > 0, "the object's type must be complete");
        if (isArray) {
            delete[] object;
        } else {
            delete object;
        }
    }

    template <class, class, class>
    friend class TConstRefPointer;

    T* m_pObject = nullptr;
    TRefBlock* m_pBlock = nullptr;
};

/// The same handle for read-only use. It shares the block with the TRefPointer that it was made from.
template <class T, class A = int, class B = int>
class TConstRefPointer {
public:
    TConstRefPointer() = default;
    TConstRefPointer(std::nullptr_t) {}
    explicit TConstRefPointer(T* object, bool isArray = false) : m_handle(object, isArray) {}
    TConstRefPointer(const TRefPointer<T, A, B>& other) noexcept : m_handle(other) {}

    const T* Get() const noexcept { return m_handle.Get(); }
    const T* operator->() const noexcept { return Get(); }
    const T& operator*() const noexcept { return *Get(); }
    explicit operator bool() const noexcept { return m_handle.IsValid(); }
    bool IsValid() const noexcept { return m_handle.IsValid(); }
    std::uint32_t GetRefCount() const noexcept { return m_handle.GetRefCount(); }
    void Release() noexcept { m_handle.Release(); }
    const T* Detach() noexcept { return m_handle.Detach(); }

    friend bool operator==(const TConstRefPointer& a, const TConstRefPointer& b) noexcept
    {
        return a.Get() == b.Get();
    }

private:
    TRefPointer<T, A, B> m_handle;
};

} // namespace alidade
