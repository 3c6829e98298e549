// Gathers the values of a line from the cached records that the node's URI items name.
//
// A value that is absent fails the line; a value that is null, or a record that is not in scope, means that
// the line is not written.
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

// Finds the positions of a read's properties in the record's shape.
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

// Reads the properties without a position by name: a record may have properties beyond its shape.
[[gnu::noinline]] void read_by_name(const planned_read &read, zu_do_properties *record,
                                    const int32_t *positions, zu_do_value_facts *facts) noexcept {
  for (uint32_t i = 0; i < read.count; ++i) {
    if (positions != nullptr && positions[i] >= 0) continue;
    facts[i] = facts_of(zu_do_properties_get_value_n(record, read.properties[i].name));
  }
}

// Reads the values of a read's properties, in their order.
void read_record(print_job &job, const planned_read &read, read_memory &known, zu_do_properties *record,
                 zu_do_value_facts *facts) noexcept {
  const int32_t *positions = job.memory->positions.get() + read.first;
  const void *shape = shortcuts.read_at(record, known.shape, positions, read.count, facts);
  if (shape == known.shape && known.whole) return;
  if (shape != nullptr && shape != known.shape) {
    learn_shape(job, read, known, record, shape);
    shortcuts.read_at(record, shape, positions, read.count, facts);
  }
  if (shape == nullptr || !known.whole)
    read_by_name(read, record, shape != nullptr ? positions : nullptr, facts);
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

[[gnu::noinline]] int32_t report_missing_property(const print_job &job, const found_record &found,
                                                  zu_do_name *name) noexcept {
  char *message = nullptr;
  zu_printf(&message, "Unable to find property %s on uri %s", zu_do_name_get_strname(name),
            found.uri != nullptr ? found.uri : "*missing uri*");
  const text holder(message);
  fail(job.ctx, ZU_FAILED, message != nullptr ? message : "Unable to find property",
       {found.uri, zu_do_name_get_strname(name)});
  return ZU_TVR_STEP_FAILED;
}

[[gnu::noinline]] bool make_location(const print_job &job, const planned_read &read, item_location &location,
                                     const planned_property &property, zu_do_value *value) noexcept {
  slot_state &slot = job.memory->slots.get()[property.index];
  const text earlier(std::exchange(slot.location, nullptr));
  slot.location = location.text_for(read.item, property.item, value).release();
  return slot.location != nullptr;
}

// The value that the condition sees for a property. A default counts as null unless defaults are rendered.
// Then the node's eval properties, if there are any, decide: a name that they do not have is not set (null
// pointer), one with null counts as null.
zu_do_value *condition_value(const print_job &job, uint32_t condition,
                             const zu_do_value_facts &facts) noexcept {
  bool as_null = facts.is_default;
  if (job.ctx->render_defaults != 0) {
    zu_do_properties *eval_props = job.data->eval_props;
    if (eval_props == nullptr) return facts.value;
    zu_do_value *decides =
        zu_do_properties_get_value_n(eval_props, job.plan->condition_names.get()[condition]);
    if (decides == nullptr) return nullptr;
    as_null = zu_do_value_is_null(decides);
  }
  return as_null ? job.memory->null.get() : facts.value;
}

// The name of an extra property. If records before its own are missing, the search for its index starts at
// the first extra property, and may find another one than the plan. Null (traced) when there is none.
[[gnu::noinline]] zu_do_name *find_extra_name(const planned_property &property,
                                              const zu_tvr_extra_prop *&extra) noexcept {
  const zu_tvr_extra_prop *next = property.is_extra ? find_extra(extra, property.index) : nullptr;
  if (next == nullptr) {
    TVR_ERROR("Property not found for index");
    return nullptr;
  }
  extra = next;
  return next->name;
}

// Reads the values of one record. `extra`: where the search for extra properties starts; null: those of the
// plan are used.
inline int32_t gather_read(print_job &job, const planned_read &read, read_memory &memory,
                           const found_record &found, const zu_tvr_extra_prop *extra) noexcept {
  TVR_INFO("print node: processing %d props for %s", read.item->num_props, found.uri);
  memory.record = found.record;
  memory.uri = found.uri;
  zu_do_value_facts *facts = job.memory->facts.get() + read.first;
  read_record(job, read, memory, found.record, facts);
  item_location location;
  const planned_property *const end = read.properties + read.count;
  for (const planned_property *property = read.properties; property != end; ++property, ++facts) {
    zu_do_name *name = property->name;
    if (property->item == nullptr && (extra != nullptr || name == nullptr)) {
      name = find_extra_name(*property, extra);
      if (name == nullptr) return ZU_TVR_STEP_FAILED;
      *facts = facts_of(zu_do_properties_get_value_n(found.record, name));
    }
    TVR_DEBUG("print node: attempting to find value for %s (index=%d)", zu_do_name_get_strname(name),
              property->index);
    if (found.pending != nullptr && job.scratch->failed == 0) {
      job.scratch->failed = is_pending(found.pending, zu_do_name_get_strname(name)) ? 1 : 0;
    }
    if (facts->value == nullptr) return report_missing_property(job, found, name);
    if (property->item != nullptr) {
      if (facts->type == ZU_DO_TYPE_NONE) {
        observe_withheld(job.ctx, ZU_TVR_WITHHELD_NULL, {found.uri, zu_do_name_get_strname(name)});
        return ZU_TVR_STEP_NOTHING;
      }
      if (property->item->kind == TVR_KIND_LOCATION &&
          !make_location(job, read, location, *property, facts->value)) {
        return ZU_TVR_STEP_FAILED;
      }
    }
    if (property->condition == no_condition) continue;
    job.memory->condition_values.get()[property->condition] =
        condition_value(job, property->condition, *facts);
  }
  return ZU_TVR_STEP_WALK;
}

// Keeps the URI of a missing record for an observer.
[[gnu::cold]] void note_missing(print_job &job, const char *uri) noexcept {
  text_buffer &missing = job.memory->missing;
  missing.clear();
  if (uri != nullptr) missing.add(uri);
}

// Ends a line whose records are not all in scope. If none is, the line does not apply; if some are, the
// template is wrong.
[[gnu::noinline]] int32_t end_without_record(const print_job &job, bool found_one) noexcept {
  const error_at at = {job.memory->missing.size() > 0 ? job.memory->missing.c_str() : nullptr};
  if (!found_one) {
    observe_withheld(job.ctx, ZU_TVR_WITHHELD_NO_RECORD, at);
    return ZU_TVR_STEP_NOTHING;
  }
  fail(job.ctx, ZU_FAILED, "Property cache is incomplete", at);
  return ZU_TVR_STEP_FAILED;
}

} // namespace

int32_t gather_values(print_job &job) noexcept {
  job.scratch->failed = 0;
  bool found_one = false;
  bool missing = false;
  const planned_read *read = job.plan->reads.get(), *const end = read + job.plan->read_count;
  for (read_memory *memory = job.memory->reads.get(); read != end; ++read, ++memory) {
    const found_record &found = find_record(read->item->uri, job.ctx);
    if (found.record == nullptr) {
      missing = true;
      if (job.ctx->observed != 0) note_missing(job, found.uri);
      if (found_one) break;
      continue;
    }
    found_one = true;
    const int32_t step =
        gather_read(job, *read, *memory, found, missing ? job.data->props_map->extra_props : nullptr);
    if (step != ZU_TVR_STEP_WALK) return step;
    if (missing) break;
  }
  return missing ? end_without_record(job, found_one) : ZU_TVR_STEP_WALK;
}

} // namespace tvr
