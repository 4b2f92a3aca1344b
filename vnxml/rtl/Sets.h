// Sets of ordinal values, in the manner of the run-time's `set of` types.
//
//   using TColors = vn::Set<TColor, clRed, clBlue>;
//   TColors c{clRed};
//   c << clGreen;               // include
//   c >> clRed;                 // exclude
//   if (c.Contains(clGreen)) ...
//   for (TColor x : c) ...      // members in ordinal order
//
// Values outside MinEl..MaxEl are ignored when added and are never members. The members are
// kept in 64-bit words, so that every operation can run at compile time.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>

namespace vn {

// A set of ordinal values from MinEl to MaxEl, kept as bits.
template <class T, int MinEl, int MaxEl>
class Set {
  static_assert(MinEl <= MaxEl, "a set needs at least one possible member");

 public:
  // The number of possible members.
  static constexpr int Size = MaxEl - MinEl + 1;

 private:
  static constexpr int WordCount = (Size + 63) / 64;
  using TWord = std::uint64_t;

  static constexpr bool InRange(int AOrd) noexcept { return AOrd >= MinEl && AOrd <= MaxEl; }
  static constexpr int Ord(T AValue) noexcept { return static_cast<int>(AValue); }
  constexpr bool TestBit(int ABit) const noexcept {
    return (FWords[ABit / 64] >> (ABit % 64)) & 1u;
  }

  std::array<TWord, WordCount> FWords{};

 public:
  class const_iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = T;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = T;

    constexpr const_iterator() noexcept = default;
    constexpr T operator*() const noexcept { return static_cast<T>(FBit + MinEl); }
    constexpr const_iterator &operator++() noexcept {
      FBit = FSet->NextBit(FBit + 1);
      return *this;
    }
    constexpr const_iterator operator++(int) noexcept {
      const_iterator r = *this;
      ++*this;
      return r;
    }
    constexpr bool operator==(const const_iterator &AOther) const noexcept {
      return FBit == AOther.FBit;
    }

   private:
    friend class Set;
    constexpr const_iterator(const Set *ASet, int ABit) noexcept : FSet(ASet), FBit(ABit) {}
    const Set *FSet = nullptr;
    int FBit = Size;
  };
  using iterator = const_iterator;

  constexpr Set() noexcept = default;
  constexpr Set(std::initializer_list<T> AValues) noexcept {
    for (T v : AValues) *this << v;
  }

  // Includes a value.
  constexpr Set &operator<<(T AValue) noexcept {
    const int o = Ord(AValue);
    if (InRange(o)) FWords[(o - MinEl) / 64] |= TWord{1} << ((o - MinEl) % 64);
    return *this;
  }
  // Excludes a value.
  constexpr Set &operator>>(T AValue) noexcept {
    const int o = Ord(AValue);
    if (InRange(o)) FWords[(o - MinEl) / 64] &= ~(TWord{1} << ((o - MinEl) % 64));
    return *this;
  }
  constexpr bool Contains(T AValue) const noexcept {
    const int o = Ord(AValue);
    return InRange(o) && TestBit(o - MinEl);
  }

  constexpr Set &operator+=(const Set &AOther) noexcept {
    for (int i = 0; i < WordCount; ++i) FWords[i] |= AOther.FWords[i];
    return *this;
  }
  constexpr Set &operator*=(const Set &AOther) noexcept {
    for (int i = 0; i < WordCount; ++i) FWords[i] &= AOther.FWords[i];
    return *this;
  }
  constexpr Set &operator-=(const Set &AOther) noexcept {
    for (int i = 0; i < WordCount; ++i) FWords[i] &= ~AOther.FWords[i];
    return *this;
  }
  // Union, intersection and difference.
  friend constexpr Set operator+(Set A, const Set &B) noexcept { return A += B; }
  friend constexpr Set operator*(Set A, const Set &B) noexcept { return A *= B; }
  friend constexpr Set operator-(Set A, const Set &B) noexcept { return A -= B; }
  friend constexpr bool operator==(const Set &, const Set &) noexcept = default;

  constexpr bool Empty() const noexcept {
    for (TWord w : FWords)
      if (w) return false;
    return true;
  }
  constexpr Set &Clear() noexcept {
    FWords = {};
    return *this;
  }
  // The number of members.
  constexpr int Count() const noexcept {
    int n = 0;
    for (TWord w : FWords) n += std::popcount(w);
    return n;
  }

  // The members as a bit mask: bit i stands for the ordinal MinEl + i.
  constexpr std::uint64_t ToInt() const noexcept requires(Size <= 64) { return FWords[0]; }
  // The set whose members are the bits of AMask (bits beyond the last member are ignored).
  static constexpr Set FromInt(std::uint64_t AMask) noexcept requires(Size <= 64) {
    Set s;
    s.FWords[0] = Size == 64 ? AMask : AMask & ((TWord{1} << Size) - 1);
    return s;
  }

  constexpr const_iterator begin() const noexcept { return const_iterator(this, NextBit(0)); }
  constexpr const_iterator end() const noexcept { return const_iterator(this, Size); }

 private:
  // The first member bit at or after AFrom, or Size.
  constexpr int NextBit(int AFrom) const noexcept {
    while (AFrom < Size) {
      const TWord w = FWords[AFrom / 64] >> (AFrom % 64);
      if (w) return AFrom + std::countr_zero(w);
      AFrom = (AFrom / 64 + 1) * 64;
    }
    return Size;
  }
};

}  // namespace vn
