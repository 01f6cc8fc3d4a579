// StableMergeSort.h — the stable merge sort behind CUArray's sorting operations.
//
// Sorts a range of trivially copyable entries with a comes-before predicate, keeping the input
// order of entries for which neither comes before the other. Runs of up to kInsertionRun are
// ordered by insertion (an entry moves only past entries it comes before). Merging goes
// through a temporary buffer of as many entries as are sorted; when that much cannot be had,
// the largest buffer that can (possibly none) is used and the merges that do not fit are made
// in place by rotation. The predicate is the only comparison made.
// A predicate may also offer Prefetch(entry): the buffered merge calls it for the entries a few
// steps ahead of each cursor, so that what they point to is in the cache when compared.
//
// The entries are trivially copyable so that a predicate that throws can leave the range
// half-merged without losing anything that needs releasing: callers sort a side table and
// apply the result only when the sort has finished.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace varn::collections {

inline constexpr std::size_t kInsertionRun = 8;

namespace detail {

template <class T, class Before> void insertionSort(T* first, T* last, Before& before) {
    for (T* i = first + 1; i < last; ++i) {
        T value = std::move(*i);
        T* j = i;
        try {
            while (j > first && before(value, *(j - 1))) {
                *j = std::move(*(j - 1));
                --j;
            }
        } catch (...) {
            // The hole is at j: filling it keeps the range a permutation of its entries, which
            // matters when they own what they point to (the in-place sort below).
            *j = std::move(value);
            throw;
        }
        *j = std::move(value);
    }
}

// Entries this far ahead of each merge cursor are announced to the predicate's prefetch hook.
inline constexpr std::ptrdiff_t kPrefetchAhead = 8;

// Calls before.Prefetch(entry) when the predicate has one; otherwise nothing.
template <class T, class Before> inline void prefetch(T const& entry, Before& before) {
    if constexpr (requires { before.Prefetch(entry); }) {
        before.Prefetch(entry);
    }
}

// Merges [a, aEnd) and [b, bEnd) into out; on ties the entry of the first run goes first.
template <class T, class Before>
T* mergeInto(T* a, T* aEnd, T* b, T* bEnd, T* out, Before& before) {
    while (a != aEnd && b != bEnd) {
        if (aEnd - a > kPrefetchAhead) {
            prefetch(a[kPrefetchAhead], before);
        }
        if (bEnd - b > kPrefetchAhead) {
            prefetch(b[kPrefetchAhead], before);
        }
        if (before(*b, *a)) {
            *out++ = *b++;
        } else {
            *out++ = *a++;
        }
    }
    out = std::copy(a, aEnd, out);
    return std::copy(b, bEnd, out);
}

// One pass of the buffered sort: merges neighbouring runs of `step` entries of [src, srcEnd)
// into runs of 2 * step at dst.
template <class T, class Before>
void mergePass(T* src, T* srcEnd, T* dst, std::size_t step, Before& before) {
    while (static_cast<std::size_t>(srcEnd - src) >= 2 * step) {
        dst = mergeInto(src, src + step, src + step, src + 2 * step, dst, before);
        src += 2 * step;
    }
    std::size_t const rest = static_cast<std::size_t>(srcEnd - src);
    std::size_t const left = std::min(rest, step);
    mergeInto(src, src + left, src + left, srcEnd, dst, before);
}

// Merges the sorted neighbours [first, middle) and [middle, last) using up to `capacity`
// entries of `buffer`, and rotation where the smaller run does not fit.
template <class T, class Before>
void mergeAdaptive(T* first, T* middle, T* last, T* buffer, std::size_t capacity, Before& before) {
    std::size_t len1 = static_cast<std::size_t>(middle - first);
    std::size_t len2 = static_cast<std::size_t>(last - middle);
    if (len1 == 0 || len2 == 0) {
        return;
    }
    if (!before(*middle, *(middle - 1))) {
        return; // already in order
    }
    if (len1 + len2 == 2) {
        std::swap(*first, *middle);
        return;
    }
    if (len1 <= len2 && len1 <= capacity) {
        T* bufEnd = std::copy(first, middle, buffer);
        T* a = buffer;
        T* b = middle;
        T* out = first;
        while (a != bufEnd && b != last) {
            if (before(*b, *a)) {
                *out++ = *b++;
            } else {
                *out++ = *a++;
            }
        }
        std::copy(a, bufEnd, out);
        return;
    }
    if (len2 <= capacity) {
        T* bufEnd = std::copy(middle, last, buffer);
        T* a = middle; // one past the left run's last entry
        T* b = bufEnd;
        T* out = last;
        while (a != first && b != buffer) {
            if (before(*(b - 1), *(a - 1))) {
                *--out = *--a;
            } else {
                *--out = *--b;
            }
        }
        std::copy_backward(buffer, b, out);
        return;
    }
    // Neither run fits: split the longer run at its middle, find where that entry belongs in
    // the other run, rotate the two inner pieces past each other and merge both halves.
    T* firstCut;
    T* secondCut;
    if (len1 > len2) {
        firstCut = first + len1 / 2;
        secondCut = std::lower_bound(middle, last, *firstCut,
                                     [&](T const& x, T const& y) { return before(x, y); });
    } else {
        secondCut = middle + len2 / 2;
        firstCut = std::upper_bound(first, middle, *secondCut,
                                    [&](T const& x, T const& y) { return before(x, y); });
    }
    T* newMiddle = std::rotate(firstCut, middle, secondCut);
    mergeAdaptive(first, firstCut, newMiddle, buffer, capacity, before);
    mergeAdaptive(newMiddle, secondCut, last, buffer, capacity, before);
}

template <class T, class Before>
void sortAdaptive(T* first, T* last, T* buffer, std::size_t capacity, Before& before) {
    std::size_t const n = static_cast<std::size_t>(last - first);
    if (n <= kInsertionRun) {
        insertionSort(first, last, before);
        return;
    }
    T* middle = first + n / 2;
    sortAdaptive(first, middle, buffer, capacity, before);
    sortAdaptive(middle, last, buffer, capacity, before);
    mergeAdaptive(first, middle, last, buffer, capacity, before);
}

} // namespace detail

/// Sorts [first, first + count) stably by `before` with no memory beyond the stack: insertion
/// runs and in-place merges by rotation only, so entries need only be movable and swappable.
/// What the buffered sort falls back to, for callers that cannot have even its side table.
/// Exceptions from `before` pass through; the range then holds all its entries in some order.
template <class T, class Before>
void StableMergeSortInPlace(T* first, std::size_t count, Before before) {
    detail::sortAdaptive(first, first + count, static_cast<T*>(nullptr), 0, before);
}

/// Sorts [first, first + count) stably by `before` (true when its first argument is to stand
/// before its second). At most `bufferLimit` entries of temporary storage are sought; 0 sorts
/// entirely in place. Returns the number of buffer entries actually used. Exceptions from
/// `before` pass through; the range then holds its entries in some order.
template <class T, class Before>
std::size_t StableMergeSort(T* first, std::size_t count, Before before,
                            std::size_t bufferLimit = static_cast<std::size_t>(-1)) {
    static_assert(std::is_trivially_copyable_v<T>);
    if (count < 2) {
        return 0;
    }
    if (count <= kInsertionRun) {
        detail::insertionSort(first, first + count, before);
        return 0;
    }
    // Ask for the whole count, then for less each time the request is refused.
    std::size_t capacity = std::min(count, bufferLimit);
    std::unique_ptr<T[]> buffer;
    while (capacity > 0) {
        buffer.reset(new (std::nothrow) T[capacity]);
        if (buffer) {
            break;
        }
        capacity /= 2;
    }

    if (capacity >= count) {
        T* const last = first + count;
        for (T* run = first; run < last; run += kInsertionRun) {
            detail::insertionSort(run, std::min(run + kInsertionRun, last), before);
        }
        // Ping-pong between the range and the buffer, two passes per round, so the result
        // always ends in the range.
        std::size_t step = kInsertionRun;
        while (step < count) {
            detail::mergePass(first, last, buffer.get(), step, before);
            step *= 2;
            detail::mergePass(buffer.get(), buffer.get() + count, first, step, before);
            step *= 2;
        }
    } else {
        detail::sortAdaptive(first, first + count, buffer.get(), capacity, before);
    }
    return capacity;
}

} // namespace varn::collections
