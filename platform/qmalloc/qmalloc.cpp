// Named memory: a header in front of every block, counters per thread and area, and fault injection.
#include "qmalloc/qmalloc.h"

#include <sys/mman.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

namespace {

// The header of every block. It has the slot and not the area, so that freeing needs no look-up.
struct alignas(16) block_header {
  size_t size;
  uint32_t slot;
};
static_assert(sizeof(block_header) == 16 && alignof(max_align_t) <= 16);

constexpr size_t largest_size = PTRDIFF_MAX - sizeof(block_header);

// ---- Areas ----
// An open-addressed table that only grows. An area is added at its first use, registered or not; its position
// in the table is its slot. One further slot counts the areas that no longer fit; nobody can read it.
constexpr uint32_t area_bits = 6;
constexpr uint32_t area_count = 1u << area_bits;
constexpr uint32_t overflow_slot = area_count;
constexpr uint64_t entry_used = 1ull << 32; // distinguishes area 0 from an empty entry

constinit std::atomic<uint64_t> area_entries[area_count]{};
constinit std::atomic<qmalloc_area_name_fn> area_names[area_count]{};

// The slot of an area, which is added if `enter` is true; the overflow slot for an area without one.
uint32_t slot_of(uint32_t area, bool enter) {
  const uint64_t wanted = entry_used | area;
  uint32_t slot = (area * 0x9e3779b1u) >> (32 - area_bits);
  for (uint32_t probes = 0; probes < area_count; ++probes, slot = (slot + 1) % area_count) {
    uint64_t found = area_entries[slot].load(std::memory_order_relaxed);
    if (found == 0) {
      if (!enter) return overflow_slot;
      if (area_entries[slot].compare_exchange_strong(found, wanted, std::memory_order_relaxed)) return slot;
    }
    if (found == wanted) return slot;
  }
  return overflow_slot;
}

// ---- Counters ----
struct counter_set {
  std::atomic<int64_t> live_blocks;
  std::atomic<int64_t> live_bytes;
  std::atomic<int64_t> total_blocks;
};

// The counters of one thread. Only the owner writes, so that an addition
// needs no atomic operation but a load and a store; others read. A thread
// that ends leaves its counters to the next new thread, which continues them.
struct thread_record {
  counter_set counters[area_count + 1];
  thread_record *next;
  bool taken;
};

// Guards the list of records, and which thread has which.
constinit std::mutex records_mutex;
constinit thread_record *records = nullptr;
// The counters of threads without a record.
constinit counter_set shared[area_count + 1]{};

// Reached through the static TLS block: one instruction instead of a call.
thread_local constinit thread_record *current __attribute__((tls_model("initial-exec"))) = nullptr;
thread_local constinit bool thread_is_over = false;

void add_own(std::atomic<int64_t> &to, int64_t difference) {
  to.store(to.load(std::memory_order_relaxed) + difference, std::memory_order_relaxed);
}

void add_own(counter_set &to, int64_t blocks, int64_t bytes, int64_t total) {
  add_own(to.live_blocks, blocks);
  add_own(to.live_bytes, bytes);
  add_own(to.total_blocks, total);
}

// Blocks that later destructors of the thread free are counted in `shared`.
struct thread_end {
  ~thread_end() {
    std::lock_guard lock(records_mutex);
    current->taken = false;
    current = nullptr;
    thread_is_over = true;
  }
};

// Gives the thread a record; null when there is no memory for one.
thread_record *take_record() {
  std::lock_guard lock(records_mutex);
  thread_record *record = records;
  while (record != nullptr && record->taken) record = record->next;
  if (record == nullptr) {
    void *memory = calloc(1, sizeof(thread_record));
    if (memory == nullptr) return nullptr;
    records = record = new (memory) thread_record{{}, records, false};
  }
  record->taken = true;
  current = record;
  static thread_local thread_end at_thread_end;
  (void)&at_thread_end;
  return record;
}

__attribute__((noinline, cold)) void count_without_record(uint32_t slot, int64_t blocks, int64_t bytes,
                                                          int64_t total) {
  thread_record *record = thread_is_over ? nullptr : take_record();
  if (record != nullptr) return add_own(record->counters[slot], blocks, bytes, total);
  shared[slot].live_blocks.fetch_add(blocks, std::memory_order_relaxed);
  shared[slot].live_bytes.fetch_add(bytes, std::memory_order_relaxed);
  shared[slot].total_blocks.fetch_add(total, std::memory_order_relaxed);
}

inline void count(uint32_t slot, int64_t blocks, int64_t bytes, int64_t total) {
  if (__builtin_expect(current != nullptr, 1)) {
    add_own(current->counters[slot], blocks, bytes, total);
  } else {
    count_without_record(slot, blocks, bytes, total);
  }
}

// ---- Fault injection ----
constinit std::atomic<bool> fault_armed{false};
constinit std::atomic<uint64_t> fault_target{0};
constinit std::atomic<bool> fault_all_later{false};
constinit std::atomic<uint64_t> fault_seen{0};
constinit std::atomic<uint64_t> fault_fired{0};

__attribute__((noinline, cold)) bool armed_failure_strikes() {
  const uint64_t ordinal = fault_seen.fetch_add(1) + 1;
  const uint64_t target = fault_target.load();
  if (ordinal < target || (ordinal > target && !fault_all_later.load())) return false;
  fault_fired.fetch_add(1);
  return true;
}

inline bool refused(size_t size) {
  if (size > largest_size) return true;
  return __builtin_expect(fault_armed.load(std::memory_order_relaxed), 0) && armed_failure_strikes();
}

// ---- Blocks ----
block_header *header_of(void *block) {
  return static_cast<block_header *>(block) - 1;
}

// Counts a new block; returns the address for the caller.
void *charge(uint32_t area, block_header *header, size_t size) {
  if (header == nullptr) return nullptr;
  header->size = size;
  header->slot = slot_of(area, true);
  count(header->slot, 1, static_cast<int64_t>(size), 1);
  return header + 1;
}

// Asks for big pages for a block of many pages: filling it then costs fewer page faults, and reading it fewer
// look-ups of addresses. If the system refuses, nothing is lost.
void ask_for_big_pages(block_header *header, size_t size) {
  constexpr size_t many = size_t{4} << 20;
  constexpr uintptr_t page = 4096;
  if (header == nullptr || size < many) return;
  const int error = errno;
  const uintptr_t start = (reinterpret_cast<uintptr_t>(header) + page - 1) & ~(page - 1);
  const uintptr_t end = reinterpret_cast<uintptr_t>(header) + size;
  madvise(reinterpret_cast<void *>(start), end - start, MADV_HUGEPAGE);
  errno = error;
}

} // namespace

int qmalloc_init(uint32_t area, qmalloc_area_name_fn name) {
  if (name == nullptr) return 1;
  const uint32_t slot = slot_of(area, true);
  if (slot == overflow_slot) return 1;
  area_names[slot].store(name);
  return 0;
}

void *qmalloc_named(uint32_t area, size_t size) {
  if (refused(size)) return nullptr;
  auto *header = static_cast<block_header *>(malloc(sizeof(block_header) + size));
  ask_for_big_pages(header, size);
  return charge(area, header, size);
}

void *qcalloc_named(uint32_t area, size_t elements, size_t size) {
  size_t bytes = 0;
  if (__builtin_mul_overflow(elements, size, &bytes) || refused(bytes)) return nullptr;
  return charge(area, static_cast<block_header *>(calloc(1, sizeof(block_header) + bytes)), bytes);
}

void *qrealloc_named(uint32_t area, void *block, size_t size) {
  if (block == nullptr) return qmalloc_named(area, size);
  if (refused(size)) return nullptr;
  const block_header before = *header_of(block);
  auto *header = static_cast<block_header *>(realloc(header_of(block), sizeof(block_header) + size));
  if (header == nullptr) return nullptr;
  header->size = size;
  header->slot = slot_of(area, true);
  count(before.slot, -1, -static_cast<int64_t>(before.size), 0);
  count(header->slot, 1, static_cast<int64_t>(size), 0);
  return header + 1;
}

char *qstrdup_named(uint32_t area, const char *text) {
  if (text == nullptr) return nullptr;
  const size_t size = strlen(text) + 1;
  void *copy = qmalloc_named(area, size);
  return copy != nullptr ? static_cast<char *>(memcpy(copy, text, size)) : nullptr;
}

void qfree_named(void *block) {
  if (block == nullptr) return;
  block_header *header = header_of(block);
  count(header->slot, -1, -static_cast<int64_t>(header->size), 0);
  free(header);
}

void qfree_unnamed(void *block) {
  qfree_named(block);
}

qmalloc_counters qmalloc_count(uint32_t area) {
  const uint32_t slot = slot_of(area, false);
  qmalloc_counters sum{};
  if (slot == overflow_slot) return sum;
  const auto add = [&sum](const counter_set &from) {
    sum.live_blocks += from.live_blocks.load(std::memory_order_relaxed);
    sum.live_bytes += from.live_bytes.load(std::memory_order_relaxed);
    sum.total_blocks += from.total_blocks.load(std::memory_order_relaxed);
  };
  std::lock_guard lock(records_mutex);
  add(shared[slot]);
  for (const thread_record *record = records; record != nullptr; record = record->next) {
    add(record->counters[slot]);
  }
  return sum;
}

const char *qmalloc_area_name(uint32_t area) {
  const uint32_t slot = slot_of(area, false);
  const qmalloc_area_name_fn name = slot != overflow_slot ? area_names[slot].load() : nullptr;
  return name != nullptr ? name(area) : nullptr;
}

void qmalloc_fail_nth(uint64_t n, bool all_later) {
  fault_armed.store(false);
  if (n == 0) {
    return; // what fired until now stays readable
  }
  fault_target.store(n);
  fault_all_later.store(all_later);
  fault_seen.store(0);
  fault_fired.store(0);
  fault_armed.store(true);
}

uint64_t qmalloc_fail_fired(void) {
  return fault_fired.load();
}

uint64_t qmalloc_fail_seen(void) {
  return fault_seen.load();
}
