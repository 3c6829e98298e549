// The search has two steps, for ever smaller parts. First, elements that occur exactly once on each side are
// anchors. The longest sequence of anchors with the same order on both sides is kept, and the text between
// two of them is a part of its own. So a block that moved stays one block, where the shortest list of changes
// could tear it apart. Second, a part without anchors is searched with Myers' method in linear space ("An
// O(ND) difference algorithm and its variations", 1986), from both ends to the middle.
#include "edit_script.hpp"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <unordered_map>
#include <unordered_set>

namespace tovra::diff {

namespace {

using index = int64_t;

struct part {
  index old_begin, old_end, new_begin, new_end;
  bool may_have_anchors = true;
};

struct point {
  index old_at, new_at;
};

class search {
public:
  search(const row &old_row, const row &new_row)
      : old_(old_row), new_(new_row), found_(old_row.size(), -1),
        forward_(old_row.size() + new_row.size() + 3), backward_(forward_.size()) {}

  std::vector<index> run() {
    std::vector<part> open{{0, static_cast<index>(old_.size()), 0, static_cast<index>(new_.size())}};
    while (!open.empty()) {
      part next = open.back();
      open.pop_back();
      take_equal_ends(next);
      if (next.old_begin == next.old_end || next.new_begin == next.new_end) continue;
      if (next.may_have_anchors && split_at_anchors(next, open)) continue;
      const point middle = find_middle(next);
      open.push_back({next.old_begin, middle.old_at, next.new_begin, middle.new_at, false});
      open.push_back({middle.old_at, next.old_end, middle.new_at, next.new_end, false});
    }
    return std::move(found_);
  }

private:
  // The limit for one search for a middle. When two parts have so little in common, a better result is not
  // worth the time.
  static constexpr index most_steps = 400;

  void take_equal_ends(part &p) {
    while (p.old_begin < p.old_end && p.new_begin < p.new_end && old_[p.old_begin] == new_[p.new_begin]) {
      found_[p.old_begin++] = p.new_begin++;
    }
    while (p.old_begin < p.old_end && p.new_begin < p.new_end && old_[p.old_end - 1] == new_[p.new_end - 1]) {
      found_[--p.old_end] = --p.new_end;
    }
  }

  struct places {
    uint32_t in_old = 0, in_new = 0;
    index old_at = 0;
  };

  // The elements that occur once on each side, in the order of the new side.
  std::vector<point> once_on_both_sides(const part &p) const {
    std::unordered_map<uint32_t, places> seen;
    seen.reserve(p.old_end - p.old_begin);
    for (index i = p.old_begin; i < p.old_end; ++i) {
      places &at = seen[old_[i]];
      ++at.in_old;
      at.old_at = i;
    }
    for (index i = p.new_begin; i < p.new_end; ++i) {
      if (const auto at = seen.find(new_[i]); at != seen.end()) ++at->second.in_new;
    }
    std::vector<point> found;
    for (index i = p.new_begin; i < p.new_end; ++i) {
      const auto at = seen.find(new_[i]);
      if (at != seen.end() && at->second.in_old == 1 && at->second.in_new == 1) {
        found.push_back({at->second.old_at, i});
      }
    }
    return found;
  }

  // The longest sequence of points that rises on the old side too, found by patience sorting.
  static std::vector<point> longest_rising(const std::vector<point> &points) {
    std::vector<size_t> piles; // the top point of each pile
    std::vector<index> before(points.size(), -1);
    for (size_t i = 0; i < points.size(); ++i) {
      const auto less = [&](size_t top, index at) { return points[top].old_at < at; };
      const auto pile = std::lower_bound(piles.begin(), piles.end(), points[i].old_at, less);
      if (pile != piles.begin()) before[i] = static_cast<index>(*(pile - 1));
      if (pile == piles.end()) {
        piles.push_back(i);
      } else {
        *pile = i;
      }
    }
    std::vector<point> rising;
    for (index i = piles.empty() ? -1 : static_cast<index>(piles.back()); i >= 0; i = before[i]) {
      rising.push_back(points[i]);
    }
    std::reverse(rising.begin(), rising.end());
    return rising;
  }

  bool split_at_anchors(const part &p, std::vector<part> &open) {
    const std::vector<point> anchors = longest_rising(once_on_both_sides(p));
    point at{p.old_begin, p.new_begin};
    for (const point &anchor : anchors) {
      found_[anchor.old_at] = anchor.new_at;
      open.push_back({at.old_at, anchor.old_at, at.new_at, anchor.new_at});
      at = {anchor.old_at + 1, anchor.new_at + 1};
    }
    if (anchors.empty()) return false;
    open.push_back({at.old_at, p.old_end, at.new_at, p.new_end});
    return true;
  }

  // A point on a shortest way from corner to corner. For each diagonal (old index minus new index), forward_
  // and backward_ have the farthest old index that the ways from either corner have reached.
  point find_middle(const part &p) {
    const index old_length = p.old_end - p.old_begin, new_length = p.new_end - p.new_begin;
    const index delta = old_length - new_length;
    index *const forward = forward_.data() + new_length + 1;
    index *const backward = backward_.data() + new_length + 1;
    forward[-new_length - 1] = forward[old_length + 1] = unreached_forward;
    backward[-new_length - 1] = backward[old_length + 1] = unreached_backward;
    const auto clear = [&](index *ways, index diagonal, index value) {
      if (diagonal >= -new_length && diagonal <= old_length) ways[diagonal] = value;
    };
    const auto at = [&](index x, index diagonal) {
      return point{p.old_begin + x, p.new_begin + x - diagonal};
    };

    for (index d = 0; d <= most_steps; ++d) {
      clear(forward, -d - 1, unreached_forward);
      clear(forward, d + 1, unreached_forward);
      for (index k = first_diagonal(-d, -new_length); k <= std::min(d, old_length); k += 2) {
        index x = d == 0 ? 0 : unreached_forward;
        if (forward[k - 1] >= 0 && forward[k - 1] < old_length) x = forward[k - 1] + 1;
        if (forward[k + 1] >= 0 && forward[k + 1] - k <= new_length) x = std::max(x, forward[k + 1]);
        while (x >= 0 && x < old_length && x - k < new_length && same(at(x, k))) ++x;
        forward[k] = x;
        const bool crossed = delta % 2 != 0 && std::abs(k - delta) < d;
        if (crossed && x >= 0 && x >= backward[k]) return at(x, k);
      }
      clear(backward, delta - d - 1, unreached_backward);
      clear(backward, delta + d + 1, unreached_backward);
      for (index k = first_diagonal(delta - d, -new_length); k <= std::min(delta + d, old_length); k += 2) {
        index x = d == 0 ? old_length : unreached_backward;
        if (backward[k + 1] != unreached_backward && backward[k + 1] > 0) x = backward[k + 1] - 1;
        if (backward[k - 1] != unreached_backward && backward[k - 1] >= k) x = std::min(x, backward[k - 1]);
        while (x != unreached_backward && x > 0 && x > k && same(at(x - 1, k))) --x;
        backward[k] = x;
        if (delta % 2 == 0 && std::abs(k) <= d && forward[k] >= x) return at(x, k);
      }
    }
    index best = 0, best_diagonal = 0;
    for (index k = first_diagonal(-most_steps, -new_length); k <= std::min(most_steps, old_length); k += 2) {
      if (forward[k] >= 0 && 2 * forward[k] - k > 2 * best - best_diagonal) {
        best = forward[k];
        best_diagonal = k;
      }
    }
    return at(best, best_diagonal);
  }

  bool same(const point &at) const { return old_[at.old_at] == new_[at.new_at]; }

  // The first diagonal, in steps of two, that is not below the least one.
  static index first_diagonal(index wanted, index least) {
    return wanted >= least ? wanted : least + (least - wanted) % 2;
  }

  static constexpr index unreached_forward = -1;
  static constexpr index unreached_backward = std::numeric_limits<index>::max();

  const row &old_, &new_;
  std::vector<index> found_;
  std::vector<index> forward_, backward_;
};

// Elements that only one side has need no search: the indexes of all others.
std::vector<index> shared_with(const row &one, const row &other) {
  const std::unordered_set<uint32_t> there(other.begin(), other.end());
  std::vector<index> shared;
  for (size_t i = 0; i < one.size(); ++i) {
    if (there.contains(one[i])) shared.push_back(static_cast<index>(i));
  }
  return shared;
}

row picked(const row &from, const std::vector<index> &indexes) {
  row made;
  made.reserve(indexes.size());
  for (const index i : indexes) made.push_back(from[i]);
  return made;
}

} // namespace

std::vector<int64_t> partners(const row &old_row, const row &new_row) {
  const std::vector<index> old_shared = shared_with(old_row, new_row);
  const std::vector<index> new_shared = shared_with(new_row, old_row);
  const row old_rest = picked(old_row, old_shared), new_rest = picked(new_row, new_shared);
  const std::vector<index> found = search(old_rest, new_rest).run();
  std::vector<index> all(old_row.size(), -1);
  for (size_t i = 0; i < found.size(); ++i) {
    if (found[i] >= 0) all[old_shared[i]] = new_shared[found[i]];
  }
  return all;
}

} // namespace tovra::diff
