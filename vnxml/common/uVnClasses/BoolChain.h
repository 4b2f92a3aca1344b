// The value of a chain of terms joined by "and" and "or" links, as the predicate engines of the
// library evaluate it (internal; not installed).
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "vnxml/rtl/Types.h"

namespace vn::detail {

// Terms 0 .. ACount-1 stand in a chain; link j joins term j to term j + 1. The chain's value is
// E(0), where E(i) is the truth of term i, and then for each link j from i on: with "and" while
// true, or with "or" while false, the value becomes E(j + 1). E(j + 1) walks the rest of the
// chain by itself and the loop then goes on along the same chain, which gives "and" and "or"
// their one precedence. Each E(i) is worked out once and kept, so a chain costs time linear in
// its length, on a stack of its own rather than the thread's.
//
// ATerm(i, AStop) gives the truth of term i; setting AStop makes that E(i) at once, the links
// behind the term unread. ALinkIsAnd(j) tells the operator of link j (and raises for a link
// without one). Terms are evaluated lazily, in the order of the recursive definition.
//
// AEffects stands for what evaluating the terms leaves behind besides their truth (a flag they
// share, say): Begin() marks the state before an E(i) is worked out, End(mark) gives the effect
// of working it out, and Replay(effect) repeats that effect where the definition would work the
// same E(i) out again, so that the state after the chain is that of the recursive definition.
struct TNoChainEffects {
  struct TEffect {};
  int Begin() { return 0; }
  TEffect End(int) { return {}; }
  void Replay(const TEffect &) {}
};

template <class FTerm, class FLink, class TEffects = TNoChainEffects>
bool EvaluateBoolChain(std::size_t ACount, FTerm &&ATerm, FLink &&ALinkIsAnd,
                       TEffects &&AEffects = TEffects()) {
  if (ACount == 1) {
    bool stop = false;
    return ATerm(std::size_t(0), stop);
  }
  using TMark = decltype(AEffects.Begin());
  using TEffect = decltype(AEffects.End(std::declval<TMark>()));
  // 0: not yet worked out, 1: false, 2: true.
  std::vector<Byte> known(ACount, 0);
  std::vector<TEffect> effects(ACount);
  struct TFrame {
    std::size_t I;
    std::size_t J;
    bool R;
    bool Started;
    TMark Mark;
  };
  std::vector<TFrame> stack;
  stack.push_back({0, 0, false, false, TMark()});
  bool delivered = false;
  bool result = false;
  while (!stack.empty()) {
    TFrame &f = stack.back();
    if (!f.Started) {
      f.Started = true;
      f.Mark = AEffects.Begin();
      bool stop = false;
      f.R = ATerm(f.I, stop);
      if (stop) {
        known[f.I] = f.R ? 2 : 1;
        effects[f.I] = AEffects.End(f.Mark);
        result = f.R;
        delivered = true;
        stack.pop_back();
        continue;
      }
      f.J = f.I;
    } else if (delivered) {
      // The frame above has just given E(J + 1).
      f.R = result;
      delivered = false;
      ++f.J;
    }
    bool suspended = false;
    while (f.J + 1 < ACount) {
      const bool need = ALinkIsAnd(f.J) ? f.R : !f.R;
      if (need) {
        const std::size_t k = f.J + 1;
        if (known[k] == 0) {
          stack.push_back({k, 0, false, false, TMark()});
          suspended = true;
          break;
        }
        f.R = known[k] == 2;
        AEffects.Replay(effects[k]);
      }
      ++f.J;
    }
    if (suspended) continue;
    known[f.I] = f.R ? 2 : 1;
    effects[f.I] = AEffects.End(f.Mark);
    result = f.R;
    delivered = true;
    stack.pop_back();
  }
  return result;
}

}  // namespace vn::detail
