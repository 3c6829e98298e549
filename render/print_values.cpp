// Gathers the values of a line from the cached records that the node's URI items name.
#include <algorithm>

#include "find_record.hpp"
#include "observe_line.hpp"
#include "zu_tovra/internal/report.hpp"
#include "zu_tovra/internal/shortcuts.hpp"

namespace tvr {
namespace {

zu_do_value_facts facts_of(zu_do_value *value) noexcept {
  return {value, zu_do_value_get_type(value), zu_do_value_is_default(value),
          zu_do_value_get_typedef_name(value) != nullptr};
}

// ---- Reading a record ----

// Learns where a read's properties stand in the record's shape.
[[gnu::noinline]] void learn_shape(print_job &job, const planned_read &read, read_memory &known,
                                   zu_do_properties *record, const void *shape) noexcept {
  drop_field(known.held);
  known.shape = shape;
  known.held = share_into_field(record);
  known.whole = true;
  for (uint32_t i = 0; i < read.count; ++i) {
    zu_do_name *name = read.properties[i].name;
    const int32_t position = name != nullptr ? shortcuts.find_position(shape, name) : -1;
    job.memory->positions.get()[read.first + i] = position;
    known.whole = known.whole && position >= 0;
  }
}

// The properties that have no position: what is not in the shape may still have been set.
[[gnu::noinline]] void read_by_name(const planned_read &read, zu_do_properties *record,
                                    const int32_t *positions, zu_do_value_facts *facts) noexcept {
  for (uint32_t i = 0; i < read.count; ++i) {
    if (positions != nullptr && positions[i] >= 0) continue;
    facts[i] = facts_of(zu_do_properties_get_value_n(record, read.properties[i].name));
  }
}

// The values of a read's properties, in their order.
const zu_do_value_facts *read_record(print_job &job, uint32_t at, zu_do_properties *record) noexcept {
  const planned_read &read = job.plan->reads.get()[at];
  zu_do_value_facts *facts = job.memory->facts.get();
  const int32_t *positions = job.memory->positions.get() + read.first;
  read_memory &known = job.memory->reads.get()[at];
  const void *shape = nullptr;
  if (shortcuts.read_at != nullptr) {
    shape = shortcuts.read_at(record, known.shape, positions, read.count, facts);
    if (shape != nullptr && shape != known.shape) {
      learn_shape(job, read, known, record, shape);
      shortcuts.read_at(record, shape, positions, read.count, facts);
    }
  }
  if (shape == nullptr || !known.whole)
    read_by_name(read, record, shape != nullptr ? positions : nullptr, facts);
  return facts;
}

// ---- Pending failures ----

// True when one of the pending attributes is the property or the record's URI.
[[gnu::noinline]] bool is_pending(std::string_view attributes, const char *name) noexcept {
  constexpr std::string_view delimiters = "\":@}";
  while (!attributes.empty()) {
    const size_t end = std::min(attributes.find_first_of(delimiters), attributes.size());
    const std::string_view token = attributes.substr(0, end);
    if (!token.empty() && ((name != nullptr && token == name) || token == ZU_DO_NAME_URI)) return true;
    attributes.remove_prefix(std::min(end + 1, attributes.size()));
  }
  return false;
}

// ---- Values ----

// What one record is read with.
struct read_job {
  print_job &job;
  const planned_read &read;
  const found_record &found;
  item_location location = {};
};

[[gnu::noinline]] int32_t report_missing_property(const read_job &now, zu_do_name *name) noexcept {
  char *message = nullptr;
  zu_printf(&message, "Unable to find property %s on uri %s", zu_do_name_get_strname(name),
            now.found.uri != nullptr ? now.found.uri : "*missing uri*");
  const text holder(message);
  fail(now.job.ctx, ZU_FAILED, message != nullptr ? message : "Unable to find property",
       {now.found.uri, zu_do_name_get_strname(name)});
  return ZU_TVR_STEP_FAILED;
}

[[gnu::noinline]] bool make_location(read_job &now, const planned_property &property,
                                     zu_do_value *value) noexcept {
  value_slot &slot = now.job.memory->slots.get()[property.index];
  const text earlier(std::exchange(slot.location, nullptr));
  slot.location = now.location.text_for(now.read.item, property.item, value).release();
  return slot.location != nullptr;
}

// Defaults count as null unless defaults are rendered; then the node's eval properties, where there are any,
// say what is set.
bool set_condition(print_job &job, const planned_property &property,
                   const zu_do_value_facts &facts) noexcept {
  bool as_null = facts.is_default;
  if (job.ctx->render_defaults != 0) {
    zu_do_properties *eval_props = job.data->eval_props;
    zu_do_name *name = job.plan->condition_names.get()[property.condition];
    zu_do_value *decides =
        eval_props != nullptr ? zu_do_properties_get_value_n(eval_props, name) : facts.value;
    if (decides == nullptr) return true;
    as_null = eval_props != nullptr && zu_do_value_is_null(decides);
  }
  const bool set = as_null ? job.conditions.set_null(property.condition)
                           : job.conditions.set(property.condition, facts.value);
  if (!set) fail(job.ctx, ZU_EXHAUSTED, "Failed to set condition property");
  return set;
}

inline int32_t gather_property(read_job &now, const planned_property &property, zu_do_name *name,
                               const zu_do_value_facts &facts) noexcept {
  TVR_DEBUG("print node: attempting to find value for %s (index=%d)", zu_do_name_get_strname(name),
            property.index);
  if (now.found.pending != nullptr && now.job.scratch->failed == 0) {
    now.job.scratch->failed = is_pending(now.found.pending, zu_do_name_get_strname(name)) ? 1 : 0;
  }
  if (facts.value == nullptr) return report_missing_property(now, name);
  if (property.item != nullptr) {
    if (facts.type == ZU_DO_TYPE_NONE) {
      observe_withheld(now.job.ctx, ZU_TVR_WITHHELD_NULL, {now.found.uri, zu_do_name_get_strname(name)});
      return ZU_TVR_STEP_NOTHING;
    }
    now.job.memory->slots.get()[property.index].facts = facts;
    if (property.item->kind == TVR_KIND_LOCATION && !make_location(now, property, facts.value)) {
      return ZU_TVR_STEP_FAILED;
    }
  }
  if (property.condition == no_condition) return ZU_TVR_STEP_WALK;
  return set_condition(now.job, property, facts) ? ZU_TVR_STEP_WALK : ZU_TVR_STEP_FAILED;
}

// The extra property of an index: the search goes on from the one found last. So it may be another one than
// the plan found, when records before it are missing; none (traced) when there is none.
const zu_tvr_extra_prop *take_extra(const planned_property &property,
                                    const zu_tvr_extra_prop *&extra) noexcept {
  const zu_tvr_extra_prop *next = property.is_extra ? find_extra(extra, property.index) : nullptr;
  if (next != nullptr) {
    extra = next;
  } else {
    TVR_ERROR("Property not found for index");
  }
  return next;
}

int32_t gather_read(print_job &job, uint32_t at, const found_record &found,
                    const zu_tvr_extra_prop *&extra) noexcept {
  const planned_read &read = job.plan->reads.get()[at];
  TVR_INFO("print node: processing %d props for %s", read.item->num_props, found.uri);
  read_memory &memory = job.memory->reads.get()[at];
  memory.record = found.record;
  memory.uri = found.uri;
  const zu_do_value_facts *facts = read_record(job, at, found.record);
  read_job now = {job, read, found};
  for (uint32_t i = 0; i < read.count; ++i) {
    const planned_property &property = read.properties[i];
    zu_do_name *name = property.name;
    zu_do_value_facts other;
    const zu_do_value_facts *of_property = &facts[i];
    if (property.item == nullptr) {
      const zu_tvr_extra_prop *next = take_extra(property, extra);
      if (next == nullptr) return ZU_TVR_STEP_FAILED;
      if (next->name != name) {
        name = next->name;
        other = facts_of(zu_do_properties_get_value_n(found.record, name));
        of_property = &other;
      }
    }
    const int32_t step = gather_property(now, property, name, *of_property);
    if (step != ZU_TVR_STEP_WALK) return step;
  }
  return ZU_TVR_STEP_WALK;
}

// Keeps the URI of a record that is missing, for an observer.
[[gnu::cold]] void note_missing(print_job &job, const char *uri) noexcept {
  text_buffer &missing = job.memory->missing;
  missing.clear();
  if (uri != nullptr) missing.add(uri);
}

} // namespace

int32_t gather_values(print_job &job) noexcept {
  job.scratch->failed = 0;
  const zu_tvr_extra_prop *extra = job.data->props_map->extra_props;
  bool found_one = false;
  bool missing = false;
  for (uint32_t at = 0; at < job.plan->read_count && !(found_one && missing); ++at) {
    const found_record found = find_record(job.plan->reads.get()[at].item->uri, job.ctx);
    if (found.record == nullptr) {
      missing = true;
      if (job.ctx->observed != 0) note_missing(job, found.uri);
      continue;
    }
    found_one = true;
    const int32_t step = gather_read(job, at, found, extra);
    if (step != ZU_TVR_STEP_WALK) return step;
  }
  if (!missing) return ZU_TVR_STEP_WALK;
  const error_at at = {job.memory->missing.size() > 0 ? job.memory->missing.c_str() : nullptr};
  if (!found_one) {
    observe_withheld(job.ctx, ZU_TVR_WITHHELD_NO_RECORD, at);
    return ZU_TVR_STEP_NOTHING;
  }
  fail(job.ctx, ZU_FAILED, "Property cache is incomplete", at);
  return ZU_TVR_STEP_FAILED;
}

} // namespace tvr
