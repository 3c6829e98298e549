// Compiles the line of a print node into a plan.
#include "line_plan.hpp"

#include <algorithm>

zu_tvr_line_plan::~zu_tvr_line_plan() {
  for (uint32_t i = 0; i < condition_count; ++i) tvr::drop_field(condition_names.get()[i]);
}

zu_tvr_line_memory::~zu_tvr_line_memory() {
  for (uint32_t i = 0; i < slot_count; ++i) tvr::text(slots.get()[i].location).reset();
  for (uint32_t i = 0; i < read_count; ++i) tvr::drop_field(reads.get()[i].held);
}

namespace tvr {
namespace {

constexpr std::string_view slot_mark = "%s";

class planner {
public:
  planner(zu_tvr_line_plan &plan, const zu_tvr_print_data *data) noexcept
      : plan_(plan), data_(data), map_(data->props_map) {}

  bool run() noexcept {
    if (!split_format()) return false;
    if (map_ == nullptr) return true;
    plan_.item_count = static_cast<uint32_t>(map_->num_items);
    plan_.has_arrays =
        (map_->type_flags[0] & TVR_MAP_HAS_ELEMENT) != 0 || (map_->type_flags[1] & TVR_MAP_HAS_INDEX) != 0;
    return gather_reads() && place_slots() && name_conditions();
  }

private:
  bool split_format() noexcept;
  bool gather_reads() noexcept;
  bool place_slots() noexcept;
  planned_property plan_property(int32_t index, const zu_tvr_extra_prop *&extra) noexcept;
  bool name_conditions() noexcept;
  bool make_condition_names(const int32_t *index, const int32_t *end) noexcept;

  zu_tvr_line_plan &plan_;
  const zu_tvr_print_data *data_;
  const zu_tvr_props_map *map_; // or null
};

bool planner::split_format() noexcept {
  std::string_view format = data_->format;
  plan_.texts = make_text(format.size() + piece_padding);
  if (!plan_.texts) return false;
  format.copy(plan_.texts.get(), format.size());
  format = {plan_.texts.get(), format.size()};
  for (size_t at = format.find(slot_mark); at != format.npos; at = format.find(slot_mark, at + 2)) {
    ++plan_.slot_count;
  }
  plan_.literals = make_zeroed_array<std::string_view>(plan_.slot_count + 1);
  if (!plan_.literals) return false;
  size_t start = 0;
  for (uint32_t i = 0; i <= plan_.slot_count; ++i) {
    const size_t at = std::min(format.find(slot_mark, start), format.size());
    plan_.literals.get()[i] = format.substr(start, at - start);
    start = at + slot_mark.size();
  }
  return true;
}

// The search for an extra property starts at the one that was found last.
planned_property planner::plan_property(int32_t index, const zu_tvr_extra_prop *&extra) noexcept {
  if (index < map_->num_items) {
    zu_tvr_fmt_item *item = map_->fmt_items[index];
    return {item != nullptr ? item->name : nullptr, index, no_condition, item, false};
  }
  const zu_tvr_extra_prop *found = find_extra(extra, index);
  if (found != nullptr) extra = found;
  return {found != nullptr ? found->name : nullptr, index, no_condition, nullptr, true};
}

bool planner::gather_reads() noexcept {
  for (auto *item = map_->uri_items; item != nullptr; item = item->next) {
    ++plan_.read_count;
    plan_.property_count += static_cast<uint32_t>(item->num_props);
  }
  plan_.reads = make_zeroed_array<planned_read>(plan_.read_count);
  plan_.properties = make_zeroed_array<planned_property>(plan_.property_count);
  if (!plan_.reads || !plan_.properties) return false;
  planned_read *read = plan_.reads.get();
  uint32_t first = 0;
  const zu_tvr_extra_prop *extra = map_->extra_props;
  for (auto *item = map_->uri_items; item != nullptr; item = item->next, ++read) {
    *read = {item, plan_.properties.get() + first, 0, first};
    // Fewer properties may have been added than the item has room for.
    for (int32_t i = 0; i < item->num_props; ++i) {
      if (item->indices[i] < 0) continue;
      plan_.properties.get()[first + read->count++] = plan_property(item->indices[i], extra);
    }
    first += read->count;
  }
  plan_.property_count = first;
  return true;
}

bool planner::place_slots() noexcept {
  const uint32_t count = std::max(plan_.slot_count, plan_.item_count);
  plan_.slots = make_zeroed_array<planned_slot>(count);
  if (!plan_.slots) return false;
  for (uint32_t i = 0; i < count; ++i) {
    zu_tvr_fmt_item *item = i < plan_.item_count ? map_->fmt_items[i] : nullptr;
    const bool has_array =
        item != nullptr && is_array_kind(item) && item->data_kind == TVR_KIND_ARRAY_ELEMENT;
    const auto *array = has_array ? static_cast<const zu_tvr_array_data *>(item->data) : nullptr;
    plan_.slots.get()[i] = {item, array, plan_.property_count, no_condition, no_condition};
    if (array != nullptr && array->partner >= 0) plan_.has_partners = true;
  }
  for (uint32_t i = 0; i < plan_.property_count; ++i) {
    const planned_property &property = plan_.properties.get()[i];
    if (property.item != nullptr) plan_.slots.get()[property.index].property = i;
  }
  return true;
}

// ---- Condition properties: one ($tvrN) for every index that a line may set ----

bool planner::name_conditions() noexcept {
  if (data_->cond == nullptr) return true;
  const uint32_t slots = std::max(plan_.slot_count, plan_.item_count);
  const auto indices = make_zeroed_array<int32_t>(size_t{plan_.property_count} + 2 * size_t{slots});
  if (!indices) return false;
  int32_t *end = indices.get();
  for (uint32_t i = 0; i < plan_.property_count; ++i) *end++ = plan_.properties.get()[i].index;
  for (uint32_t i = 0; i < slots; ++i) {
    const planned_slot &slot = plan_.slots.get()[i];
    if (slot.array == nullptr) continue;
    *end++ = static_cast<int32_t>(i);
    if (slot.array->partner != -1) *end++ = slot.array->partner;
  }
  std::sort(indices.get(), end);
  end = std::unique(indices.get(), end);
  if (!make_condition_names(indices.get(), end)) return false;

  const auto condition_of = [&](int32_t index) {
    return static_cast<uint32_t>(std::lower_bound(indices.get(), end, index) - indices.get());
  };
  for (uint32_t i = 0; i < plan_.property_count; ++i) {
    planned_property &property = plan_.properties.get()[i];
    property.condition = condition_of(property.index);
  }
  for (uint32_t i = 0; i < slots; ++i) {
    planned_slot &slot = plan_.slots.get()[i];
    if (slot.array == nullptr) continue;
    slot.condition = condition_of(static_cast<int32_t>(i));
    if (slot.array->partner != -1) slot.partner_condition = condition_of(slot.array->partner);
  }
  return true;
}

bool planner::make_condition_names(const int32_t *index, const int32_t *end) noexcept {
  plan_.condition_names = make_zeroed_array<zu_do_name *>(static_cast<size_t>(end - index));
  if (!plan_.condition_names) return false;
  for (; index != end; ++index) {
    char *formatted = nullptr;
    const int length = zu_printf(&formatted, "%s%d", "tvr", *index);
    const text holder(formatted);
    zu_do_name *name = length >= 0 ? zu_do_name_new(formatted) : nullptr;
    if (name == nullptr) return false;
    plan_.condition_names.get()[plan_.condition_count++] = name;
  }
  return true;
}

} // namespace

const zu_tvr_extra_prop *find_extra(const zu_tvr_extra_prop *from, int32_t index) noexcept {
  while (from != nullptr && from->slot != index) from = from->next;
  return from;
}

owned<zu_tvr_line_plan> plan_line(const zu_tvr_print_data *data) noexcept {
  auto plan = make_owned<zu_tvr_line_plan>();
  if (plan && !planner(*plan, data).run()) plan.reset();
  return plan;
}

// ---- Per node and walk ----

namespace {

owned<zu_tvr_line_memory> make_memory(const zu_tvr_line_plan *plan) noexcept {
  auto memory = make_owned<zu_tvr_line_memory>();
  if (!memory) return memory;
  memory->plan = plan->id;
  memory->slots = make_zeroed_array<slot_state>(plan->item_count);
  memory->reads = make_zeroed_array<read_memory>(plan->read_count);
  memory->positions = make_zeroed_array<int32_t>(plan->property_count);
  memory->facts = make_zeroed_array<zu_do_value_facts>(plan->property_count + 1);
  if (!memory->slots || !memory->reads || !memory->positions || !memory->facts) return {};
  if (plan->condition_count > 0) {
    memory->condition_values = make_zeroed_array<zu_do_value *>(plan->condition_count);
    memory->null = ref<zu_do_value>::adopt(zu_do_value_new_null());
    if (!memory->condition_values || !memory->null) return {};
  }
  memory->slot_count = plan->item_count;
  memory->read_count = plan->read_count;
  memory->clear_elements();
  return memory;
}

} // namespace

void line_memory_delete(zu_tvr_line_memory *memory) noexcept {
  const owned<zu_tvr_line_memory> freed(memory);
}

[[gnu::noinline]] zu_tvr_line_memory *make_line_memory(zu_tvr_print_scratch_data *scratch,
                                                       const zu_tvr_line_plan *plan) noexcept {
  auto made = make_memory(plan);
  if (!made) return nullptr;
  line_memory_delete(std::exchange(scratch->memory, made.release()));
  return scratch->memory;
}

} // namespace tvr
