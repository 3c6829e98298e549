// What is prepared once per print node, and remembered per node and render.
#include <string_view>

#include "print_job.hpp"

namespace tvr {
namespace {

constexpr std::string_view slot_mark = "%s";

uint32_t count_slots(std::string_view format) noexcept {
  uint32_t slots = 0;
  for (size_t at = format.find(slot_mark); at != std::string_view::npos;
       at = format.find(slot_mark, at + 2)) {
    ++slots;
  }
  return slots;
}

void split(std::string_view format, format_run *runs) noexcept {
  size_t start = 0;
  for (size_t at = format.find(slot_mark); at != std::string_view::npos; at = format.find(slot_mark, start)) {
    *runs++ = {format.data() + start, at - start};
    start = at + slot_mark.size();
  }
  *runs = {format.data() + start, format.size() - start};
}

// Every index that a walk is likely to meet; names of any others are made when they are met.
uint32_t count_condition_names(const zu_tvr_props_map *map) noexcept {
  int64_t properties = map->num_items;
  for (const auto *item = map->uri_items; item != nullptr; item = item->next) properties += item->num_props;
  int64_t past_last = map->num_items;
  for (const auto *item = map->uri_items; item != nullptr; item = item->next) {
    for (int32_t i = 0; i < item->num_props; ++i) {
      if (item->indices[i] >= past_last && item->indices[i] < properties)
        past_last = item->indices[i] + int64_t{1};
    }
  }
  return static_cast<uint32_t>(past_last);
}

bool make_condition_names(prepared_print *prepared, const zu_tvr_props_map *map) noexcept {
  const uint32_t count = count_condition_names(map);
  prepared->cond_names = make_zeroed_array<zu_do_name *>(count).release();
  if (prepared->cond_names == nullptr) return false;
  for (; prepared->cond_name_count < count; ++prepared->cond_name_count) {
    char *formatted = nullptr;
    const int length = zu_printf(&formatted, "%s%d", "tvr", static_cast<int>(prepared->cond_name_count));
    const text holder(formatted);
    zu_do_name *name = length >= 0 ? zu_do_name_new(formatted) : nullptr;
    if (name == nullptr) return false;
    prepared->cond_names[prepared->cond_name_count] = name;
  }
  return true;
}

uint32_t count_uri_items(const zu_tvr_props_map *map) noexcept {
  uint32_t count = 0;
  for (const auto *item = map->uri_items; item != nullptr; item = item->next) ++count;
  return count;
}

} // namespace

prepared_print *prepare_print(const char *format, const zu_tvr_props_map *map, bool has_cond) noexcept {
  unique<prepared_print, delete_prepared> prepared(make_zeroed<prepared_print>().release());
  if (!prepared) return nullptr;
  prepared->slot_count = count_slots(format);
  prepared->runs = make_zeroed_array<format_run>(prepared->slot_count + 1).release();
  prepared->pending = zu_do_name_new(ZU_DO_NAME_PENDING_ATTRS);
  if (prepared->runs == nullptr || prepared->pending == nullptr) return nullptr;
  split(format, prepared->runs);
  if (has_cond && map != nullptr && !make_condition_names(prepared.get(), map)) return nullptr;
  return prepared.release();
}

void delete_prepared(prepared_print *prepared) noexcept {
  if (prepared == nullptr) return;
  for (uint32_t i = 0; i < prepared->cond_name_count; ++i) drop_field(prepared->cond_names[i]);
  drop_field(prepared->pending);
  qfree_named(prepared->cond_names);
  qfree_named(prepared->runs);
  qfree_named(prepared);
}

print_memo *memo_of(zu_tvr_print_scratch_data *scratch, const zu_tvr_props_map *map) noexcept {
  if (scratch->memo != nullptr) return static_cast<print_memo *>(scratch->memo);
  unique<print_memo, delete_memo> memo(make_zeroed<print_memo>().release());
  if (!memo) return nullptr;
  memo->show_tech = -1;
  const uint32_t count = count_uri_items(map);
  memo->items = make_zeroed_array<item_memo>(count).release();
  if (memo->items == nullptr) return nullptr;
  for (const auto *item = map->uri_items; item != nullptr; item = item->next) {
    item_memo &made = memo->items[memo->item_count];
    made.slots = make_zeroed_array<slot_memo>(static_cast<size_t>(item->num_props)).release();
    if (made.slots == nullptr) return nullptr;
    made.count = item->num_props;
    ++memo->item_count;
  }
  scratch->memo = memo.get();
  return memo.release();
}

void delete_memo(print_memo *memo) noexcept {
  if (memo == nullptr) return;
  for (uint32_t i = 0; i < memo->item_count; ++i) {
    drop_field(memo->items[i].held);
    qfree_named(memo->items[i].slots);
  }
  qfree_named(memo->items);
  qfree_named(memo);
}

} // namespace tvr
