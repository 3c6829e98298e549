// Gathers the values of a line from the cached records that the node's URI items name.
#include <algorithm>
#include <cstring>

#include "find_record.hpp"
#include "print_job.hpp"
#include "zu_tovra/internal/report.hpp"

namespace tvr {
namespace {

// Reads one record, by slots where its shape is known from the record before it.
class record_reader {
public:
  record_reader(zu_do_properties *record, item_memo *memo, zu_do_name *pending) noexcept : record_(record) {
    const void *shape = memo != nullptr ? zu_do_properties_get_shape(record) : nullptr;
    if (shape == nullptr) return;
    memo_ = memo;
    if (memo->shape != shape) learn_shape(shape, pending);
  }

  zu_do_value *value(int32_t position, zu_do_name *name) const noexcept {
    if (memo_ == nullptr || name == nullptr) return zu_do_properties_get_value_n(record_, name);
    slot_memo &known = memo_->slots[position];
    if (known.name != name) known = {name, zu_do_properties_find_slot(record_, name)};
    return at(known.slot, name);
  }

  const char *pending_attributes(zu_do_name *name) const noexcept {
    if (memo_ == nullptr) return zu_do_properties_get_string(record_, ZU_DO_NAME_PENDING_ATTRS, nullptr);
    return zu_do_value_get_string(at(memo_->pending_slot, name), nullptr);
  }

private:
  // What is not in the shape may still have been set over it.
  zu_do_value *at(int32_t slot, zu_do_name *name) const noexcept {
    return slot >= 0 ? zu_do_properties_get_at(record_, slot) : zu_do_properties_get_value_n(record_, name);
  }

  void learn_shape(const void *shape, zu_do_name *pending) noexcept {
    drop_field(memo_->held);
    memo_->held = share_into_field(record_);
    memo_->shape = shape;
    memo_->pending_slot = zu_do_properties_find_slot(record_, pending);
    std::fill_n(memo_->slots, memo_->count, slot_memo{});
  }

  zu_do_properties *record_;
  item_memo *memo_ = nullptr; // none: look up by name
};

// What one URI item's record is read with.
struct item_job {
  print_job &job;
  const zu_tvr_uri_item *item;
  record_finder &finder;
  const record_reader &reader;
  const char *pending; // the record's pending attributes, or none
  item_location location = {};
};

// A property by its index: a format item, or the extra property that carries the index.
struct indexed_property {
  zu_do_name *name;
  zu_tvr_fmt_item *item; // none for an extra property
};

// Finds properties by index. The search for extra ones goes on where the last was found.
class property_finder {
public:
  explicit property_finder(const zu_tvr_props_map *map) noexcept : map_(map), next_(map->extra_props) {}

  bool find(int32_t index, indexed_property &property) noexcept {
    if (index < map_->num_items) {
      zu_tvr_fmt_item *item = map_->fmt_items[index];
      property = {item != nullptr ? item->name : nullptr, item};
      return item != nullptr;
    }
    for (; next_ != nullptr; next_ = next_->next) {
      if (next_->slot != index) continue;
      property = {next_->name, nullptr};
      return true;
    }
    return false;
  }

private:
  const zu_tvr_props_map *map_;
  const zu_tvr_extra_prop *next_;
};

// ---- Pending failures ----

// True when one of the pending attributes is the property or the record's URI; false also after a failure
// (`*copied` is then false).
bool is_pending(const char *attributes, const char *name, bool &copied) noexcept {
  const text copy = copy_text(attributes);
  copied = copy != nullptr;
  char *rest = nullptr;
  for (char *token = copied ? strtok_r(copy.get(), "\":@}", &rest) : nullptr; token != nullptr;
       token = strtok_r(nullptr, "\":@}", &rest)) {
    if ((name != nullptr && std::strcmp(token, name) == 0) || std::strcmp(token, ZU_DO_NAME_URI) == 0)
      return true;
  }
  return false;
}

bool note_pending(const item_job &item, zu_do_name *name) noexcept {
  zu_tvr_print_scratch_data *scratch = item.job.scratch;
  if (item.pending == nullptr || scratch->failed != 0) return true;
  bool copied = false;
  if (is_pending(item.pending, zu_do_name_get_strname(name), copied)) scratch->failed = 1;
  if (!copied) TVR_ERROR("Could not strdup string");
  return copied;
}

// ---- Values ----

int32_t report_missing_property(const item_job &item, zu_do_name *name) noexcept {
  const char *uri = item.finder.uri_text();
  char *message = nullptr;
  zu_printf(&message, "Unable to find property %s on uri %s", zu_do_name_get_strname(name),
            uri != nullptr ? uri : "*missing uri*");
  const text holder(message);
  fail(item.job.ctx, ZU_FAILED, message != nullptr ? message : "Unable to find property");
  return ZU_TVR_STEP_FAILED;
}

int32_t store_value(item_job &item, int32_t index, zu_tvr_fmt_item *format_item,
                    zu_do_value *value) noexcept {
  if (zu_do_value_get_type(value) == ZU_DO_TYPE_NONE) return ZU_TVR_STEP_NOTHING;
  value_slot &slot = item.job.slots[index];
  slot.value = value;
  if (format_item->kind != TVR_KIND_LOCATION) return ZU_TVR_STEP_WALK;
  qfree_named(slot.location);
  slot.location = item.location.text_for(item.item, format_item, value).release();
  return slot.location != nullptr ? ZU_TVR_STEP_WALK : ZU_TVR_STEP_FAILED;
}

// Defaults count as null unless defaults are rendered; then the node's eval properties, where there are any,
// say what is set.
condition_set set_by_rule(const print_job &job, int32_t index, zu_do_value *value) noexcept {
  if (job.ctx->render_defaults == 0) {
    return zu_do_value_is_default(value) ? set_condition_null(job, index) : set_condition(job, index, value);
  }
  if (job.data->eval_props == nullptr) return set_condition(job, index, value);
  ref<zu_do_name> made;
  zu_do_name *name = condition_name(job, index, made);
  if (name == nullptr) return condition_set::no_name;
  zu_do_value *decides = zu_do_properties_get_value_n(job.data->eval_props, name);
  if (decides == nullptr) return condition_set::done;
  return zu_do_value_is_null(decides) ? set_condition_null(job, index) : set_condition(job, index, value);
}

int32_t set_condition_property(const print_job &job, int32_t index, zu_do_value *value) noexcept {
  if (job.conditions == nullptr) return ZU_TVR_STEP_WALK;
  switch (set_by_rule(job, index, value)) {
  case condition_set::done:
    return ZU_TVR_STEP_WALK;
  case condition_set::no_name:
    TVR_ERROR("Failed to allocate condition property name");
    break;
  case condition_set::not_set:
    fail(job.ctx, ZU_EXHAUSTED, "Failed to set condition property");
    break;
  }
  return ZU_TVR_STEP_FAILED;
}

int32_t gather_property(item_job &item, int32_t position, property_finder &properties) noexcept {
  const int32_t index = item.item->indices[position];
  if (index < 0) return ZU_TVR_STEP_WALK; // fewer properties were added than the item has room for
  indexed_property property = {};
  if (!properties.find(index, property)) {
    TVR_ERROR("Property not found for index");
    return ZU_TVR_STEP_FAILED;
  }
  TVR_DEBUG("print node: attempting to find value for %s (index=%d)", zu_do_name_get_strname(property.name),
            index);
  if (!note_pending(item, property.name)) return ZU_TVR_STEP_FAILED;
  zu_do_value *value = item.reader.value(position, property.name);
  if (value == nullptr) return report_missing_property(item, property.name);
  if (property.item != nullptr) {
    const int32_t step = store_value(item, index, property.item, value);
    if (step != ZU_TVR_STEP_WALK) return step;
  }
  return set_condition_property(item.job, index, value);
}

int32_t gather_item(print_job &job, const zu_tvr_uri_item *uri_item, record_finder &finder,
                    zu_do_properties *record, item_memo *memo, property_finder &properties) noexcept {
  TVR_INFO("print node: processing %d props for %s", uri_item->num_props, finder.uri_text());
  zu_do_name *pending_name = job.prepared->pending;
  const record_reader reader(record, memo, pending_name);
  item_job item = {job, uri_item, finder, reader, reader.pending_attributes(pending_name)};
  for (int32_t i = 0; i < uri_item->num_props; ++i) {
    const int32_t step = gather_property(item, i, properties);
    if (step != ZU_TVR_STEP_WALK) return step;
  }
  return ZU_TVR_STEP_WALK;
}

} // namespace

int32_t gather_values(print_job &job) noexcept {
  job.scratch->failed = 0;
  const print_memo *memo = debugging() ? nullptr : memo_of(job.scratch, job.map);
  property_finder properties(job.map);
  bool found = false;
  bool missing = false;
  uint32_t position = 0;
  for (auto *item = job.map->uri_items; item != nullptr && !(found && missing); item = item->next) {
    const uint32_t at = position++;
    record_finder finder(item->uri, job.ctx);
    zu_do_properties *record = finder.find();
    if (record == nullptr) {
      missing = true;
      continue;
    }
    found = true;
    item_memo *known = memo != nullptr && at < memo->item_count ? &memo->items[at] : nullptr;
    const int32_t step = gather_item(job, item, finder, record, known, properties);
    if (step != ZU_TVR_STEP_WALK) return step;
  }
  if (!missing) return ZU_TVR_STEP_WALK;
  if (!found) return ZU_TVR_STEP_NOTHING;
  fail(job.ctx, ZU_FAILED, "Property cache is incomplete");
  return ZU_TVR_STEP_FAILED;
}

} // namespace tvr
