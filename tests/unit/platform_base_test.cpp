// Named memory, fault injection, the trace service, hash tables and queues.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "infra/infra.h"
#include "qmalloc/qmalloc.h"
#include "qtrace/qtrace.h"
#include "support.h"

namespace {

constexpr uint32_t test_area = 0x1234, other_area = 0;

// What the counters of an area changed by since the object was made.
class area_change {
public:
  explicit area_change(uint32_t area) : area_(area), before_(qmalloc_count(area)) {}
  std::vector<int64_t> now() const {
    const auto after = qmalloc_count(area_);
    return {after.live_blocks - before_.live_blocks, after.live_bytes - before_.live_bytes,
            after.total_blocks - before_.total_blocks};
  }

private:
  uint32_t area_;
  qmalloc_counters before_;
};

using change = std::vector<int64_t>;

struct disarm {
  ~disarm() { qmalloc_fail_nth(0, false); }
};

TEST(memory, every_call_is_counted_as_asked_for) {
  area_change counted(test_area), other(other_area);
  char *text = qstrdup_named(test_area, "abc");
  EXPECT_EQ(counted.now(), (change{1, 4, 1}));
  auto *zeroed = static_cast<char *>(qcalloc_named(test_area, 3, 50));
  EXPECT_EQ(std::count(zeroed, zeroed + 150, 0), 150);
  void *empty = qmalloc_named(test_area, 0);
  EXPECT_NE(empty, nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(empty) % alignof(max_align_t), 0u);
  EXPECT_EQ(counted.now(), (change{3, 154, 3}));

  text = static_cast<char *>(qrealloc_named(test_area, text, 100000));
  ASSERT_STREQ(text, "abc");
  EXPECT_EQ(counted.now(), (change{3, 150 + 100000, 3})) << "a moved block counts once";
  text = static_cast<char *>(qrealloc_named(other_area, text, 0));
  void *fresh = qrealloc_named(test_area, nullptr, 9);
  EXPECT_EQ(counted.now(), (change{3, 159, 4}));
  EXPECT_EQ(other.now(), (change{1, 0, 0}));
  EXPECT_EQ(qstrdup_named(test_area, nullptr), nullptr);
  for (void *block : {static_cast<void *>(text), empty, fresh, static_cast<void *>(nullptr)})
    qfree_named(block);
  qfree_unnamed(zeroed);
  EXPECT_EQ(counted.now(), (change{0, 0, 4}));
  EXPECT_EQ(other.now(), (change{0, 0, 0}));
}

TEST(memory, sizes_that_no_object_can_have_give_none) {
  area_change counted(test_area);
  void *block = qstrdup_named(test_area, "kept");
  const volatile size_t huge[] = {SIZE_MAX, SIZE_MAX - 15, PTRDIFF_MAX};
  for (const size_t size : huge) {
    EXPECT_EQ(qmalloc_named(test_area, size), nullptr);
    EXPECT_EQ(qcalloc_named(test_area, size / 8 + 2, 8), nullptr); // the product wraps
    EXPECT_EQ(qrealloc_named(test_area, block, size), nullptr);
  }
  disarm after;
  qmalloc_fail_nth(1, false);
  EXPECT_EQ(qrealloc_named(test_area, block, 1000), nullptr);
  EXPECT_STREQ(static_cast<char *>(block), "kept");
  EXPECT_EQ(counted.now(), (change{1, 5, 1}));
  qfree_named(block);
}

TEST(memory, sums_are_right_across_threads_that_ended) {
  struct holder {
    void *block = nullptr;
    ~holder() { qfree_named(block); }
  };
  area_change counted(test_area);
  void *kept = nullptr;
  std::thread([&kept] {
    static thread_local holder outlives; // made before the thread's counters, so destroyed after them
    outlives.block = nullptr;
    outlives.block = qmalloc_named(test_area, 33);
    kept = qmalloc_named(test_area, 10);
  }).join();
  EXPECT_EQ(counted.now(), (change{1, 10, 2}));
  qfree_named(kept);
  EXPECT_EQ(counted.now(), (change{0, 0, 2}));
}

TEST(memory, an_area_beyond_the_limit_is_refused_and_harms_no_other) {
  // In a process of its own: areas are never forgotten.
  const auto fill = [] {
    qmalloc_area_name_fn name = [](uint32_t area) { return area == 0x500001 ? "second" : "area"; };
    uint32_t accepted = 0;
    while (accepted < 1000 && qmalloc_init(0x500000 + accepted, name) == 0) ++accepted;
    const uint32_t refused = 0x500000 + accepted;
    void *known = qmalloc_named(0x500000, 5), *block = qmalloc_named(refused, 100);
    const bool right = strcmp(qmalloc_area_name(0x500001), "second") == 0 && accepted > 32 &&
                       accepted <= 64 && qmalloc_count(refused).live_blocks == 0 &&
                       qmalloc_area_name(refused) == nullptr && qmalloc_count(0x500000).live_bytes == 5;
    for (void *each : {block, known}) qfree_named(each);
    exit(right && qmalloc_count(0x500000).live_bytes == 0 ? 0 : 1);
  };
  EXPECT_EXIT(fill(), testing::ExitedWithCode(0), "");
}

TEST(faults, the_nth_allocation_fails_alone_or_with_all_later) {
  disarm after;
  for (const auto &[n, all_later, expected] : {std::tuple{1u, false, "x........."},
                                               {3u, false, "..x......."},
                                               {11u, false, ".........."},
                                               {4u, true, "...xxxxxxx"}}) {
    std::string seen; // '.' and 'x', of every operation in turn
    qmalloc_fail_nth(n, all_later);
    for (int i = 0; i < 10; ++i) {
      void *block = i % 4 == 0   ? qmalloc_named(test_area, 8)
                    : i % 4 == 1 ? qcalloc_named(test_area, 2, 8)
                    : i % 4 == 2 ? qstrdup_named(test_area, "text")
                                 : qrealloc_named(test_area, nullptr, 8);
      seen += block == nullptr ? 'x' : '.';
      qfree_named(block);
    }
    EXPECT_EQ(qmalloc_fail_fired(), static_cast<uint64_t>(std::count(seen.begin(), seen.end(), 'x')));
    EXPECT_EQ(seen, expected);
  }
}

TEST(trace, what_is_off_is_not_evaluated_and_what_is_on_arrives_whole) {
  int evaluated = 0;
  const auto touch = [&evaluated] { return ++evaluated; };
  qtrace_wrapper(1, 3, 0, "%d", touch());
  EXPECT_EQ(evaluated, 0);
  test::trace_log log(4);
  qtrace_wrapper(1, 4, 0, "warning %d", touch());
  qtrace_wrapper(1, 6, 0, "information %d", touch());
  EXPECT_EQ(log.text(), "4 warning 1\n");
  disarm after;
  qmalloc_fail_nth(1, true);
  for (const size_t length : {size_t{1022}, size_t{1023}, size_t{1024}, size_t{100000}}) {
    const std::string text(length, 'a');
    qtrace_wrapper(1, 3, 0, "%s|", text.c_str());
    EXPECT_EQ(log.lines().back(), "3 " + text + "|");
  }
  EXPECT_EQ(qmalloc_fail_fired(), 0u) << "tracing takes no injected failure";
}

TEST(trace, the_default_sink_writes_visible_lines) {
  qtrace_set_level(7);
  testing::internal::CaptureStderr();
  qtrace_wrapper(1, 3, 0, "a\nb\tc\x01\x1f\x7f~ \xc3\xa9%s", "");
  qtrace_wrapper(1, 6, 0, "%s", std::string(600, '\n').c_str()); // four times as long when shown
  const std::string seen = testing::internal::GetCapturedStderr();
  qtrace_set_level(0);
  std::string shown;
  for (int i = 0; i < 600; ++i) shown += "\\x0A";
  EXPECT_EQ(seen, "zu_tovra[3] a\\x0Ab\\x09c\\x01\\x1F\\x7F~ \xc3\xa9\nzu_tovra[6] " + shown + "\n");
}

char *as_key(const char *text) {
  return const_cast<char *>(text);
}

TEST(hash_table, equal_keys_are_found_and_removed_oldest_first) {
  static std::vector<std::string> closed;
  const auto note = [](char *key, void *value) {
    closed.push_back(std::string(key) + "=" + static_cast<const char *>(value));
  };
  ht_table *table = htMake(0);
  char first[] = "key", second[] = "key";
  for (const char *key : {"d", "", "c"}) htAdd(table, as_key(key), as_key(key));
  EXPECT_EQ(htAdd(table, first, as_key("1")), 0);
  for (int i = 0; i < 100; ++i) htAdd(table, as_key("filler"), as_key("f")); // grows in between
  EXPECT_EQ(htAdd(table, second, as_key("2")), 0);
  char *stored = nullptr;
  for (char *expected : {first, second}) {
    EXPECT_EQ(htFindKey(table, "key"), expected);
    EXPECT_STREQ(static_cast<char *>(htFind(table, "key")), expected == first ? "1" : "2");
    EXPECT_NE(htRemove2(table, "key", &stored), 0);
    EXPECT_EQ(stored, expected);
  }
  EXPECT_EQ(htFindKey(table, "key"), nullptr);
  EXPECT_EQ(htRemove2(table, "key", &stored), 0);
  for (int i = 0; i < 100; ++i) htRemove2(table, "filler", nullptr);
  htRemove2(table, "c", nullptr);
  htAdd(table, as_key("c"), as_key("last"));
  EXPECT_EQ(htSize(table), 3u);
  for (ht_table *each : {table, static_cast<ht_table *>(nullptr)}) htCloseWithFunction2(each, note);
  EXPECT_EQ(closed, (std::vector<std::string>{"d=d", "=", "c=last"}));
}

TEST(hash_table, finds_all_of_many_even_when_it_cannot_widen) {
  disarm after;
  qmalloc_fail_nth(1, false);
  EXPECT_EQ(htMake(0), nullptr);
  for (const bool widens : {true, false}) {
    ht_table *table = htMake(0);
    qmalloc_fail_nth(1, false);
    EXPECT_NE(htAdd(table, as_key("a"), nullptr), 0);
    EXPECT_EQ(htSize(table), 0u);
    EXPECT_EQ(htFindKey(table, "a"), nullptr);
    qmalloc_fail_nth(widens ? UINT64_MAX : 3, false); // room for eight entries, for more, the wider buckets
    std::vector<std::string> keys(widens ? 100000 : 1000);
    for (size_t i = 0; i < keys.size(); ++i) keys[i] = std::string(i % 19, 'k') + std::to_string(i);
    for (auto &key : keys) ASSERT_EQ(htAdd(table, key.data(), &key), 0);
    for (size_t i = 0; i < keys.size(); i += 2) ASSERT_NE(htRemove2(table, keys[i].c_str(), nullptr), 0);
    for (size_t i = 0; i < keys.size(); ++i) {
      ASSERT_EQ(htFind(table, std::string(keys[i]).c_str()), i % 2 == 0 ? nullptr : &keys[i]);
      ASSERT_EQ(htFind(table, (keys[i] + "x").c_str()), nullptr);
    }
    EXPECT_EQ(qmalloc_fail_fired(), widens ? 0u : 1u);
    qmalloc_fail_nth(1, true); // what was removed made room
    for (size_t i = 0; i < keys.size(); i += 2) ASSERT_EQ(htAdd(table, keys[i].data(), &keys[i]), 0);
    EXPECT_EQ(htSize(table), keys.size());
    qmalloc_fail_nth(0, false);
    htCloseWithFunction2(table, nullptr);
  }
}

TEST(queues, first_in_first_out_up_to_the_bound) {
  queue_item entries[3] = {};
  for (const uint32_t bound : {0u, 2u}) {
    queue q;
    queue_init(&q, bound);
    for (auto &entry : entries)
      EXPECT_EQ(queue_enqueue(&q, &entry) == 0, bound == 0 || &entry < entries + bound);
    for (uint32_t i = 0; i < (bound == 0 ? 3 : bound); ++i) EXPECT_EQ(queue_dequeue(&q), &entries[i]);
    EXPECT_EQ(queue_dequeue(&q), nullptr);
    EXPECT_EQ(queue_enqueue(&q, entries), 0);
    EXPECT_EQ(queue_dequeue(&q), entries);
  }
}

} // namespace
