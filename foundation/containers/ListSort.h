#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace alidade {

template <class T>
struct TListOrder;

namespace detail {

constexpr std::ptrdiff_t kInsertionLimit = 21;   // shorter ranges are finished by insertion
constexpr std::size_t kParallelLimit = 500000;   // lists from here on are sorted by the parallel merge
constexpr std::ptrdiff_t kMergeLeaf = 2000;      // parts up to here are sorted by the first method
constexpr int kParallelDepth = 2;

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

/// Median of the first, middle and last value, which is left at `first`.
template <class Iter, class Less>
void MedianToFront(Iter first, Iter last, Less less)
{
    Iter middle = first + (last - first) / 2;
    Iter back = last - 1;
    Iter median = less(*first, *middle)
                      ? (less(*middle, *back) ? middle : less(*first, *back) ? back : first)
                      : (less(*first, *back) ? first : less(*middle, *back) ? back : middle);
    std::iter_swap(first, median);
}

/// Partition around the value at `first`; returns where it comes to stand.
template <class Iter, class Less>
Iter Partition(Iter first, Iter last, Less less)
{
    MedianToFront(first, last, less);
    Iter low = first + 1;
    Iter high = last - 1;
    for (;;) {
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

/// Introspective sort: D. R. Musser, "Introspective Sorting and Selection Algorithms", 1997. The limit on
/// the depth starts at n - 1 and shrinks to three quarters with each partition.
template <class Iter, class Less>
void IntroSort(Iter first, Iter last, std::ptrdiff_t limit, Less less)
{
    while (last - first >= kInsertionLimit) {
        if (limit < 1) {
            std::make_heap(first, last, less);
            std::sort_heap(first, last, less);
            return;
        }
        Iter pivot = Partition(first, last, less);
        limit = limit / 2 + limit / 2 / 2;
        IntroSort(first, pivot, limit, less);
        first = pivot + 1;
    }
    InsertionSort(first, last, less);
}

/// Joins four sorted parts; among equal values the earlier part wins.
template <class Value, class Less>
void MergeFour(Value* const bounds[5], Value* out, Less less)
{
    Value* at[4] = {bounds[0], bounds[1], bounds[2], bounds[3]};
    // A tournament of two pairs: each step replays only the pair that gave the last value.
    const auto first = [&](int a, int b) {
        if (at[a] == bounds[a + 1]) {
            return b;
        }
        return at[b] != bounds[b + 1] && less(*at[b], *at[a]) ? b : a;
    };
    int low = first(0, 1);
    int high = first(2, 3);
    for (std::ptrdiff_t left = bounds[4] - bounds[0]; left > 0; --left) {
        const bool takeHigh = at[low] == bounds[low + 1] || (at[high] != bounds[high + 1] && less(*at[high], *at[low]));
        const int from = takeHigh ? high : low;
        *out++ = std::move(*at[from]++);
        (takeHigh ? high : low) = takeHigh ? first(2, 3) : first(0, 1);
    }
}

template <class Value, class Less>
void MergeSort(Value* first, std::ptrdiff_t count, Value* scratch, int depth, Less less)
{
    if (count <= kMergeLeaf) {
        IntroSort(first, first + count, count - 1, less);
        return;
    }
    Value* const bounds[5] = {first, first + count / 4, first + count / 2, first + count / 4 * 3 + count % 4 * 3 / 4,
                              first + count};
#pragma omp parallel for schedule(dynamic) if (depth < kParallelDepth)
    for (int part = 0; part < 4; ++part) {
        MergeSort(bounds[part], bounds[part + 1] - bounds[part], scratch + (bounds[part] - first), depth + 1, less);
    }
    MergeFour(bounds, scratch, less);
    std::move(scratch, scratch + count, first);
}

template <class Value, class Less>
void SortArray(std::vector<Value>& values, Less less)
{
    if (values.size() < kParallelLimit) {
        IntroSort(values.begin(), values.end(), static_cast<std::ptrdiff_t>(values.size()) - 1, less);
        return;
    }
    std::vector<Value> scratch(values.size());
    MergeSort(values.data(), static_cast<std::ptrdiff_t>(values.size()), scratch.data(), 0, less);
}

} // namespace detail

/// Sorts list items (pointers or handles) by TListOrder<T>, nulls first.
template <class T, class ARG>
void SortItems(std::vector<ARG>& items)
{
    detail::SortArray(items, [](const ARG& a, const ARG& b) {
        if (a == nullptr || b == nullptr) {
            return a == nullptr && b != nullptr;
        }
        return TListOrder<T>::Less(*a, *b);
    });
}

} // namespace alidade
