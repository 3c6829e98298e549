// Differences: the pairs that the search finds, and the texts that are written for them.
#include <algorithm>
#include <gtest/gtest.h>
#include <random>

#include "tools/tovra/diff/edit_script.hpp"
#include "tools/tovra/diff/text_diff.hpp"

namespace {

using tovra::diff::row;

size_t longest_common(const row &a, const row &b) {
  std::vector<size_t> above(b.size() + 1), now(b.size() + 1);
  for (const uint32_t element : a) {
    for (size_t j = 0; j < b.size(); ++j)
      now[j + 1] = element == b[j] ? above[j] + 1 : std::max(above[j + 1], now[j]);
    std::swap(above, now);
  }
  return above[b.size()];
}

// The number of pairs, each of equals, in order on both sides.
size_t checked_pairs(const row &a, const row &b) {
  const auto partner = tovra::diff::partners(a, b);
  EXPECT_EQ(partner.size(), a.size());
  int64_t last = -1;
  size_t pairs = 0;
  for (size_t i = 0; i < a.size(); ++i) {
    if (partner[i] < 0) continue;
    EXPECT_GT(partner[i], last);
    EXPECT_EQ(a[i], b.at(static_cast<size_t>(partner[i])));
    last = partner[i];
    ++pairs;
  }
  return pairs;
}

row random_row(std::mt19937 &random, size_t length, uint32_t values) {
  row made(length);
  for (uint32_t &element : made) element = random() % values;
  return made;
}

// Nothing is unique, and the ends differ: the search alone decides, and has to be the best.
TEST(diff, pairs_as_many_as_can_be_where_nothing_is_unique) {
  std::mt19937 random;
  for (int i = 0; i < 5000; ++i) {
    const uint32_t values = 1 + random() % 3;
    row sides[2];
    for (uint32_t end : {0, 1}) {
      row &side = sides[end] = random_row(random, random() % 10, values);
      const row all = {0, 1, 2, 0, 1, 2};
      side.insert(side.begin() + static_cast<int64_t>(random() % (side.size() + 1)), all.begin(), all.end());
      side.insert(side.begin(), end);
      side.push_back(end);
    }
    ASSERT_EQ(checked_pairs(sides[0], sides[1]), longest_common(sides[0], sides[1]));
  }
}

TEST(diff, pairs_are_sound_where_the_search_is_cut_short) {
  std::mt19937 random;
  const size_t pairs = checked_pairs(random_row(random, 20000, 2), random_row(random, 30000, 2));
  EXPECT_GT(pairs, 10000U);
}

TEST(diff, moved_block_stays_whole) {
  row a(1000);
  for (size_t i = 0; i < a.size(); ++i) a[i] = static_cast<uint32_t>(i);
  row b = a;
  std::rotate(b.begin(), b.begin() + 400, b.end());
  EXPECT_EQ(checked_pairs(a, b), 600U);
}

TEST(diff, tells_changes_below_their_sections) {
  struct {
    const char *old_text, *new_text, *sections, *unified;
  } cases[] = {
      {"a\n", "a\n", "", ""},
      {"", "a\n", "+ a\n", "@@ -0,0 +1 @@\n+a\n"},
      {"a", "a\n", "", "@@ -1 +1 @@\n-a\n\\ No newline at end of file\n+a\n"},
      // A line of another section is another line.
      {"i 1\n mtu 9\ni 2\n", "i 1\ni 2\n mtu 9\n", "  i 1\n-  mtu 9\n  i 2\n+  mtu 9\n",
       "@@ -1,3 +1,3 @@\n i 1\n- mtu 9\n i 2\n+ mtu 9\n"},
      // From the inner section outwards, both sides in each.
      {"r\n n\n  x 1\n y 1\nz 1\n", "r\n n\n  x 2\n y 2\nz 2\n",
       "  r\n   n\n-   x 1\n+   x 2\n-  y 1\n+  y 2\n- z 1\n+ z 2\n",
       "@@ -1,5 +1,5 @@\n r\n  n\n-  x 1\n- y 1\n-z 1\n+  x 2\n+ y 2\n+z 2\n"},
      // Sections with equal headings are distinguished.
      {"v\n a\n!\nv\n b\n", "v\n!\nv\n", "  v\n-  a\n  v\n-  b\n", "@@ -1,5 +1,3 @@\n v\n- a\n !\n v\n- b\n"},
      // An empty line ends no section.
      {"i\n\n x\n", "i\n\n y\n", "  i\n-  x\n+  y\n", "@@ -1,3 +1,3 @@\n i\n \n- x\n+ y\n"},
      // Hunks of their own, with three lines around.
      {"a\n1\n2\n3\n4\n5\n6\n7\nb\n", "A\n1\n2\n3\n4\n5\n6\n7\nB\n", "- a\n+ A\n- b\n+ B\n",
       "@@ -1,4 +1,4 @@\n-a\n+A\n 1\n 2\n 3\n@@ -6,4 +6,4 @@\n 5\n 6\n 7\n-b\n+B\n"},
  };
  for (const auto &one : cases) {
    EXPECT_EQ(tovra::diff::by_section(tovra::diff::sections_changed(one.old_text, one.new_text), {}),
              one.sections);
    const std::string head = *one.unified != '\0' ? "--- A\n+++ B\n" : "";
    EXPECT_EQ(tovra::diff::unified(one.old_text, one.new_text, "A", "B", {}), head + one.unified);
  }
}

} // namespace
