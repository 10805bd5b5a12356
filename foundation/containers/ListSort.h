#pragma once

#include "foundation/containers/ListOrder.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>
#include <vector>

namespace alidade::detail {

constexpr std::ptrdiff_t kInsertionLimit = 21; // shorter ranges are finished by insertion
constexpr std::size_t kParallelLimit = 500000; // lists from here on are sorted by the parallel merge
constexpr std::ptrdiff_t kMergeLeaf = 2000;    // ranges up to here are sorted by the first method
constexpr int kParallelDepth = 2;              // deeper ranges are sorted in sequence

template <class Iter, class Less>
void InsertionSort(Iter first, Iter last, Less less)
{
    for (Iter i = first; i != last; ++i) {
        auto value = std::move(*i);
        Iter hole = i;
        for (; hole != first && less(value, *(hole - 1)); --hole) {
            *hole = std::move(*(hole - 1));
        }
        *hole = std::move(value);
    }
}

/// Puts the median of the first, middle and last value at `first`.
template <class Iter, class Less>
void MedianToFront(Iter first, Iter last, Less less)
{
    const Iter middle = first + (last - first) / 2;
    const Iter back = last - 1;
    Iter median = first;
    if (less(*first, *middle)) {
        median = less(*middle, *back) ? middle : less(*first, *back) ? back : first;
    } else {
        median = less(*first, *back) ? first : less(*middle, *back) ? back : middle;
    }
    std::iter_swap(first, median);
}

/// Partitions around the median of three; returns where that comes to stand.
template <class Iter, class Less>
Iter Partition(Iter first, Iter last, Less less)
{
    MedianToFront(first, last, less);
    Iter low = first + 1;
    Iter high = last - 1;
    for (;;) {
        // Both stop at a value equal to the median, so that many equal values are cut in halves too.
        while (low <= high && less(*low, *first)) {
            ++low;
        }
        while (low <= high && less(*first, *high)) {
            --high;
        }
        if (low >= high) {
            break;
        }
        std::iter_swap(low++, high--);
    }
    std::iter_swap(first, high);
    return high;
}

/// Introspective sort: D. R. Musser, "Introspective Sorting and Selection Algorithms", 1997. `limit` bounds
/// the depth: it starts at n - 1 and shrinks to three quarters with each partition.
template <class Iter, class Less>
void IntroSort(Iter first, Iter last, std::ptrdiff_t limit, Less less)
{
    while (last - first >= kInsertionLimit) {
        if (limit < 1) {
            std::make_heap(first, last, less);
            std::sort_heap(first, last, less);
            return;
        }
        const Iter middle = Partition(first, last, less);
        limit = limit / 2 + limit / 2 / 2;
        IntroSort(first, middle, limit, less);
        first = middle + 1;
    }
    InsertionSort(first, last, less);
}

/// Joins four sorted parts; among equal values the earlier part wins.
template <class Value, class Less>
void MergeFour(Value* const bounds[5], Value* out, Less less)
{
    Value* at[4] = {bounds[0], bounds[1], bounds[2], bounds[3]};
    const auto isOver = [&](int part) { return at[part] == bounds[part + 1]; };
    const auto winner = [&](int a, int b) {
        if (isOver(a) || isOver(b)) {
            return isOver(a) ? b : a;
        }
        return less(*at[b], *at[a]) ? b : a;
    };
    // A tournament of two pairs: each step replays only the pair that gave the last value.
    int low = winner(0, 1);
    int high = winner(2, 3);
    for (std::ptrdiff_t left = bounds[4] - bounds[0]; left > 0; --left) {
        const int from = winner(low, high);
        *out++ = std::move(*at[from]++);
        if (from == low) {
            low = winner(0, 1);
        } else {
            high = winner(2, 3);
        }
    }
}

/// Sorts four parts, on several threads near the top, and merges them. `scratch` has room for `count` values.
template <class Value, class Less>
void MergeSort(Value* first, std::ptrdiff_t count, Value* scratch, int depth, Less less)
{
    if (count <= kMergeLeaf) {
        IntroSort(first, first + count, count - 1, less);
        return;
    }
    Value* const bounds[5] = {first, first + count / 4, first + count / 2, first + count * 3 / 4,
                              first + count};
#pragma omp parallel for schedule(dynamic) if (depth < kParallelDepth)
    for (int part = 0; part < 4; ++part) {
        MergeSort(bounds[part], bounds[part + 1] - bounds[part], scratch + (bounds[part] - first), depth + 1,
                  less);
    }
    MergeFour(bounds, scratch, less);
    std::move(scratch, scratch + count, first);
}

template <class Value, class Less>
void SortArray(std::vector<Value>& values, Less less)
{
    const auto count = static_cast<std::ptrdiff_t>(values.size());
    if (values.size() < kParallelLimit) {
        IntroSort(values.begin(), values.end(), count - 1, less);
        return;
    }
    std::vector<Value> scratch(values.size());
    MergeSort(values.data(), count, scratch.data(), 0, less);
}

/// An item beside its key, so that most comparisons need not reach for the object.
template <class Key, class ARG>
struct TKeyedItem {
    Key key{};
    ARG item = nullptr;
};

/// Sorts items (pointers or handles of T) ascending by TListOrder<T>, nulls first.
template <class T, class ARG>
void SortItems(std::vector<ARG>& items)
{
    const auto less = [](const ARG& a, const ARG& b) {
        if (a == nullptr || b == nullptr) {
            return a == nullptr && b != nullptr;
        }
        return TListOrder<T>::Less(*a, *b);
    };
    if constexpr (requires(const T& object) { TListOrder<T>::Key(object); }) {
        using Entry = TKeyedItem<decltype(TListOrder<T>::Key(std::declval<const T&>())), ARG>;
        std::vector<Entry> entries(items.size());
        for (std::size_t i = 0; i < items.size(); ++i) {
            if (items[i] != nullptr) {
                entries[i].key = TListOrder<T>::Key(*items[i]);
            }
            entries[i].item = std::move(items[i]);
        }
        SortArray(entries, [less](const Entry& a, const Entry& b) {
            return a.key != b.key ? a.key < b.key : less(a.item, b.item);
        });
        std::transform(entries.begin(), entries.end(), items.begin(),
                       [](Entry& entry) { return std::move(entry.item); });
    } else {
        SortArray(items, less);
    }
}

} // namespace alidade::detail
