#include "Keel/SortUnique.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <utility>

// Short runs go through sorting networks: a fixed sequence of exchanges without a branch on the values, so shuffled
// input costs what sorted input costs. Above 16 values, runs of 16 are merged, the merge choosing by arithmetic as
// well.
namespace Keel {
namespace {

constexpr std::size_t runLength = 16;
constexpr std::size_t stackValues = 512;

template <std::size_t I, std::size_t J, typename Value>
inline void exchange(Value* v) {
  const Value a = v[I];
  const Value b = v[J];
  v[I] = a < b ? a : b;
  v[J] = a < b ? b : a;
}

// Batcher's odd-even merge sort for a power of two, unrolled at compile time.
template <std::size_t Lo, std::size_t N, std::size_t Stride, typename Value>
inline void oddEvenMerge(Value* v) {
  if constexpr (Stride * 2 < N) {
    oddEvenMerge<Lo, N, Stride * 2>(v);
    oddEvenMerge<Lo + Stride, N, Stride * 2>(v);
    [v]<std::size_t... K>(std::index_sequence<K...>) {
      (exchange<Lo + Stride + 2 * Stride * K, Lo + 2 * Stride + 2 * Stride * K>(v), ...);
    }
    (std::make_index_sequence<(N - Stride - 1) / (2 * Stride)>{});
  } else {
    exchange<Lo, Lo + Stride>(v);
  }
}

template <std::size_t Lo, std::size_t N, typename Value>
inline void oddEvenSort(Value* v) {
  if constexpr (N > 1) {
    oddEvenSort<Lo, N / 2>(v);
    oddEvenSort<Lo + N / 2, N / 2>(v);
    oddEvenMerge<Lo, N, 1>(v);
  }
}

// Padding with the largest value leaves the first n places right, also when that value is among them.
template <std::size_t N, typename Value>
inline void sortPadded(Value* values, std::size_t n) {
  Value padded[N];
  for (std::size_t i = 0; i < N; ++i) padded[i] = i < n ? values[i] : std::numeric_limits<Value>::max();
  oddEvenSort<0, N>(padded);
  for (std::size_t i = 0; i < n; ++i) values[i] = padded[i];
}

template <typename Value>
void sortRun(Value* values, std::size_t n) {
  if (n > 8) {
    sortPadded<16>(values, n);
  } else if (n > 4) {
    sortPadded<8>(values, n);
  } else if (n > 2) {
    sortPadded<4>(values, n);
  } else if (n == 2) {
    exchange<0, 1>(values);
  }
}

// Merges [from, middle) and [middle, end) into `to`. Neither input is empty.
template <typename Value>
void mergeRuns(const Value* from, const Value* middle, const Value* end, Value* to) {
  const Value* right = middle;
  while (from != middle && right != end) {
    const bool takeRight = *right < *from;
    *to++ = takeRight ? *right : *from;
    right += takeRight;
    from += !takeRight;
  }
  to = std::copy(from, middle, to);
  std::copy(right, end, to);
}

// Two runs of the same width, the lower half of the result from the front and the upper half from the back: two chains
// of dependent steps that the processor runs side by side, and no end to test for.
template <typename Value>
void mergeEqualRuns(const Value* runs, std::size_t width, Value* to) {
  const Value* left = runs;
  const Value* right = runs + width;
  const Value* leftBack = right - 1;
  const Value* rightBack = right + width - 1;
  Value* toBack = to + 2 * width - 1;
  for (std::size_t i = 0; i < width; ++i) {
    const bool takeRight = *right < *left;
    *to++ = takeRight ? *right : *left;
    right += takeRight;
    left += !takeRight;
    const bool takeLeft = *rightBack < *leftBack;
    *toBack-- = takeLeft ? *leftBack : *rightBack;
    leftBack -= takeLeft;
    rightBack -= !takeLeft;
  }
}

template <typename Value>
void mergeSort(Value* values, std::size_t n) {
  Value onStack[stackValues];
  std::unique_ptr<Value[]> onHeap;
  Value* scratch = onStack;
  if (n > stackValues) {
    onHeap = std::make_unique_for_overwrite<Value[]>(n);
    scratch = onHeap.get();
  }
  for (std::size_t i = 0; i < n; i += runLength) sortRun(values + i, std::min(runLength, n - i));
  Value* from = values;
  Value* to = scratch;
  for (std::size_t width = runLength; width < n; width *= 2) {
    for (std::size_t i = 0; i < n; i += 2 * width) {
      const std::size_t middle = std::min(i + width, n);
      const std::size_t end = std::min(i + 2 * width, n);
      if (end - i == 2 * width) {
        mergeEqualRuns(from + i, width, to + i);
      } else if (middle == end) {
        std::copy(from + i, from + end, to + i);
      } else {
        mergeRuns(from + i, from + middle, from + end, to + i);
      }
    }
    std::swap(from, to);
  }
  if (from != values) std::copy(from, from + n, values);
}

template <typename Value>
bool strictlyAscending(const Value* values, std::size_t n) {
  for (std::size_t i = 1; i < n; ++i) {
    if (values[i - 1] >= values[i]) return false;
  }
  return true;
}

template <typename Value>
bool anyRepeat(const Value* values, std::size_t n) {
  bool repeat = false;
  for (std::size_t i = 1; i < n; ++i) repeat |= values[i - 1] == values[i];
  return repeat;
}

template <typename Value>
std::size_t sortUniqueOf(Value* values, std::size_t n) {
  if (n <= 8) {
    sortRun(values, n);
  } else {
    if (strictlyAscending(values, n)) return n;  // what routers send, mostly
    if (n <= runLength) {
      sortRun(values, n);
    } else {
      mergeSort(values, n);
    }
  }
  if (!anyRepeat(values, n)) return n;
  return static_cast<std::size_t>(std::unique(values, values + n) - values);
}

}  // namespace

std::size_t sortUnique(std::uint64_t* values, std::size_t n) { return sortUniqueOf(values, n); }
std::size_t sortUnique(std::uint32_t* values, std::size_t n) { return sortUniqueOf(values, n); }

}  // namespace Keel
